// The example queries over the Unicode Character Database.
#pragma once

#include <string>
#include <vector>

#include "physical_queryplan/query_plan.h"
#include "sql_executor/value.h"

namespace unicode_demo {

// A result column: its name, and whether its numbers show as code points (U+0041).
struct output_column {
  std::string name;
  bool is_code = false;
};

struct example_query {
  std::string title;
  std::string sql;
  std::vector<output_column> columns;
  std::vector<qd::sql_executor::value> parameters;
  // Looks names up in the catalogue, so it needs a context bound to the calling thread.
  physical_queryplan::QueryPlan::PredicateVariant (*plan)();
};

// All of them: object_queries and then relational_queries.
std::vector<example_query> example_queries();

// Key ranges, references, classes, text and arithmetic over the objects of one scan.
std::vector<example_query> object_queries();

}  // namespace unicode_demo
