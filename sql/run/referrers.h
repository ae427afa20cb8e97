// Rows that refer to others.
#pragma once

#include <unordered_set>

#include "sql/run/operation.h"

namespace qd::sql {

// Throws sql::error (constraint), which names a row that refers to one of the `removed` objects of
// the table and is not among them itself. Looks through every class with a column for such
// references: through an index that the column leads where few objects are removed, otherwise in
// one pass over its rows.
void refuse_if_referred(run_context& run, table_info const& table,
                        std::unordered_set<std::uint64_t> const& removed);

}  // namespace qd::sql
