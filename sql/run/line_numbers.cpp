#include "sql/run/line_numbers.h"

#include <algorithm>

namespace qd::sql {

std::uint64_t line_numbers::line_of(embedded::object_id object) const {
  auto const behind =
      std::upper_bound(runs_.begin(), runs_.end(), object.oid,
                       [](std::uint64_t oid, run const& each) { return oid < each.first_oid; });
  run const& found = *(behind - 1);
  return found.first_line + (object.oid - found.first_oid);
}

}  // namespace qd::sql
