// Operators on strings.
#pragma once

#include <vector>

#include "sql_executor/operators/operand.h"

namespace qd::sql_executor::operators {

// Yields the operands' texts joined, in order; the empty string when there are none. The first
// operand that is NULL makes the result NULL, and one that is not a string raises 7020; those
// behind it are not evaluated.
class concat final : public operator_base {
 public:
  explicit concat(std::vector<operator_ptr>&& expressions);
  value eval(evaluation_context const& context) const override;

 private:
  std::vector<operand> operands;
};

// Yields whether a text matches a pattern (like::Match), both in the kernel's base form; NULL when
// one of them is NULL. The pattern is evaluated first; when it is NULL, the text is not evaluated.
// Throws db_exception 7020 for other kinds, QDException 7042 for a pattern with a stray backslash.
class like final : public predicate<operator_base> {
 public:
  like(operator_ptr&& text_expression, operator_ptr&& pattern_expression);
  std::optional<bool> test(evaluation_context const& context) const override;

 private:
  operand text;
  operand pattern;
};

// Yields whether a text begins with a prefix, told from the packed bytes; NULL when one of them is
// NULL. The prefix is evaluated first, both always. Throws 7020 for other kinds, unless one operand
// is NULL.
class starts_with final : public predicate<operator_base> {
 public:
  starts_with(operator_ptr&& text_expression, operator_ptr&& prefix_expression);
  std::optional<bool> test(evaluation_context const& context) const override;

 private:
  operand text;
  operand prefix;
};

// Yields the text that every match of a LIKE pattern begins with (like::StartsWith), the empty
// string when there is none; NULL of NULL. Does not validate the pattern. Throws 7020 for other
// kinds.
class like_starts_with final : public unary_operator {
 public:
  using unary_operator::unary_operator;
  value eval(evaluation_context const& context) const override;
};

}  // namespace qd::sql_executor::operators
