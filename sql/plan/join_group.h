// Inner joins as one list: relations, the conditions that hold between them, and what is computed
// from their rows. The order in which to join them is free.
#pragma once

#include <vector>

#include "sql/plan/relations.h"

namespace qd::sql::planning {

struct join_group {
  struct member {
    algebra::relation_ptr relation;  // No inner join, filter or compute.
    variable_set variables;
  };
  struct computed {
    algebra::Alias alias;
    variable_set uses;
    variable_number number;
  };

  std::vector<member> members;  // At least one.
  std::vector<condition> conditions;
  // Each after those whose variables it uses.
  std::vector<computed> computes;
};

// Takes a relation apart. `conditions` hold for its rows, besides its own. Outer joins whose padded
// rows no condition lets through become inner ones; computed values that are variables under
// another name are replaced in conditions; what is neither `needed` above nor used within is
// not computed.
join_group make_group(algebra::relation_ptr relation, std::vector<condition> conditions,
                      variable_set const& needed, variable_numbers& numbers);

}  // namespace qd::sql::planning
