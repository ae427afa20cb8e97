#include "sql_executor/operators/conditional.h"

#include "sql_executor/exec_utils.h"

namespace qd::sql_executor::operators {

template <typename T>
if_op<T>::if_op(operator_ptr&& condition_expression, operator_ptr&& then_expression,
                operator_ptr&& else_expression)
    : condition(std::move(condition_expression)),
      then_branch(std::move(then_expression)),
      else_branch(std::move(else_expression)) {}

template <typename T>
value if_op<T>::eval(evaluation_context const& context) const {
  bool const holds = condition.test(context) == true;
  operand const& chosen = holds ? then_branch : else_branch;
  return utils::converter<T>()(chosen.eval(context));
}

template class if_op<bool>;
template class if_op<db_string::dt_string>;
template class if_op<unsigned long>;
template class if_op<long>;
template class if_op<operator_library::Decimal>;
template class if_op<double>;
template class if_op<float>;
template class if_op<operator_library::Binary>;
template class if_op<QD_OBJ_REF>;
template class if_op<operator_library::SetSpecifier>;
template class if_op<operator_library::NullValue>;

}  // namespace qd::sql_executor::operators
