// The order in which the members of a group are joined.
#pragma once

#include "sql/plan/access_path.h"
#include "sql/plan/join_group.h"

namespace qd::sql::planning {

// Positions of the group's members, the leftmost first. Greedy: from each start, the member that
// multiplies the rows least comes next; of the orders found, the cheapest.
std::vector<std::size_t> order_of_joins(join_group const& group, variable_set const& outer,
                                        wanted_order const* wanted, relation_facts const& facts,
                                        variable_numbers& numbers);

}  // namespace qd::sql::planning
