// A schema with a column of every kind, a class derived from another, and indexes over columns of
// every kind that can be indexed, in both directions. For tests over the embedded database.
//
//     kinds.Thing     flag name count level price weight ratio blob link -> kinds.Thing
//     kinds.Special   derived from Thing: extra signed, note text
//     kinds.Other     level signed, name text, target -> kinds.Thing
#pragma once

#include <string_view>
#include <vector>

#include "dbmetalayer/database.h"

namespace kinds_database {

inline constexpr std::u16string_view thing = u"kinds.Thing";
inline constexpr std::u16string_view special = u"kinds.Special";
inline constexpr std::u16string_view other = u"kinds.Other";

// The classes, bases first, with their columns in order (inherited ones left out), and the indexes.
std::vector<qd::embedded::class_definition> const& classes();
std::vector<qd::embedded::index_definition> const& indexes();

// Defines them.
void define(qd::embedded::transaction& write);

}  // namespace kinds_database
