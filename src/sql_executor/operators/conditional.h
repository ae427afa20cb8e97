// The conditional value.
#pragma once

#include "sql_executor/operators/operand.h"

namespace qd::sql_executor::operators {

// Yields the then-branch when the condition is true, the else-branch when it is false or NULL, as a
// T (any of the eleven alternatives; NULL stays NULL). The branch not chosen is not evaluated.
// Throws db_exception 7020 for a condition of another kind, and as utils::converter<T> does.
template <typename T>
class if_op final : public operator_base {
 public:
  if_op(operator_ptr&& condition_expression, operator_ptr&& then_expression,
        operator_ptr&& else_expression);
  value eval(evaluation_context const& context) const override;

 private:
  operand condition;
  operand then_branch;
  operand else_branch;
};

extern template class if_op<bool>;
extern template class if_op<db_string::dt_string>;
extern template class if_op<unsigned long>;
extern template class if_op<long>;
extern template class if_op<operator_library::Decimal>;
extern template class if_op<double>;
extern template class if_op<float>;
extern template class if_op<operator_library::Binary>;
extern template class if_op<QD_OBJ_REF>;
extern template class if_op<operator_library::SetSpecifier>;
extern template class if_op<operator_library::NullValue>;

}  // namespace qd::sql_executor::operators
