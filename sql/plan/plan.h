// Planning: algebra becomes a physical plan. Chooses the order of joins and the index of every
// scan, turns conditions into bounds, and leaves the rest as filters as low as they can go.
#pragma once

#include "physical_queryplan/query_plan.h"
#include "sql/algebra/relation.h"
#include "sql/catalogue/catalogue.h"

namespace qd::sql {

struct planning_context {
  sql::catalogue& catalogue;
  embedded::read_context const& reader;  // Bound to the calling thread; for row counts.
};

// The plan's root is a Transform of the query's outputs. Throws sql::error (not_supported) for what
// no plan can say.
physical_queryplan::QueryPlan::PredicateVariant plan(algebra::bound_query query,
                                                     planning_context const& context);

}  // namespace qd::sql
