#include "sql_executor/operators/operator_base.h"

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"

namespace qd::sql_executor::operators {

std::optional<bool> operator_base::test(evaluation_context const& context) const {
  return GetOpt(eval(context));
}

std::optional<bool> GetOpt(value const& predicate) {
  if (bool const* const truth = get_if<bool>(&predicate)) return *truth;
  if (predicate.is_null()) return std::nullopt;
  db_util::db_exception::raise(error_handling::wrong_operand_kind);
}

}  // namespace qd::sql_executor::operators
