#include "query_run.h"

#include <utility>

namespace unicode_demo {

query_result run_query(physical_queryplan::QueryPlan::PredicateVariant plan,
                       std::vector<qd::sql_executor::value> parameters,
                       unsigned long kernel_context, std::size_t kept_rows) {
  auto const start = std::chrono::steady_clock::now();
  physical_to_exec::ExecutablePlan executable = physical_to_exec::Plan(std::move(plan));
  qd::sql_executor::evaluation_context context;
  context.literals = std::move(executable.literals);
  context.parameters = std::move(parameters);
  context.kernel_context = kernel_context;
  query_result result;
  auto const rows = executable.root->enumerate(context);
  while (auto row = rows->next(context)) {
    ++result.row_count;
    if (result.rows.size() < kept_rows) result.rows.push_back(std::move(*row));
  }
  result.time = std::chrono::steady_clock::now() - start;
  result.column_types = std::move(executable.column_types);
  return result;
}

}  // namespace unicode_demo
