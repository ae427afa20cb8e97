// Conditions that others imply.
#pragma once

#include <vector>

#include "sql/plan/conditions.h"

namespace qd::sql::planning {

// What `conditions` say about values of `variables` by way of another value: x = 5, where x = y and
// y = 5. Comparisons are exact, so that this holds whatever the kinds of x and y.
std::vector<condition> implied_equalities(std::vector<condition> const& conditions,
                                          variable_set const& variables, variable_numbers& numbers);

}  // namespace qd::sql::planning
