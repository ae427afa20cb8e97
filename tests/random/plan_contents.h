// Which alternatives a plan is made of.
#pragma once

#include <array>
#include <variant>

#include "physical_queryplan/query_plan.h"

namespace random_plans {

using physical_queryplan::QueryPlan::Expression;
using physical_queryplan::QueryPlan::PredicateVariant;

// By the position of the alternative: whether it stands anywhere in the plan.
struct plan_contents {
  std::array<bool, std::variant_size_v<decltype(PredicateVariant::variant)>> nodes{};
  std::array<bool, std::variant_size_v<decltype(Expression::variant)>> expressions{};
};

plan_contents contents_of(PredicateVariant const& plan);

}  // namespace random_plans
