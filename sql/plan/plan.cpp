#include "sql/plan/plan.h"

#include <utility>

#include "sql/plan/planner.h"

namespace qd::sql {

physical_queryplan::QueryPlan::PredicateVariant plan(algebra::bound_query query,
                                                     planning_context const& context) {
  planning::planned root = planning::planner(context).plan(std::move(query.root));
  std::vector<algebra::PhysicalVariable> outputs;
  outputs.reserve(query.outputs.size());
  for (algebra::output_column& output : query.outputs) {
    outputs.push_back(std::move(output.variable));
  }
  return planning::transformed(outputs, std::move(root.plan));
}

}  // namespace qd::sql
