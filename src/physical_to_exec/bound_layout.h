// What conversion knows of the rows in scope: which variable stands at which position.
#pragma once

#include <algorithm>
#include <optional>
#include <variant>
#include <vector>

#include "physical_queryplan/variables.h"
#include "sql_executor/evaluation_context.h"

namespace physical_to_exec {

using physical_queryplan::QueryPlan::PhysicalVariable;

// Position i describes what position i of the bound data holds while expressions over that row run.
using BoundLayout = std::vector<PhysicalVariable>;

// A position as the 16 bits that contexts are addressed with. Throws
// boost::numeric::positive_overflow for one beyond 32767.
short narrow_position(unsigned long position);

// The first position whose variable equals the given one, empty when there is none. Throws as
// narrow_position does.
std::optional<qd::sql_executor::bound_data_index> GetIndex(PhysicalVariable const& variable,
                                                           BoundLayout const& layout);

// The same for a variable that is not wrapped up as a PhysicalVariable: one of its alternatives.
template <typename Variable>
std::optional<qd::sql_executor::bound_data_index> IndexOf(Variable const& variable,
                                                          BoundLayout const& layout) {
  auto const equals = [&variable](PhysicalVariable const& bound) {
    auto const* const candidate = std::get_if<Variable>(&bound);
    return candidate != nullptr && *candidate == variable;
  };
  auto const found = std::find_if(layout.begin(), layout.end(), equals);
  if (found == layout.end()) return std::nullopt;
  auto const position = static_cast<unsigned long>(found - layout.begin());
  return qd::sql_executor::bound_data_index{narrow_position(position)};
}

// `first` with `second` behind it.
BoundLayout AddVec(BoundLayout first, BoundLayout const& second);

}  // namespace physical_to_exec
