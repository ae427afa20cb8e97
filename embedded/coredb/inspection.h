// What can be told of a context's contents without reading them all.
#pragma once

#include <cstdint>

#include "coredb/export.h"

namespace qd::coredb {

// The objects of a layout and of all layouts derived from it, counted without a walk. The write
// transaction counts its own changes. Throws error: bad_transaction for a handle that the calling
// thread may not use, stopped, bad_schema when there is no such layout.
QD_COREDB_API std::uint64_t count_objects(unsigned long context, std::uint16_t layout);
// The same for the entries of an index, an extent among them. Every object that an index covers has
// one entry, whether its columns are NULL or not.
QD_COREDB_API std::uint64_t count_entries(unsigned long context, std::uint64_t index_id);

}  // namespace qd::coredb
