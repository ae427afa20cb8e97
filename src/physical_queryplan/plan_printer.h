// Plans as text, for people.
#pragma once

#include <string>

#include "physical_queryplan/query_plan.h"

namespace physical_queryplan {

// A plan as an indented tree in UTF-8, one node or property a line, inputs below their node:
//
//     Transform t1, d1
//       Extend
//         d1 := (t1.size + 1)
//         Filter (t1.size > $0)
//           Scan t1 = city by city.by_name ascending
//             name starts with 'A', not NULL
//
// Table variables and derived values are numbered t1, t2, ... and d1, d2, ... as they first appear,
// top down and left to right, so equal plans print alike. A Scan lists, column by column of its
// index, the bounds as the plan holds them. Literals show their kind: 5 signed, 5u
// unsigned, 5.000000 Decimal, 5.0 double, 5.0f float, x'05' binary, @5 a reference; $n is parameter
// number n.
//
// Reads names from the catalogue through the calling thread's metadata context, and decodes text
// through the kernel; throws what these throw, and std::logic_error for a plan with a missing
// child. Recurses through the plan without a limit of its own, at a few hundred bytes a level.
std::string Print(QueryPlan::PredicateVariant const& plan);

// An expression as it stands in such a tree; its variables are numbered anew.
std::string Print(QueryPlan::Expression const& expression);

}  // namespace physical_queryplan
