// The kinds of columns that the kernel stores.
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

}  // namespace qd::coredb
