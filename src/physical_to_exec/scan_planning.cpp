// A Scan of the plan into a scan node.
#include "meta_data/meta_data.h"
#include "physical_to_exec/convert_physical.h"
#include "physical_to_exec/convert_vars.h"
#include "sql_executor/scan.h"

namespace physical_to_exec {

namespace {

namespace plan_model = physical_queryplan::QueryPlan;
using qd::sql_executor::scan;

// The conditions on one index column, set by set in a fixed order, which is the order in which
// their operands are converted here and evaluated by the scan. Operands see the outer variables
// only, never the scan's own.
std::vector<scan::interval_endpoint> MakeSingleColBound(plan_model::Scan::ColBounds const& bounds,
                                                        ConversionContext const& context) {
  std::vector<scan::interval_endpoint> endpoints;
  auto const append = [&](std::set<plan_model::Scan::Bound> const& set, scan::op op) {
    for (plan_model::Scan::Bound const& bound : set) {
      endpoints.push_back(
          {op, bound.exclude_null,
           ConvertVars(bound.value, context.literals, context.outer, context.level)});
    }
  };
  append(bounds.equal, scan::op::equal);
  append(bounds.greater, scan::op::greater);
  append(bounds.greater_or_equal, scan::op::greater_or_equal);
  append(bounds.less, scan::op::less);
  append(bounds.less_or_equal, scan::op::less_or_equal);
  append(bounds.starts_with, scan::op::starts_with);
  return endpoints;
}

std::vector<scan::index_column_info> describe_columns(meta_data::Index const& index) {
  std::vector<scan::index_column_info> columns;
  for (meta_data::IndexColumn const& index_column : index.GetColumns()) {
    meta_data::Column const column = index_column.ToColumn();
    qd::sql_executor::value_type const type = GetColumnType(column.Type());
    bool const ascending = index_column.Ascending();
    columns.push_back({type, ascending});
  }
  return columns;
}

}  // namespace

ConvertedNode Convert(plan_model::Scan const& plan, ConversionContext const& context) {
  unsigned long const index_id = plan.index.Id();
  std::vector<scan::index_column_info> columns = describe_columns(plan.index);
  std::vector<std::vector<scan::interval_endpoint>> bounds;
  bounds.reserve(plan.bounds.size());
  for (plan_model::Scan::ColBounds const& column_bounds : plan.bounds) {
    bounds.push_back(MakeSingleColBound(column_bounds, context));
  }
  auto node =
      std::make_unique<scan>(index_id, std::move(columns), std::move(bounds), plan.ascending);
  return {std::move(node), BoundLayout{plan.table_variable}};
}

}  // namespace physical_to_exec
