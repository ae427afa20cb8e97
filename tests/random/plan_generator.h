// Random plans over a random database: every alternative, nested.
#pragma once

#include <vector>

#include "physical_queryplan/query_plan.h"
#include "random/choices.h"
#include "random/expression_generator.h"
#include "random/random_database.h"

namespace random_plans {

using physical_queryplan::QueryPlan::PredicateVariant;

struct generated_plan {
  PredicateVariant plan;
  std::vector<reference::value> parameters;
};

// Makes plans over one database, whose catalogue must be bound to the calling thread.
class plan_generator {
 public:
  explicit plan_generator(reference::database const& data);

  // A Transform over a random tree. Every variable that it uses is in scope, and no Transform
  // stands below the right side of an inner or left join.
  generated_plan make(choices& pick) const;

 private:
  class one_plan;

  reference::database const& data_;
  std::vector<meta_data::Table> tables_;  // As `data_.classes`.
};

}  // namespace random_plans
