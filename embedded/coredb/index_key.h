// Storage keys: the form in which index entries are kept, ordered by memcmp as the index is.
//
// The keys that callers hand to vela_context_create_iterator are not in memcmp order (NULL has the
// highest marker although NULLs come first, length bytes stand before their content, descending
// columns look like ascending ones), so each is decoded by the columns of its index and written
// again as a storage key. A storage key is one field per index column:
//
//     NULL           10
//     unsigned, reference, bool, signed and Decimal (scaled):
//       0 and above  29 + n, then the number's n significant bytes, big-endian, n from 0 to 8
//       below 0      28 - n, then as many bytes of the number as its complement has: -1 has none
//     floating       20, then 8 bytes big-endian: the bits of a double with the sign bit inverted
//                    when positive, all bits when negative
//     text           20, then the densetext payload, 00 written as 00 FF, then 00 01
//     binary         20, then the bytes likewise, then 00 01
//     beyond every
//     binary         30
//
// and every byte of a descending column's field is inverted. A field ends by itself, so more bytes
// (an object id) may follow a key. -0 and +0 have one key; NaNs of either sign have one key, above
// +infinity.
// Numbers take as few bytes as they can because the time of a search is spent waiting for keys: the
// shorter they are, the more of them are in the processor's cache.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>

#include "coredb/export.h"
#include "coredb/schema.h"

namespace qd::coredb {

// A growing run of bytes; keys of usual size stay inside the object, without an allocation.
class key_buffer {
 public:
  key_buffer() = default;
  key_buffer(key_buffer const& other) { append(other.data(), other.size()); }
  key_buffer& operator=(key_buffer const& other) {
    if (this != &other) {
      clear();
      append(other.data(), other.size());
    }
    return *this;
  }

  unsigned char const* data() const { return heap_ ? heap_.get() : inline_; }
  unsigned char* data() { return heap_ ? heap_.get() : inline_; }
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  std::span<unsigned char const> bytes() const { return {data(), size_}; }

  void clear() { size_ = 0; }
  void truncate(std::size_t size) { size_ = std::min(size_, size); }
  void push_back(unsigned char byte) {
    if (size_ == capacity_) grow(1);
    data()[size_++] = byte;
  }
  void append(unsigned char const* bytes, std::size_t count) {
    if (count == 0) return;
    if (capacity_ - size_ < count) grow(count);
    std::memcpy(data() + size_, bytes, count);
    size_ += count;
  }

 private:
  QD_COREDB_API void grow(std::size_t count);

  std::size_t size_ = 0;
  std::size_t capacity_ = sizeof inline_;
  std::unique_ptr<unsigned char[]> heap_;  // Null while the bytes fit into inline_.
  unsigned char inline_[256];
};

// Appends one field to a storage key.
QD_COREDB_API void append_null(key_buffer& key, bool ascending);
QD_COREDB_API void append_unsigned(key_buffer& key, std::uint64_t number, bool ascending);
QD_COREDB_API void append_signed(key_buffer& key, std::int64_t number, bool ascending);
QD_COREDB_API void append_double(key_buffer& key, double number, bool ascending);
// A stored densetext or set-specifier densetext, header included.
QD_COREDB_API void append_text(key_buffer& key, unsigned char const* densetext, std::size_t size,
                               bool ascending);
QD_COREDB_API void append_binary(key_buffer& key, unsigned char const* bytes, std::size_t size,
                                 bool ascending);

// Appends the field of a kind that is not text or binary from the word that a record stores for
// it: the number itself, a Decimal's scaled value, the bits of a double, the bits of a float in the
// low half, an object id, 0 or 1. `kind` is none of string, binary and set_specifier.
QD_COREDB_API void append_word(key_buffer& key, column_kind kind, std::uint64_t word,
                               bool ascending);

// The least number whose ascending field of an unsigned or reference column is at or above these
// bytes; empty when there is none.
QD_COREDB_API std::optional<std::uint64_t> least_unsigned_at(std::span<unsigned char const> bytes);

// One end of a range of storage keys: the entries e of a half-open range are those with
// low <= e and e < high. An entry is a storage key, whatever follows it included.
struct key_bound {
  key_buffer bytes;
  bool beyond_all = false;  // Above every entry; `bytes` is empty.
};

// Where a bound lies against the entries that begin with its fields.
enum class bound_side { before, after };

enum class key_status {
  good,
  malformed,    // A byte that the format does not allow there.
  unsupported,  // A value for a column of a floating kind: keys have no such field.
};

// Decodes a caller's key for an index with these columns and writes the storage bound before or
// after every entry that begins with its fields. The low end of a range is `before` when inclusive,
// `after` when exclusive; the high end is `after` when inclusive, `before` when exclusive. A key
// with fewer fields than the index has columns covers, or skips, every entry that continues it.
//
// `key` carries no length. It is read up to and including its 0xC0 byte, never further than its own
// bytes promise. With a status other than good, `out` is unspecified.
QD_COREDB_API key_status decode_bound(unsigned char const* key,
                                      std::span<index_column_definition const> columns,
                                      bound_side side, key_bound& out);

// Turns a key into the least byte string above everything that begins with it. `key` is not empty
// and begins with a field's marker.
QD_COREDB_API void make_successor(key_buffer& key);

// A Decimal's scaled value from its form in a caller's key (integral part above 21 bits, then 7
// bits of hundredths and 14 bits of the last four decimals; negated below zero). False when a group
// exceeds its decimals.
QD_COREDB_API bool decode_decimal(std::int64_t encoded, std::int64_t& scaled);

}  // namespace qd::coredb
