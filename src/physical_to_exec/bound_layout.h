// What conversion knows of the rows in scope: which variable stands at which position.
#pragma once

#include <optional>
#include <vector>

#include "physical_queryplan/variables.h"
#include "sql_executor/evaluation_context.h"

namespace physical_to_exec {

using physical_queryplan::QueryPlan::PhysicalVariable;

// Position i describes what position i of the bound data holds while expressions over that row run.
using BoundLayout = std::vector<PhysicalVariable>;

// The first position whose variable equals the given one, empty when there is none. Throws
// boost::numeric::positive_overflow when that position is beyond 32767.
std::optional<qd::sql_executor::bound_data_index> GetIndex(PhysicalVariable const& variable,
                                                           BoundLayout const& layout);

// A position as the 16 bits that contexts are addressed with. Throws as GetIndex does.
short narrow_position(unsigned long position);

// `first` with `second` behind it.
BoundLayout AddVec(BoundLayout first, BoundLayout const& second);

}  // namespace physical_to_exec
