// Texts between the database's encodings and people's.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qd::sql {

// UTF-8; an unpaired surrogate becomes U+FFFD.
std::string to_utf8(std::u16string text);
// A Decimal's value, less trailing zeros of the fraction: 1.5, -0.000001, 3.
std::string decimal_digits(long scaled);

}  // namespace qd::sql
