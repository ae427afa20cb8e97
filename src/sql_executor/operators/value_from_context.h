// A literal, a parameter or a column of a row in scope, as an expression.
#pragma once

#include <vector>

#include "sql_executor/operators/operator_base.h"

namespace qd::sql_executor::operators {

// Yields a copy of the value at a slot of the context.
class value_from_context final : public operator_base {
 public:
  explicit value_from_context(ContextSlot slot);

  value eval(evaluation_context const& context) const override { return read(context); }
  std::optional<bool> test(evaluation_context const& context) const override;

  // The value itself, which belongs to the context. Throws std::out_of_range for a position that
  // the vector does not have: a faulty plan, or a context that its caller did not fill.
  value const& read(evaluation_context const& context) const {
    std::vector<value> const& values = context.*sequence;
    if (position >= values.size()) [[unlikely]]
      raise_out_of_range(values.size());
    return values[position];
  }

 private:
  [[noreturn]] void raise_out_of_range(unsigned long size) const;

  ContextSlot slot;
  // `slot` taken apart. A negative position becomes one that no vector has.
  std::vector<value> evaluation_context::*sequence;
  unsigned long position;
};

// The value at a slot of the context, as value_from_context::read gives it.
value const& read(ContextSlot const& slot, evaluation_context const& context);

}  // namespace qd::sql_executor::operators
