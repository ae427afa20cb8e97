// UTF-16 text that goes to a stream as UTF-8.
#pragma once

#include <iosfwd>
#include <string_view>

namespace db_string {

// A view of UTF-16 text.
struct Ucs2StringWrapper {
  Ucs2StringWrapper(char16_t const* text, unsigned long text_units)
      : units(text), count(text_units) {}
  explicit Ucs2StringWrapper(std::u16string_view text) : units(text.data()), count(text.size()) {}

  char16_t const* units;
  unsigned long count;  // Of units.
};

// Writes the text in UTF-8. Throws std::range_error on an unpaired surrogate.
std::ostream& operator<<(std::ostream& stream, Ucs2StringWrapper const& text);

}  // namespace db_string
