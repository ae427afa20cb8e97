// The kinds of columns that the kernel stores, and how one takes part in an index.
#pragma once

#include <cstdint>

namespace qd::coredb {

// Stored in layouts and index descriptions: the numbers are part of the file format. They are those
// that query plans use for column kinds.
enum class column_kind : std::uint8_t {
  unsigned_integer = 0,
  signed_integer = 1,
  decimal = 2,  // Millionths.
  single_float = 3,
  double_float = 4,
  string = 5,  // Densetext, header included.
  binary = 6,
  reference = 7,      // An object id.
  set_specifier = 8,  // Column 1 only.
  boolean = 9,
};

inline constexpr unsigned column_kind_count = 10;

// How one column takes part in the order of an index. NULLs come first in an ascending column and
// last in a descending one.
struct key_column {
  column_kind kind = column_kind::unsigned_integer;
  bool ascending = true;
};

}  // namespace qd::coredb
