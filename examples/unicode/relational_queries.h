// The example queries that join, group, sort and combine.
#pragma once

#include <vector>

#include "queries.h"

namespace unicode_demo {

std::vector<example_query> relational_queries();

}  // namespace unicode_demo
