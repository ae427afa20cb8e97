#include "db_string/ucs2_string_wrapper.h"

#include <ostream>

#include "db_string/string_encoder.h"

namespace db_string {

std::ostream& operator<<(std::ostream& stream, Ucs2StringWrapper const& text) {
  return stream << encoder::utf16_to_utf8({text.units, text.count});
}

}  // namespace db_string
