// The plan that reads a table along a chosen path.
#pragma once

#include <vector>

#include "sql/plan/access_path.h"
#include "sql/plan/nodes.h"

namespace qd::sql::planning {

// The path as a plan; conditions that it does not meet exactly stay as a filter.
PredicateVariant read_table(algebra::TableVariable variable, access_path const& path,
                            std::vector<condition> conditions, std::vector<bound> const& bounds);

}  // namespace qd::sql::planning
