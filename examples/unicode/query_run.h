// Runs a plan to its end.
#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

#include "physical_to_exec/plan.h"
#include "sql_executor/value.h"

namespace unicode_demo {

struct query_result {
  std::vector<physical_to_exec::ColumnTypeInfo> column_types;
  std::vector<qd::sql_executor::row> rows;  // The first ones, as many as were to be kept.
  std::size_t row_count = 0;                // Of all rows.
  std::chrono::nanoseconds time{};          // From the plan to its last row.
};

// Converts and runs the plan over the kernel context, which is bound to the calling thread. Pulls
// every row and keeps the first `kept_rows`. Throws as physical_to_exec::Plan and enumerator::next
// do.
query_result run_query(physical_queryplan::QueryPlan::PredicateVariant plan,
                       std::vector<qd::sql_executor::value> parameters,
                       unsigned long kernel_context, std::size_t kept_rows);

}  // namespace unicode_demo
