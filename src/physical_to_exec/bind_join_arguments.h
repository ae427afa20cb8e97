// The two sides of a join whose right side depends on the left row.
#pragma once

#include <tuple>

#include "physical_to_exec/convert_physical.h"

namespace physical_to_exec {

// Converts both inputs of a join: the left against the outer variables, the right against these
// followed by the left row, which the join keeps bound while the right side runs. Returns the left
// node, the right node, the layout of the joined row and the number of left variables.
std::tuple<std::unique_ptr<qd::sql_executor::node>, std::unique_ptr<qd::sql_executor::node>,
           BoundLayout, unsigned long>
BindJoinArgs(physical_queryplan::QueryPlan::PredicateVariant const& left,
             physical_queryplan::QueryPlan::PredicateVariant const& right,
             ConversionContext const& context);

}  // namespace physical_to_exec
