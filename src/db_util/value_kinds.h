// The database's own value kinds: what a column, a literal or a result can hold beside text, the
// integers, the floating kinds and references.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace operator_library {

// A fixed-point number with six decimal places.
struct Decimal {
  // Millionths in one unit.
  static constexpr long scale = 1'000'000;
  // The greatest integer part, 2^42 - 1, and the bound of |scaled| that it gives.
  static constexpr long max_integer = 4'398'046'511'103;
  static constexpr long max_scaled = 4'398'046'511'103'999'999;

  long scaled = 0;  // The number in millionths; -max_scaled <= scaled <= max_scaled.

  friend bool operator==(Decimal const&, Decimal const&) = default;
};

// A run of bytes.
struct Binary {
  std::vector<unsigned char> bytes;

  friend bool operator==(Binary const&, Binary const&) = default;
};

// The place of a class in the class hierarchy, as UTF-16 units. A class's set specifier begins with
// that of each of its base classes, so an object is an instance of a class exactly when the
// object's set specifier begins with the class's.
struct SetSpecifier {
  std::u16string specifier;

  friend bool operator==(SetSpecifier const&, SetSpecifier const&) = default;
};

// SQL NULL.
struct NullValue {
  friend constexpr bool operator==(NullValue, NullValue) { return true; }
};

}  // namespace operator_library
