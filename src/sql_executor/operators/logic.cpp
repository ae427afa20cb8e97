#include "sql_executor/operators/logic.h"

namespace qd::sql_executor::operators {

using operator_library::NullValue;

namespace {

// AND and OR differ in the truth value that decides them alone: false for AND, true for OR.
template <bool Decisive>
value eval_connective(operand const& left, operand const& right,
                      evaluation_context const& context) {
  std::optional<bool> const left_truth = left.test(context);
  if (left_truth == Decisive) return Decisive;
  if (left_truth.has_value()) return right.eval(context);
  if (right.test(context) == Decisive) return Decisive;
  return NullValue{};
}

template <bool Decisive>
std::optional<bool> test_connective(operand const& left, operand const& right,
                                    evaluation_context const& context) {
  std::optional<bool> const left_truth = left.test(context);
  if (left_truth == Decisive) return Decisive;
  std::optional<bool> const right_truth = right.test(context);
  if (left_truth.has_value() || right_truth == Decisive) return right_truth;
  return std::nullopt;
}

}  // namespace

value logical_and::eval(evaluation_context const& context) const {
  return eval_connective<false>(left, right, context);
}

std::optional<bool> logical_and::test(evaluation_context const& context) const {
  return test_connective<false>(left, right, context);
}

value logical_or::eval(evaluation_context const& context) const {
  return eval_connective<true>(left, right, context);
}

std::optional<bool> logical_or::test(evaluation_context const& context) const {
  return test_connective<true>(left, right, context);
}

std::optional<bool> xor_op::test(evaluation_context const& context) const {
  std::optional<bool> const left_truth = left.test(context);
  if (!left_truth) return std::nullopt;
  std::optional<bool> const right_truth = right.test(context);
  if (!right_truth) return std::nullopt;
  return *left_truth != *right_truth;
}

std::optional<bool> logical_not::test(evaluation_context const& context) const {
  std::optional<bool> const truth = child.test(context);
  if (!truth) return std::nullopt;
  return !*truth;
}

std::optional<bool> is_null::test(evaluation_context const& context) const {
  value scratch;
  return child.read(context, scratch).is_null();
}

std::optional<bool> is_not_null::test(evaluation_context const& context) const {
  value scratch;
  return !child.read(context, scratch).is_null();
}

}  // namespace qd::sql_executor::operators
