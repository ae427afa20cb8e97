// Values as texts.
#include <charconv>
#include <cmath>
#include <string>

#include "db_string/string_encoder.h"
#include "sql/connection.h"
#include "sql/run/error_translation.h"
#include "sql/run/texts.h"

namespace qd::sql {
namespace {

template <typename Number>
std::string shortest(Number number) {
  if (std::isnan(number)) return "NaN";
  if (std::isinf(number)) return number < 0 ? "-Infinity" : "Infinity";
  char digits[64];
  auto const written = std::to_chars(digits, digits + sizeof digits, number);
  return {digits, written.ptr};
}

struct displayed {
  std::string operator()(bool truth) const { return truth ? "true" : "false"; }
  std::string operator()(db_string::dt_string const& text) const { return to_utf8(text.string()); }
  std::string operator()(unsigned long number) const { return std::to_string(number); }
  std::string operator()(long number) const { return std::to_string(number); }
  std::string operator()(operator_library::Decimal const& number) const {
    return decimal_digits(number.scaled);
  }
  std::string operator()(double number) const { return shortest(number); }
  std::string operator()(float number) const { return shortest(number); }
  std::string operator()(operator_library::Binary const& binary) const {
    constexpr char digits[] = "0123456789abcdef";
    std::string text = "\\x";
    text.reserve(2 + 2 * binary.bytes.size());
    for (unsigned char const byte : binary.bytes) {
      text += digits[byte >> 4];
      text += digits[byte & 15];
    }
    return text;
  }
  std::string operator()(QD_OBJ_REF const& reference) const {
    return "@" + std::to_string(reference.oid);
  }
  std::string operator()(operator_library::SetSpecifier const& specifier) const {
    return to_utf8(specifier.specifier);
  }
  std::string operator()(operator_library::NullValue) const { return "NULL"; }
};

bool is_high_surrogate(char16_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool is_low_surrogate(char16_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

}  // namespace

std::string to_utf8(std::u16string text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (is_high_surrogate(text[i]) && i + 1 < text.size() && is_low_surrogate(text[i + 1])) {
      ++i;
    } else if (is_high_surrogate(text[i]) || is_low_surrogate(text[i])) {
      text[i] = u'\uFFFD';
    }
  }
  return encoder::utf16_to_utf8(text);
}

bool is_utf8(std::string_view text) {
  try {
    encoder::utf8_to_utf16(text);
    return true;
  } catch (std::range_error const&) {
    return false;
  }
}

std::string decimal_digits(long scaled) {
  constexpr int places = 6;
  // The magnitude of any 64-bit number fits the unsigned kind.
  unsigned long const magnitude =
      scaled < 0 ? 0 - static_cast<unsigned long>(scaled) : static_cast<unsigned long>(scaled);
  unsigned long const unit = operator_library::Decimal::scale;
  std::string text = (scaled < 0 ? "-" : "") + std::to_string(magnitude / unit);
  unsigned long fraction = magnitude % unit;
  if (fraction == 0) return text;
  std::string digits = std::to_string(fraction);
  digits.insert(0, places - digits.size(), '0');
  digits.erase(digits.find_last_not_of('0') + 1);
  return text + '.' + digits;
}

std::string cut_text(std::string_view text, std::size_t most_bytes) {
  if (text.size() <= most_bytes) return std::string(text);
  std::size_t end = most_bytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return std::string(text.substr(0, end));
}

std::string display_text(value const& content) {
  return translated([&] { return visit(displayed(), content); });
}

std::string utf8_text(value const& content) {
  auto const* text = get_if<db_string::dt_string>(&content);
  if (!text) throw error(error_code::wrong_row, "the value is no text");
  return translated([&] { return to_utf8(text->string()); });
}

}  // namespace qd::sql
