#include "error_handling/qd_exception.h"

#include "db_string/string_encoder.h"
#include "error_handling/error_codes.h"

namespace error_handling {

QDException::QDException(unsigned int error_code, YYLTYPE const& place, std::u16string_view text)
    : code(error_code), message(text), location(place), utf8(encoder::utf16_to_utf8(text)) {}

char const* QDException::what() const noexcept {
  return utf8.c_str();
}

void ThrowException(unsigned int code, YYLTYPE const& location, std::u16string_view message) {
  throw QDException(code, location, message);
}

void ThrowUnknownIdentifier(YYLTYPE const& location, std::u16string_view name) {
  std::u16string message = u"Identifier ";
  message += name;
  message += u" is not defined.";
  ThrowException(not_implemented, location, message);
}

}  // namespace error_handling
