// Sort keys as bytes whose order is that of the keys, so that sorting compares words.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "sql_executor/value.h"

namespace qd::sql_executor {

// The encoded keys of a list of rows. One key is, value by value, a byte for the kind (0 for NULL,
// else the kind's index and 1) and the content:
//
//     bool                 0 or 1
//     unsigned, reference  8 bytes, most significant first (a reference's oid)
//     signed, Decimal      8 bytes, the sign bit flipped
//     double, float        8 or 4 bytes, -0 as +0: the sign bit flipped in a positive number, all
//                          bits in a negative one
//     string               the payload's significant bytes, each 00 as 00 FF, then 00 00, then how
//                          many bits of the last one are significant (0 without bytes)
//     Binary               the bytes, each 00 as 00 FF, then 00 00
//     set specifier        the same with the units, high byte first
//
// A descending key has all its bytes inverted. No encoded value is the beginning of another of its
// kind, so the bytes of a whole key decide as its values would one by one. That holds while each
// position of the key keeps to one kind, NULL aside, and there is no NaN; the list notes where not.
class sort_keys {
 public:
  explicit sort_keys(std::vector<bool> const& ascending);

  // Adds the value at the next position of the present row's key.
  void add(value const& key);
  // Ends the present row's key, which has one value per flag.
  void end_row();

  // Whether the order of the bytes is that of the keys: no position holds a NaN or two kinds.
  bool order_is_total() const { return order_is_total_; }

  // Sorts the rows by their keys, of which nothing stays but the order. Requires order_is_total().
  void sort();
  // The number of the row, counted from 0, at a position of the order. Requires sort().
  std::uint64_t row_at(std::uint64_t position) const { return entries_[position].row; }

  // The values of a row's key again, before they are sorted. They compare as the originals do; a -0 and the header of a
  // string are not restored.
  std::vector<value> decoded(std::uint64_t row) const;

 private:
  using byte_vector = std::vector<unsigned char>;
  using byte_view = std::basic_string_view<unsigned char>;

  // What is sorted: the first sixteen bytes of a key as two numbers, filled up with zeros, and its
  // row. They nearly always decide.
  struct entry {
    std::uint64_t high;
    std::uint64_t low;
    std::uint64_t row;
  };
  static constexpr std::size_t prefix_size = 16;

  // What the keys of neighbouring rows have beyond their prefixes.
  struct tail_block {
    byte_vector bytes;
    std::vector<std::uint64_t> starts;  // One per row, in `bytes`.
  };
  static constexpr std::uint64_t rows_per_block = 1024;

  byte_view tail(std::uint64_t row) const;

  std::vector<bool> const& ascending_;
  byte_vector key_;                   // The present row's.
  std::vector<entry> entries_;        // One per row, in the order of the rows.
  std::vector<tail_block> tails_;     // A growing list would be copied, and is half empty.
  std::vector<unsigned char> kinds_;  // Per position: the kind byte met, or NULL's.
  unsigned long position_ = 0;        // In the present row's key.
  bool order_is_total_ = true;
};

}  // namespace qd::sql_executor
