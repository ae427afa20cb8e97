// ASCII characters, whatever the locale.
#pragma once

#include <algorithm>
#include <string_view>

namespace qd::sql::ascii {

constexpr bool is_digit(char byte) {
  return '0' <= byte && byte <= '9';
}

constexpr char lower(char byte) {
  return 'A' <= byte && byte <= 'Z' ? static_cast<char>(byte + 32) : byte;
}

constexpr char upper(char byte) {
  return 'a' <= byte && byte <= 'z' ? static_cast<char>(byte - 32) : byte;
}

// `lower_case` is what its name says.
inline bool equal_but_for_case(std::string_view text, std::string_view lower_case) {
  return std::equal(text.begin(), text.end(), lower_case.begin(), lower_case.end(),
                    [](char left, char right) { return lower(left) == right; });
}

// The worth of a hexadecimal digit; -1 of anything else.
constexpr int hexadecimal(char digit) {
  if (is_digit(digit)) return digit - '0';
  char const letter = lower(digit);
  return 'a' <= letter && letter <= 'f' ? letter - 'a' + 10 : -1;
}

}  // namespace qd::sql::ascii
