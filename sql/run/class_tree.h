// Which classes derive from which.
#pragma once

#include <string>
#include <vector>

#include "dbmetalayer/database.h"

namespace qd::sql {

// The class itself, then its bases, the nearest first.
std::vector<std::u16string> with_bases(embedded::read_context const& context,
                                       std::u16string const& class_name);
// The class itself, then all that derive from it, a base before what derives from it.
std::vector<std::u16string> with_derived(embedded::read_context const& context,
                                         std::u16string const& class_name);
// Whether an object can be of both.
bool share_objects(embedded::read_context const& context, std::u16string const& left,
                   std::u16string const& right);

}  // namespace qd::sql
