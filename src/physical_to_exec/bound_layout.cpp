#include "physical_to_exec/bound_layout.h"

#include <algorithm>
#include <boost/numeric/conversion/cast.hpp>

namespace physical_to_exec {

std::optional<qd::sql_executor::bound_data_index> GetIndex(PhysicalVariable const& variable,
                                                           BoundLayout const& layout) {
  auto const found = std::find(layout.begin(), layout.end(), variable);
  if (found == layout.end()) return std::nullopt;
  auto const position = static_cast<unsigned long>(found - layout.begin());
  return qd::sql_executor::bound_data_index{narrow_position(position)};
}

short narrow_position(unsigned long position) {
  return boost::numeric_cast<short>(position);
}

BoundLayout AddVec(BoundLayout first, BoundLayout const& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

}  // namespace physical_to_exec
