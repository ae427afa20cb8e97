#include "sql/copy/field_converter.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <system_error>

#include "db_string/string_encoder.h"
#include "db_util/value_kinds.h"
#include "sql/text/ascii.h"

namespace qd::sql {

namespace {

constexpr std::string_view accepted = {};
constexpr std::string_view out_of_range = "is out of range";
constexpr std::string_view no_integer = "is no integer";
constexpr std::string_view no_decimal = "is no decimal number";
constexpr std::string_view no_number = "is no number";

// Takes a sign off the front; true of a minus.
bool take_sign(std::string_view& text) {
  bool const negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  return negative;
}

std::string_view convert_integer(std::string_view text, bool is_signed, embedded::value& result) {
  bool const negative = take_sign(text);
  std::uint64_t magnitude = 0;
  char const* const end = text.data() + text.size();
  auto const [stopped, status] = std::from_chars(text.data(), end, magnitude);
  if (text.empty() || stopped != end || status == std::errc::invalid_argument) return no_integer;
  if (status == std::errc::result_out_of_range) return out_of_range;
  if (!is_signed) {
    if (negative && magnitude != 0) return out_of_range;
    result = magnitude;
    return accepted;
  }
  constexpr auto greatest = std::uint64_t{std::numeric_limits<std::int64_t>::max()};
  if (magnitude > greatest + (negative ? 1 : 0)) return out_of_range;
  // Negated as an unsigned number: the least integer has no positive counterpart.
  result = static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
  return accepted;
}

std::string_view convert_decimal(std::string_view text, embedded::value& result) {
  using operator_library::Decimal;
  constexpr int decimals = 6;
  bool const negative = take_sign(text);
  std::int64_t scaled = 0;
  int decimals_seen = -1;  // -1 before the point.
  bool any_digit = false;
  for (char const each : text) {
    if (each == '.' && decimals_seen < 0) {
      decimals_seen = 0;
      continue;
    }
    if (!ascii::is_digit(each)) return no_decimal;
    any_digit = true;
    int const digit = each - '0';
    if (decimals_seen == decimals) {
      if (digit != 0) return "has more than six decimals";
      continue;
    }
    if (decimals_seen >= 0) ++decimals_seen;
    if (scaled > (Decimal::max_scaled - digit) / 10) return out_of_range;
    scaled = 10 * scaled + digit;
  }
  if (!any_digit) return no_decimal;
  for (int i = std::max(decimals_seen, 0); i < decimals; ++i) {
    if (scaled > Decimal::max_scaled / 10) return out_of_range;
    scaled *= 10;
  }
  result = embedded::decimal{negative ? -scaled : scaled};
  return accepted;
}

template <typename Float>
std::string_view convert_float(std::string_view text, embedded::value& result) {
  using limits = std::numeric_limits<Float>;
  bool const negative = take_sign(text);
  Float number = 0;
  if (ascii::equal_but_for_case(text, "nan")) {
    number = limits::quiet_NaN();
  } else if (ascii::equal_but_for_case(text, "infinity") ||
             ascii::equal_but_for_case(text, "inf")) {
    number = limits::infinity();
  } else {
    // The names of the special numbers are taken above, and no other ones that from_chars knows.
    if (text.empty() || (!ascii::is_digit(text[0]) && text[0] != '.')) return no_number;
    char const* const end = text.data() + text.size();
    auto const [stopped, status] = std::from_chars(text.data(), end, number);
    if (stopped != end || status == std::errc::invalid_argument) return no_number;
    if (status == std::errc::result_out_of_range) return out_of_range;
  }
  result = negative ? -number : number;
  return accepted;
}

std::string_view convert_boolean(std::string_view text, embedded::value& result) {
  for (std::string_view const name : {"t", "true", "1"}) {
    if (ascii::equal_but_for_case(text, name)) {
      result = true;
      return accepted;
    }
  }
  for (std::string_view const name : {"f", "false", "0"}) {
    if (ascii::equal_but_for_case(text, name)) {
      result = false;
      return accepted;
    }
  }
  return "is neither true nor false";
}

}  // namespace

field_converter::field_converter(embedded::column_type type, csv_format const& format)
    : type_(type), format_(format) {}

std::string_view field_converter::convert(csv_field const& field, embedded::value& result) {
  if (field.is_null(format_)) {
    result = embedded::value();
    return accepted;
  }
  switch (type_) {
    case embedded::column_type::string:
      return convert_text(field.text, result);
    case embedded::column_type::binary:
      return convert_binary(field.text, result);
    case embedded::column_type::signed_integer:
      return convert_integer(field.text, true, result);
    case embedded::column_type::unsigned_integer:
      return convert_integer(field.text, false, result);
    case embedded::column_type::decimal:
      return convert_decimal(field.text, result);
    case embedded::column_type::single_float:
      return convert_float<float>(field.text, result);
    case embedded::column_type::double_float:
      return convert_float<double>(field.text, result);
    case embedded::column_type::boolean:
      return convert_boolean(field.text, result);
    case embedded::column_type::reference:
      break;
  }
  return "is a reference, which has to be looked up";
}

std::string_view field_converter::convert_text(std::string_view text, embedded::value& result) {
  if (text_.size() < text.size()) text_.resize(text.size());
  // Bytes below 0x80 are their own UTF-16 units; the first other one hands over to the encoder.
  unsigned char all_bits = 0;
  bool has_zero = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto const byte = static_cast<unsigned char>(text[i]);
    all_bits |= byte;
    has_zero |= byte == 0;
    text_[i] = byte;
  }
  if (has_zero) return "contains the character U+0000";
  std::size_t units = text.size();
  if (all_bits >= 0x80) {
    try {
      text_ = encoder::utf8_to_utf16(text);
    } catch (std::range_error const&) {
      return "is not valid UTF-8";
    }
    units = text_.size();
  }
  result = std::u16string_view(text_).substr(0, units);
  return accepted;
}

std::string_view field_converter::convert_binary(std::string_view text, embedded::value& result) {
  constexpr std::string_view no_binary = "is not \\x and pairs of hexadecimal digits";
  if (!text.starts_with("\\x") || text.size() % 2 != 0) return no_binary;
  text.remove_prefix(2);
  bytes_.clear();
  for (std::size_t i = 0; i < text.size(); i += 2) {
    int const high = ascii::hexadecimal(text[i]);
    int const low = ascii::hexadecimal(text[i + 1]);
    if (high < 0 || low < 0) return no_binary;
    bytes_.push_back(static_cast<unsigned char>(high << 4 | low));
  }
  result = embedded::binary_view(bytes_);
  return accepted;
}

}  // namespace qd::sql
