// Operands that must be of one kind.
#pragma once

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"
#include "sql_executor/operators/operand.h"

namespace qd::sql_executor::operators {

// The content of a value that must be a T or NULL; null for NULL. Throws db_exception 7020 for
// another kind.
template <typename T>
T const* content_or_null(value const& source) {
  if (T const* const content = get_if<T>(&source)) return content;
  if (source.is_null()) return nullptr;
  db_util::db_exception::raise(error_handling::wrong_operand_kind);
}

// The same of an operand, which is read as operand::read does.
template <typename T>
T const* read_as(operand const& source, evaluation_context const& context, value& scratch) {
  return content_or_null<T>(source.read(context, scratch));
}

}  // namespace qd::sql_executor::operators
