// Queries that statements ask on their own account.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sql/run/operation.h"
#include "sql/run/query.h"

namespace qd::sql {

// SELECT row[, column] FROM table [WHERE column = $1, or column IS NOT NULL].
struct column_query {
  enum class condition { none, equals_parameter, is_not_null };

  std::u16string table;  // The class's full name.
  std::string column;
  bool with_column = false;  // Output 1 is the column.
  condition where = condition::none;
};

// Output 0 is the reference to the row. The thread's metadata context must be the reader's.
std::unique_ptr<query> make_internal_query(column_query const& wanted, connection_state& connection,
                                           reader& from);

}  // namespace qd::sql
