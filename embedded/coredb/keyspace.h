// The key spaces of a store.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qd::coredb {

enum class keyspace : unsigned char {
  meta,           // By name: format, schema, counters.
  blocks,         // Block number -> block image.
  long_values,    // Object id, column -> a value too long for its block.
  extents,        // Layout, block number -> nothing: the blocks of a class.
  referrers,      // Object id, id of an object that refers to it, column -> nothing.
  first_entries,  // Index prefix, storage key, object id -> index entry; see entry_space.
};

// Entries of indexes are spread over this many key spaces, so that most indexes have one for
// themselves: its tree is lower, and a new index's entries can be appended to it. An index shares
// its space with those whose ids differ by a multiple of the count.
inline constexpr std::size_t entry_space_count = 32;
inline constexpr std::size_t keyspace_count =
    static_cast<std::size_t>(keyspace::first_entries) + entry_space_count;

constexpr keyspace entry_space(std::uint64_t index_id) {
  return static_cast<keyspace>(static_cast<std::size_t>(keyspace::first_entries) +
                               index_id % entry_space_count);
}

}  // namespace qd::coredb
