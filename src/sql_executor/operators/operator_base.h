// A scalar expression, evaluated per row.
#pragma once

#include <memory>
#include <optional>

#include "sql_executor/evaluation_context.h"
#include "sql_executor/value.h"

namespace qd::sql_executor::operators {

// Computes one value from the context. Operators have no state between calls, are immutable and own
// their operands.
class operator_base {
 public:
  operator_base() = default;
  operator_base(operator_base const&) = delete;
  operator_base& operator=(operator_base const&) = delete;

  // The value of the expression for the rows in scope. Throws db_util::db_exception (7020 an
  // operand of a kind not accepted, 7041 out of range, 1027 no such conversion, a kernel status
  // unchanged), error_handling::QDException 7042 (a stray backslash in a LIKE pattern), what the
  // catalogue throws for a class name, and standard exceptions for faults of the plan.
  virtual value eval(evaluation_context const& context) const = 0;

  virtual ~operator_base() = default;

  // The expression as a predicate: true, false, or empty for NULL (unknown). The same as
  // GetOpt(eval(context)), errors included, but the operators that yield a bool override it and
  // build no value.
  virtual std::optional<bool> test(evaluation_context const& context) const;
};

using operator_ptr = std::unique_ptr<operator_base const>;

// The truth of a predicate's value: a bool is its own value, NULL is empty (unknown), any other
// kind raises 7020.
std::optional<bool> GetOpt(value const& predicate);

}  // namespace qd::sql_executor::operators
