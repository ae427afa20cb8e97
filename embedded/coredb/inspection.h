// What can be told of a context's contents beyond single objects.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "coredb/export.h"

namespace qd::coredb {

// The objects of a layout and of all layouts derived from it, counted without a walk. The write
// transaction counts its own changes. Throws error: bad_transaction for a handle that the calling
// thread may not use, stopped, bad_schema when there is no such layout.
QD_COREDB_API std::uint64_t count_objects(unsigned long context, std::uint16_t layout);
// The same for the entries of an index, an extent among them. Every object that an index covers has
// one entry, whether its columns are NULL or not.
QD_COREDB_API std::uint64_t count_entries(unsigned long context, std::uint64_t index_id);

// Something stored that contradicts something else.
struct fault {
  std::uint64_t index_id = 0;  // 0: of no index.
  std::uint16_t layout = 0;    // 0: of no layout, or of one that does not exist.
  std::uint64_t oid = 0;       // 0: of no single object.
  std::string what;
};

// Reads everything that a snapshot sees: every block and value, every index entry beside its
// object's record and the other way round, every note of a reference, the counts. Returns the first
// `most` faults, none when all is sound. Throws error as count_objects does, stopped at any time.
QD_COREDB_API std::vector<fault> find_faults(unsigned long snapshot, std::size_t most);

}  // namespace qd::coredb
