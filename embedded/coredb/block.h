// Blocks: the stored form of objects. A block holds the objects of one layout whose ids lie in one
// run of 64, so an object's id alone says where its record is.
//
//     0   u64  block number
//     8   u64  live: bit i says that record i holds an object
//    16   u16  layout
//    18   u16  record capacity: how many records have room
//    20   u32  image size
//    24   u32  heap bytes that no record uses any more
//    28   u32  0
//    32   records: capacity times layout::record_bytes
//         heap: strings and binaries
//
//     record: null bitmap (bit set: NULL), in 64-bit words, then one 64-bit slot per stored column.
//     The slot of a string or binary: u32 offset into the heap, u32 size; offset 0xFFFFFFFF: the
//     value is kept outside, as a long value.
//
// Numbers are in the machine's order. Images have no alignment.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "coredb/byte_order.h"
#include "coredb/field.h"
#include "coredb/schema.h"

namespace qd::coredb {

inline constexpr unsigned int records_per_block = 64;
inline constexpr std::size_t block_header_bytes = 32;
// Longer values live outside the block, so that a block stays small enough to be rewritten.
inline constexpr std::size_t longest_block_value = 1024;
inline constexpr std::uint32_t long_value_offset = 0xFFFFFFFF;

// Ids begin at block 1: 0 is no object.
constexpr std::uint64_t block_of(std::uint64_t oid) {
  return oid / records_per_block;
}
constexpr unsigned int record_of(std::uint64_t oid) {
  return oid % records_per_block;
}
constexpr std::uint64_t oid_of(std::uint64_t block, unsigned int record) {
  return block * records_per_block + record;
}

inline std::uint64_t block_live(unsigned char const* image) {
  return get<std::uint64_t>(image + 8);
}
inline std::uint16_t block_layout(unsigned char const* image) {
  return get<std::uint16_t>(image + 16);
}
inline std::uint32_t block_capacity(unsigned char const* image) {
  return get<std::uint16_t>(image + 18);
}
inline std::uint32_t block_size(unsigned char const* image) {
  return get<std::uint32_t>(image + 20);
}
inline bool block_has(unsigned char const* image, unsigned int record) {
  return block_live(image) >> record & 1;
}

// A block without objects, which stands for every block that is not stored.
extern unsigned char const absent_block[block_header_bytes];

// Whether stored bytes are the image of this block, so that reading records stays inside of it.
bool is_block(std::span<unsigned char const> image, std::uint64_t number, schema const& schema);

// A record in a block image, of the block's own layout.
struct record_view {
  unsigned char const* image;
  coredb::layout const* layout;
  std::uint64_t oid;

  unsigned char const* record() const {
    return image + block_header_bytes + std::size_t{record_of(oid)} * layout->record_bytes;
  }
  // `column` counts from the first stored column, which is column 3.
  bool is_null(unsigned int column) const {
    return get<std::uint64_t>(record() + column / 64 * 8) >> column % 64 & 1;
  }
  std::uint64_t slot(unsigned int column) const {
    return get<std::uint64_t>(record() + (layout->null_words + column) * std::size_t{8});
  }
};

// Where a slot says that a string or binary is.
struct heap_place {
  std::uint32_t offset;
  std::uint32_t size;
  bool is_long() const { return offset == long_value_offset; }
};

inline heap_place place_of(std::uint64_t slot) {
  return {static_cast<std::uint32_t>(slot), static_cast<std::uint32_t>(slot >> 32)};
}
inline std::uint64_t slot_of(heap_place place) {
  return std::uint64_t{place.size} << 32 | place.offset;
}

// A value in a block's heap; empty data when the image is damaged.
std::span<unsigned char const> heap_bytes(record_view const& record, heap_place place,
                                          bool& damaged);

// Brings the place into the processor's cache where a record's strings are if all records have as
// many bytes of them.
inline void prefetch_strings(unsigned char const* image, layout const& layout,
                             unsigned int record) {
  std::uint32_t const capacity = block_capacity(image);
  if (!layout.has_bytes || capacity == 0) return;
  std::uint32_t const heap =
      static_cast<std::uint32_t>(block_header_bytes) + capacity * layout.record_bytes;
  std::uint64_t const before = std::uint64_t{block_size(image) - heap} * record / capacity;
  __builtin_prefetch(image + heap + before);
}

// A block being written, in memory; the image always has room for all 64 records.
class block_editor {
 public:
  // A new block without objects.
  block_editor(std::uint64_t number, layout const& layout);
  // A stored block.
  block_editor(unsigned char const* image, layout const& layout);

  unsigned char const* image() const { return image_.data(); }
  std::size_t memory() const { return image_.capacity(); }

  // Starts an object: all its fields are NULL.
  void add(unsigned int record, layout const& layout);
  // Ends an object, whose strings and binaries must be NULL by now.
  void remove(unsigned int record);
  // Sets a stored column. A value longer than longest_block_value only leaves its size here.
  void set(unsigned int record, unsigned int column, field const& value, layout const& layout);

  // Bytes of the stored form, which has no room for records behind the last object.
  std::size_t stored_size(layout const& layout) const;
  void write_stored(unsigned char* out, layout const& layout) const;

 private:
  unsigned char* record(unsigned int record, layout const& layout);
  void release(unsigned int record, unsigned int column, layout const& layout);
  void compact(layout const& layout);
  void set_size();

  std::vector<unsigned char> image_;
};

}  // namespace qd::coredb
