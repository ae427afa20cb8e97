#include "dbmetalayer/names.h"

namespace qd::embedded {

std::vector<std::u16string_view> split_name(std::u16string_view name) {
  std::vector<std::u16string_view> parts;
  for (;;) {
    std::size_t const dot = name.find(u'.');
    parts.push_back(name.substr(0, dot));
    if (dot == std::u16string_view::npos) return parts;
    name.remove_prefix(dot + 1);
  }
}

std::u16string reverse_name(std::u16string_view name) {
  std::u16string reversed;
  reversed.reserve(name.size());
  std::vector<std::u16string_view> const parts = split_name(name);
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
    if (part != parts.rbegin()) reversed += u'.';
    reversed += *part;
  }
  return reversed;
}

std::string to_utf8(std::u16string_view text) {
  auto const is_high = [](char16_t unit) { return (unit & 0xFC00) == 0xD800; };
  auto const is_low = [](char16_t unit) { return (unit & 0xFC00) == 0xDC00; };
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t point = text[i];
    if (is_high(text[i]) && i + 1 < text.size() && is_low(text[i + 1])) {
      point = 0x10000 + ((text[i] & 0x3FFu) << 10) + (text[i + 1] & 0x3FFu);
      ++i;
    } else if (is_high(text[i]) || is_low(text[i])) {
      point = 0xFFFD;
    }
    // The leading byte, then six bits per further byte.
    unsigned const further = point < 0x80 ? 0 : point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    constexpr unsigned char lead[] = {0x00, 0xC0, 0xE0, 0xF0};
    result += static_cast<char>(lead[further] | point >> (6 * further));
    for (unsigned left = further; left-- > 0;) {
      result += static_cast<char>(0x80 | (point >> (6 * left) & 0x3F));
    }
  }
  return result;
}

}  // namespace qd::embedded
