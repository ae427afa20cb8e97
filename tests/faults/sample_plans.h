// A database of a few objects and a set of plans over it that between them use every operator and
// every kind of node.
#pragma once

#include <string>
#include <vector>

#include "dbmetalayer/database.h"
#include "physical_queryplan/query_plan.h"
#include "sql_executor/value.h"

namespace sample_plans {

struct sample_database {
  qd::embedded::database database;
  qd::embedded::object_id an_object;  // A kinds.Thing.
};

// The schema of kinds_database with some objects, NULLs among their columns. Deterministic.
sample_database make_database();

// Enough objects of kinds.Other that a join of three scans of them runs for minutes.
void add_many_objects(qd::embedded::database& database);

struct sample {
  std::string name;
  physical_queryplan::QueryPlan::PredicateVariant plan;
};

// Every plan yields rows, for the parameters below. A context of the database must be bound to the
// calling thread.
std::vector<sample> all(qd::embedded::object_id an_object);

// A filter that lets nothing through over the cross product of three scans; the same sorted, and
// counted.
std::vector<sample> long_running();

std::vector<qd::sql_executor::value> parameters();

}  // namespace sample_plans
