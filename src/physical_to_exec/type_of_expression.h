// The static type of an output expression.
#pragma once

#include "physical_to_exec/plan.h"

namespace physical_to_exec {

// The type that result column `expression` of `plan` has. The plan is searched for what a derived
// reference stands for: the first Extend alias that defines it, parents before children, left
// before right; a derived reference that no Extend defines is a plain object reference.
//
// Throws QDException 7022 "Unsupported return type" for set specifiers and NULLs, and
// std::invalid_argument for references that are defined by each other, and what reading the
// catalogue throws.
ColumnTypeInfo TypeOfExpression(physical_queryplan::QueryPlan::Expression const& expression,
                                physical_queryplan::QueryPlan::PredicateVariant const& plan);

}  // namespace physical_to_exec
