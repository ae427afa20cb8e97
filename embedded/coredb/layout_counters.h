// What a layout counts, in keyspace::meta.
#pragma once

#include <cstdint>

#include "coredb/byte_order.h"
#include "coredb/store.h"

namespace qd::coredb {

struct layout_counters {
  std::uint64_t next_oid = 0;  // The next object's id; 0: the next one begins a block.
  std::uint64_t objects = 0;   // The objects that exist, without those of derived layouts.
};

struct layout_counters_key {
  explicit layout_counters_key(std::uint16_t layout)
      : bytes{'n', static_cast<unsigned char>(layout >> 8), static_cast<unsigned char>(layout)} {}
  byte_view view() const { return bytes; }
  unsigned char bytes[3];
};

inline void write_layout_counters(store_transaction& transaction, std::uint16_t layout,
                                  layout_counters const& counters) {
  unsigned char bytes[16];
  put(bytes, counters.next_oid);
  put(bytes + 8, counters.objects);
  transaction.put(keyspace::meta, layout_counters_key(layout).view(), bytes);
}

// All zero for a layout that never had an object.
inline layout_counters read_layout_counters(store_transaction const& transaction,
                                            std::uint16_t layout) {
  std::optional<byte_view> const stored =
      transaction.get(keyspace::meta, layout_counters_key(layout).view());
  if (!stored || stored->size() != 16) return {};
  return {get<std::uint64_t>(stored->data()), get<std::uint64_t>(stored->data() + 8)};
}

}  // namespace qd::coredb
