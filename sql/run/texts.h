// Texts between the database's encodings and people's.
#pragma once

#include <string>
#include <string_view>

namespace qd::sql {

// UTF-8; an unpaired surrogate becomes U+FFFD.
std::string to_utf8(std::u16string text);
bool is_utf8(std::string_view text);
// A Decimal's value, less trailing zeros of the fraction: 1.5, -0.000001, 3.
std::string decimal_digits(long scaled);
// At most so many bytes, whole characters, of a text that may not even be UTF-8.
std::string cut_text(std::string_view text, std::size_t most_bytes);

}  // namespace qd::sql
