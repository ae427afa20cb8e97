#include "physical_to_exec/bound_layout.h"

#include <boost/numeric/conversion/cast.hpp>

namespace physical_to_exec {

std::optional<qd::sql_executor::bound_data_index> GetIndex(PhysicalVariable const& variable,
                                                           BoundLayout const& layout) {
  return std::visit([&layout](auto const& alternative) { return IndexOf(alternative, layout); },
                    variable);
}

short narrow_position(unsigned long position) {
  return boost::numeric_cast<short>(position);
}

BoundLayout AddVec(BoundLayout first, BoundLayout const& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

}  // namespace physical_to_exec
