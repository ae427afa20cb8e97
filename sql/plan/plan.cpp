#include "sql/plan/plan.h"

#include <utility>

#include "sql/plan/planner.h"

namespace qd::sql {

physical_queryplan::QueryPlan::PredicateVariant plan(algebra::bound_query query,
                                                     planning_context const& context) {
  return planning::planner(context).plan(std::move(query));
}

}  // namespace qd::sql
