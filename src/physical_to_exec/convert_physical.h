// Plan nodes into execution nodes.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "physical_queryplan/query_plan.h"
#include "physical_to_exec/bound_layout.h"
#include "physical_to_exec/nesting.h"
#include "sql_executor/node.h"

namespace physical_to_exec {

// A node and the layout of its output row.
using ConvertedNode = std::pair<std::unique_ptr<qd::sql_executor::node>, BoundLayout>;

// What every conversion is given besides its plan.
struct ConversionContext {
  std::vector<qd::sql_executor::value>& literals;  // Grows with the literals met.
  BoundLayout const& outer;  // The variables bound by the nodes above; empty at the root.
  nesting_level level;       // Of the plan that is converted.
};

// Converts a plan. Each alternative first converts its inputs, then its expressions, in order, then
// builds its node. Throws as Plan does.
ConvertedNode ConvertPhysical(physical_queryplan::QueryPlan::PredicateVariant const& plan,
                              ConversionContext const& context);

// The alternatives; each stands in a source file with its kin.
ConvertedNode Convert(physical_queryplan::QueryPlan::Join<shared_classes::Inner> const& plan,
                      ConversionContext const& context);
ConvertedNode Convert(physical_queryplan::QueryPlan::Join<shared_classes::Left> const& plan,
                      ConversionContext const& context);
ConvertedNode Convert(physical_queryplan::QueryPlan::FullJoin const& plan,
                      ConversionContext const& context);
ConvertedNode Convert(physical_queryplan::QueryPlan::Scan const& plan,
                      ConversionContext const& context);
ConvertedNode Convert(physical_queryplan::QueryPlan::Filter const& plan,
                      ConversionContext const& context);
ConvertedNode Convert(physical_queryplan::QueryPlan::Transform const& plan,
                      ConversionContext const& context);
ConvertedNode Convert(physical_queryplan::QueryPlan::GenerativeAssignment const& plan,
                      ConversionContext const& context);
ConvertedNode Convert(physical_queryplan::QueryPlan::Extend const& plan,
                      ConversionContext const& context);
ConvertedNode Convert(physical_queryplan::QueryPlan::Aggregation const& plan,
                      ConversionContext const& context);
ConvertedNode Convert(physical_queryplan::QueryPlan::OrderBy const& plan,
                      ConversionContext const& context);
ConvertedNode Convert(physical_queryplan::QueryPlan::LimitOffset const& plan,
                      ConversionContext const& context);
ConvertedNode Convert(physical_queryplan::QueryPlan::Union const& plan,
                      ConversionContext const& context);

}  // namespace physical_to_exec
