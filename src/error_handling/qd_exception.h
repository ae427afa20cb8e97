// The error that a user of SQL sees: a number, a text and a place in the query.
#pragma once

#include <exception>
#include <string>
#include <string_view>

// A stretch of the query text; lines and columns as the parser counted them.
struct YYLTYPE {
  int first_line;
  int first_column;
  int last_line;
  int last_column;
};

namespace error_handling {

// The location of an error that has none.
inline constexpr YYLTYPE invalid_location{-1, -1, -1, -1};

class QDException : public std::exception {
 public:
  // Throws std::range_error when `text` is not valid UTF-16.
  QDException(unsigned int error_code, YYLTYPE const& place, std::u16string_view text);

  // The message in UTF-8; belongs to the exception.
  char const* what() const noexcept override;

  unsigned int code;       // A number of error_codes.h.
  std::u16string message;  // The text.
  YYLTYPE location;        // Where in the query, or invalid_location.
  std::string utf8;        // `message` in UTF-8.
};

// Throws a QDException of the three.
[[noreturn]] void ThrowException(unsigned int code, YYLTYPE const& location,
                                 std::u16string_view message);

// Throws 7022, "Identifier <name> is not defined.".
[[noreturn]] void ThrowUnknownIdentifier(YYLTYPE const& location, std::u16string_view name);

}  // namespace error_handling
