#include "display_text.h"

#include <utf8proc.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "db_string/string_encoder.h"

namespace unicode_demo {

namespace {

bool is_shapeless(utf8proc_category_t category) {
  switch (category) {
    case UTF8PROC_CATEGORY_CN:
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_CO:
    case UTF8PROC_CATEGORY_CS:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
      return true;
    default:
      return false;
  }
}

std::string code_point_text(unsigned long code) {
  char text[32];
  std::snprintf(text, sizeof text, "U+%04lX", code);
  return text;
}

void append(display_text& text, std::string_view utf8, std::size_t width) {
  text.utf8 += utf8;
  text.width += width;
}

template <typename Number>
std::string shortest(Number number) {
  char digits[64];
  auto const [end, error] = std::to_chars(digits, digits + sizeof digits, number);
  return {digits, end};
}

struct value_text {
  bool is_code;

  std::string operator()(bool truth) const { return truth ? "TRUE" : "FALSE"; }
  std::string operator()(db_string::dt_string const& text) const {
    return encoder::utf16_to_utf8(text.string());
  }
  std::string operator()(unsigned long number) const {
    return is_code ? code_point_text(number) : std::to_string(number);
  }
  std::string operator()(long number) const { return std::to_string(number); }
  std::string operator()(operator_library::Decimal number) const {
    constexpr long scale = operator_library::Decimal::scale;
    std::string text = number.scaled < 0 ? "-" : "";
    text += std::to_string(std::abs(number.scaled / scale));
    std::string fraction = std::to_string(std::abs(number.scaled % scale));
    fraction.insert(0, 6 - fraction.size(), '0');
    fraction.resize(fraction.find_last_not_of('0') + 1);
    return fraction.empty() ? text : text + '.' + fraction;
  }
  std::string operator()(double number) const { return shortest(number); }
  std::string operator()(float number) const { return shortest(number); }
  std::string operator()(operator_library::Binary const& binary) const {
    std::string text = "x'";
    for (unsigned char const byte : binary.bytes) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02x", byte);
      text += digits;
    }
    return text + '\'';
  }
  std::string operator()(QD_OBJ_REF const& reference) const {
    return '@' + std::to_string(reference.oid);
  }
  std::string operator()(operator_library::SetSpecifier const& set_specifier) const {
    return encoder::utf16_to_utf8(set_specifier.specifier);
  }
  std::string operator()(operator_library::NullValue) const { return "NULL"; }
};

}  // namespace

display_text make_visible(std::string_view utf8) {
  display_text result;
  while (!utf8.empty()) {
    utf8proc_int32_t code = 0;
    auto const* const bytes = reinterpret_cast<utf8proc_uint8_t const*>(utf8.data());
    auto const length = utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(utf8.size()), &code);
    if (length <= 0) {
      append(result, "?", 1);
      utf8.remove_prefix(1);
      continue;
    }
    std::string_view const character = utf8.substr(0, static_cast<std::size_t>(length));
    auto const width = static_cast<std::size_t>(utf8proc_charwidth(code));
    if (is_shapeless(utf8proc_category(code))) {
      std::string const number = '<' + code_point_text(static_cast<unsigned long>(code)) + '>';
      append(result, number, number.size());
    } else {
      if (width == 0 && result.utf8.empty()) append(result, "\u25CC", 1);
      append(result, character, width);
    }
    utf8.remove_prefix(character.size());
  }
  return result;
}

display_text make_visible(qd::sql_executor::value const& source, bool is_code) {
  return make_visible(visit(value_text{is_code}, source));
}

}  // namespace unicode_demo
