// What is refused before a text reaches the grammar.
#pragma once

#include <cstddef>
#include <string_view>

namespace qd::sql {

// Throws sql::error at the first byte that is not UTF-8, or is U+0000.
void check_encoding(std::string_view text);

// Throws sql::error for a statement that is too long, has a name or a parameter's number that the
// grammar would cut silently, or parentheses beyond the limit. Returns a bound of the depth of its
// syntax tree, which is rather too great than too small.
std::size_t check_statement_text(std::string_view text);

}  // namespace qd::sql
