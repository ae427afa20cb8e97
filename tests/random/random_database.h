// Small databases of random objects, stored and as vectors.
#pragma once

#include "dbmetalayer/database.h"
#include "physical_queryplan/query_plan.h"
#include "random/choices.h"
#include "sql_executor/value.h"
#include "support/reference/database.h"

namespace random_plans {

struct random_database {
  qd::embedded::database storage;
  reference::database model;
};

// The schema of kinds_database with a few objects of each class.
random_database make_database(choices& pick);

// A value of a kind: mostly one of few small ones, so that values meet; sometimes at the edge of
// its kind. References are to objects of kinds.Thing; NULL when there are none.
reference::value random_value(choices& pick, reference::kind of, reference::database const& data);

// As a value of the engine, and as a literal of a plan.
qd::sql_executor::value to_engine(reference::value const& source);
physical_queryplan::QueryPlan::Expression to_literal(reference::value const& source);

}  // namespace random_plans
