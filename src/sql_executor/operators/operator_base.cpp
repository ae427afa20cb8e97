#include "sql_executor/operators/operator_base.h"

#include "sql_executor/operators/typed_operand.h"

namespace qd::sql_executor::operators {

std::optional<bool> operator_base::test(evaluation_context const& context) const {
  return GetOpt(eval(context));
}

std::optional<bool> GetOpt(value const& predicate) {
  bool const* const truth = content_or_null<bool>(predicate);
  if (truth == nullptr) return std::nullopt;
  return *truth;
}

}  // namespace qd::sql_executor::operators
