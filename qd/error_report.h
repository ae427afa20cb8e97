// How a failed statement is told to people.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "qd/formats/result_format.h"

namespace qd::program {

// A place in a text of several lines.
struct text_place {
  std::size_t line;       // From 0.
  std::size_t column;     // In characters, from 0.
  std::string_view text;  // The whole line.
  std::size_t offset;     // In bytes, in the line.
};
// Of a byte of the text; beyond its end, of the end.
text_place place_of(std::string_view text, std::size_t position);

// What went wrong with a statement that begins on line `first_line` of its input.
failure failure_of(sql::error const& error, std::string_view statement, std::size_t first_line);

// The code and the text, then, when the place is known, the line of the statement (a stretch of a
// long one) and a caret below the place:
//
//     error 9003: there is no column nme; did you mean name?
//       2 | SELECT nme FROM city
//         |        ^
//
// With the name of a script, that and the line stand before the code.
std::string report(failure const& why, std::string_view statement, std::string_view script_name);

// "line 7, column k, value 'x': no number", a line for each.
std::string refused_lines_text(std::span<sql::refused_line const> lines);

}  // namespace qd::program
