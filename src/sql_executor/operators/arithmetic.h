// Addition, subtraction, multiplication, division and unary minus.
#pragma once

#include "sql_executor/operators/arithmetic_functions.h"
#include "sql_executor/operators/operand.h"

namespace qd::sql_executor::operators {

// Yields the operation on its operands, brought to one kind (utils::unify_numeric_types); NULL when
// one of them is NULL. The left operand is evaluated first, both always. Throws db_exception 7020
// for kinds that have no arithmetic, 7041 for a result out of range and for a division by zero.
template <typename Operation>
class arithmetic_operator final : public binary_operator {
 public:
  using binary_operator::binary_operator;
  value eval(evaluation_context const& context) const override;
};

extern template class arithmetic_operator<utils::sum_of>;
extern template class arithmetic_operator<utils::difference_of>;
extern template class arithmetic_operator<utils::product_of>;
extern template class arithmetic_operator<utils::quotient_of>;

using addition = arithmetic_operator<utils::sum_of>;
using subtraction = arithmetic_operator<utils::difference_of>;
using multiplication = arithmetic_operator<utils::product_of>;
using division = arithmetic_operator<utils::quotient_of>;

// Yields the negation of a number; NULL of NULL. Of an unsigned number it is a signed one. Throws
// 7041 for a signed -2^63 and an unsigned number from 2^63 on, 7020 for other kinds, bool among
// them.
class unary_negate final : public unary_operator {
 public:
  using unary_operator::unary_operator;
  value eval(evaluation_context const& context) const override;
};

}  // namespace qd::sql_executor::operators
