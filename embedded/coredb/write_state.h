// What a write transaction holds in memory beside the store's own batch.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "coredb/block.h"
#include "coredb/bulk_load.h"
#include "coredb/index_key.h"
#include "coredb/layout_counters.h"
#include "coredb/store.h"

namespace qd::coredb {

// The key in keyspace::extents that says that a block holds objects of a layout.
struct extent_key {
  extent_key(std::uint16_t layout, std::uint64_t block) {
    bytes[0] = static_cast<unsigned char>(layout >> 8);
    bytes[1] = static_cast<unsigned char>(layout);
    put_big_endian(bytes + 2, block);
  }
  byte_view view() const { return bytes; }
  // The block of a key; 0 when the key is of another layout.
  static std::uint64_t block_of(byte_view key, std::uint16_t layout) {
    if (key.size() != sizeof bytes) return 0;
    return (key[0] << 8 | key[1]) == layout ? get_big_endian(key.data() + 2) : 0;
  }
  unsigned char bytes[10];
};

// A run of object ids set aside for objects of one layout.
struct reserved_run {
  std::uint64_t end;  // The first id behind it.
  std::uint16_t layout;
};

struct reference_change {
  std::uint16_t column;
  field before;
  field after;
};

struct dirty_block {
  block_editor editor;
  std::uint16_t layout;
};

struct write_state {
  // Counts the changes made, so that iterators know when to look for their place again.
  std::uint64_t changes = 0;
  // Set while a change is being made; when it is found set, that change was not finished.
  bool failed = false;

  std::unordered_map<std::uint64_t, dirty_block> dirty;
  std::size_t dirty_bytes = 0;

  // Look for equal keys in unique indexes; must go before the transaction ends.
  std::map<keyspace, store_cursor> unique_cursors;
  // The keys of the object at hand, one per index of its layout.
  std::vector<key_buffer> keys;
  std::vector<key_buffer> old_keys;
  // Its indexed references, copied before the first write, which may free the page they are on.
  std::vector<reference_change> references;

  std::optional<bulk_load> bulk;  // While a bulk insert is open.
  // Whether no index has an entry for the object yet.
  bool is_pending(std::uint64_t oid) const { return bulk && bulk->contains(oid); }

  // The stored counters.
  std::uint64_t next_block = 1;
  std::uint64_t next_index = 1;
  std::uint64_t next_layout = 1;
  bool schema_changed = false;
  std::unordered_map<std::uint16_t, layout_counters> counters;  // By layout; read when needed.
  std::map<std::uint64_t, reserved_run> reserved;               // By first id.
  // Reserved ids whose objects are gone again: no id is used twice.
  std::unordered_set<std::uint64_t> erased_reserved;
};

}  // namespace qd::coredb
