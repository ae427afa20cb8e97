// Parsing: text becomes syntax.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "sql/syntax/statement.h"

namespace qd::sql {

// Limits that hold before anything is parsed.
inline constexpr std::size_t max_statement_bytes = std::size_t{16} << 20;
inline constexpr std::size_t max_identifier_bytes = 63;
inline constexpr std::uint32_t max_parameter_number = 32'767;
// Parentheses, CASEs and the like inside one another, and the operands of one chain of operators
// (a + b + c ..., x AND y AND z ..., SELECT ... UNION SELECT ...).
inline constexpr std::size_t max_statement_nesting = 500;

// A stretch of a script: one statement without its semicolon.
struct script_part {
  std::string_view text;
  text_position begin;  // In the script.
};

// Cuts a script at its semicolons, those inside texts, comments and quoted names excepted. Parts
// without a statement (spaces, closed comments) are left out. Never fails on anything but invalid
// UTF-8 and size: what cannot be cut is one part, for parse to refuse. `incomplete`, when given, is
// set to whether the last part still lacks its semicolon or ends inside a text, comment or name.
std::vector<script_part> split(std::string_view script, bool* incomplete = nullptr);

// Parses one statement; a trailing semicolon is allowed. Throws sql::error: syntax, not_supported
// (naming the construct), bad_literal, limit_exceeded.
syntax::statement parse(std::string_view text);

}  // namespace qd::sql
