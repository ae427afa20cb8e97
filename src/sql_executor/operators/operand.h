// How operators hold and read their operands.
#pragma once

#include <variant>

#include "sql_executor/operators/operator_base.h"
#include "sql_executor/operators/value_from_context.h"

namespace qd::sql_executor::operators {

// An operand of an operator, which owns it. An operand that is a slot of the context is read where
// it stands; whether it is one is found out once, at construction.
class operand {
 public:
  explicit operand(operator_ptr&& expression)
      : child(std::move(expression)), slot(dynamic_cast<value_from_context const*>(child.get())) {}

  // The operand's value, in the context or, evaluated, in `scratch`. Holds as long as both do.
  value const& read(evaluation_context const& context, value& scratch) const {
    if (slot != nullptr) return slot->read(context);
    scratch = child->eval(context);
    return scratch;
  }

  // The operand's value in the context; null when it has to be evaluated.
  value const* in_context(evaluation_context const& context) const {
    return slot != nullptr ? &slot->read(context) : nullptr;
  }

  // The operand's value, as a value of one's own.
  value eval(evaluation_context const& context) const { return child->eval(context); }

  // The operand as a predicate.
  std::optional<bool> test(evaluation_context const& context) const { return child->test(context); }

 private:
  operator_ptr child;              // Never null.
  value_from_context const* slot;  // `child`, when it is such an operator; else null.
};

// The value of an expression or of a slot of the context: in the context or, evaluated, in
// `scratch`.
inline value const& read(std::variant<operator_ptr, ContextSlot> const& source,
                         evaluation_context const& context, value& scratch) {
  if (ContextSlot const* const slot = std::get_if<ContextSlot>(&source)) {
    return read(*slot, context);
  }
  scratch = std::get<operator_ptr>(source)->eval(context);
  return scratch;
}

// An operator with one operand.
class unary_operator : public operator_base {
 public:
  explicit unary_operator(operator_ptr&& operand_expression)
      : child(std::move(operand_expression)) {}

 protected:
  operand child;
};

// An operator with two operands.
class binary_operator : public operator_base {
 public:
  binary_operator(operator_ptr&& left_expression, operator_ptr&& right_expression)
      : left(std::move(left_expression)), right(std::move(right_expression)) {}

 protected:
  operand left;
  operand right;
};

// Base of the operators that yield a bool or NULL, over one of the bases above. They define `test`;
// `eval` is its result as a value.
template <typename Base>
class predicate : public Base {
 public:
  using Base::Base;

  value eval(evaluation_context const& context) const final {
    std::optional<bool> const truth = this->test(context);
    if (!truth) return operator_library::NullValue{};
    return *truth;
  }

  std::optional<bool> test(evaluation_context const& context) const override = 0;
};

using unary_predicate = predicate<unary_operator>;
using binary_predicate = predicate<binary_operator>;

}  // namespace qd::sql_executor::operators
