#include "db_string/string_encoder.h"

#include <optional>
#include <stdexcept>

namespace encoder {

namespace {

constexpr char32_t first_surrogate = 0xD800;
constexpr char32_t first_low_surrogate = 0xDC00;
constexpr char32_t last_surrogate = 0xDFFF;
constexpr char32_t first_supplementary = 0x10000;
constexpr char32_t last_code_point = 0x10FFFF;

bool is_surrogate(char32_t code_point) {
  return first_surrogate <= code_point && code_point <= last_surrogate;
}

// Appends the UTF-8 form of a code point.
void append_utf8(std::string& utf8, char32_t code_point) {
  auto const append = [&utf8](char32_t byte) { utf8.push_back(static_cast<char>(byte)); };
  auto const append_tail = [&append, code_point](int shift) {
    append(0x80 | (code_point >> shift & 0x3F));
  };
  if (code_point < 0x80) {
    append(code_point);
  } else if (code_point < 0x800) {
    append(0xC0 | code_point >> 6);
    append_tail(0);
  } else if (code_point < first_supplementary) {
    append(0xE0 | code_point >> 12);
    append_tail(6);
    append_tail(0);
  } else {
    append(0xF0 | code_point >> 18);
    append_tail(12);
    append_tail(6);
    append_tail(0);
  }
}

// Takes one code point off the front of `utf8`; empty, where it does not begin with one.
std::optional<char32_t> take_code_point(std::string_view& utf8) {
  auto const lead = static_cast<unsigned char>(utf8[0]);
  // A sequence encodes a code point that a shorter one cannot; `least` is the first of those.
  struct {
    std::size_t length;
    char32_t lead_bits;
    char32_t least;
  } sequence;
  if (lead < 0x80) {
    sequence = {1, lead, 0};
  } else if (lead < 0xC0) {
    return std::nullopt;  // The inside of a sequence.
  } else if (lead < 0xE0) {
    sequence = {2, lead & 0x1FU, 0x80};
  } else if (lead < 0xF0) {
    sequence = {3, lead & 0x0FU, 0x800};
  } else if (lead < 0xF8) {
    sequence = {4, lead & 0x07U, first_supplementary};
  } else {
    return std::nullopt;
  }
  if (utf8.size() < sequence.length) return std::nullopt;
  char32_t code_point = sequence.lead_bits;
  for (std::size_t position = 1; position < sequence.length; ++position) {
    auto const tail = static_cast<unsigned char>(utf8[position]);
    if ((tail & 0xC0) != 0x80) return std::nullopt;
    code_point = code_point << 6 | (tail & 0x3F);
  }
  if (code_point < sequence.least || code_point > last_code_point || is_surrogate(code_point)) {
    return std::nullopt;
  }
  utf8.remove_prefix(sequence.length);
  return code_point;
}

}  // namespace

std::string utf16_to_utf8(std::u16string_view const& text) {
  std::string utf8;
  utf8.reserve(text.size());
  for (std::size_t position = 0; position < text.size(); ++position) {
    char32_t code_point = text[position];
    if (is_surrogate(code_point)) {
      char32_t const low = position + 1 < text.size() ? text[position + 1] : 0;
      if (code_point >= first_low_surrogate || low < first_low_surrogate || !is_surrogate(low)) {
        throw std::range_error("wstring_convert::to_bytes");
      }
      code_point = first_supplementary + (code_point - first_surrogate) * 0x400 +
                   (low - first_low_surrogate);
      ++position;
    }
    append_utf8(utf8, code_point);
  }
  return utf8;
}

std::u16string utf8_to_utf16(std::string_view const& text) {
  std::u16string utf16;
  utf16.reserve(text.size());
  for (std::string_view rest = text; !rest.empty();) {
    std::optional<char32_t> const code_point = take_code_point(rest);
    if (!code_point) throw std::range_error("wstring_convert::from_bytes");
    if (*code_point < first_supplementary) {
      utf16.push_back(static_cast<char16_t>(*code_point));
    } else {
      char32_t const offset = *code_point - first_supplementary;
      utf16.push_back(static_cast<char16_t>(first_surrogate + offset / 0x400));
      utf16.push_back(static_cast<char16_t>(first_low_surrogate + offset % 0x400));
    }
  }
  return utf16;
}

}  // namespace encoder
