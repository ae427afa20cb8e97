// Values as JSON.
#pragma once

#include <string>
#include <string_view>

#include "sql/connection.h"

namespace qd::program {

// Appends `text`, valid UTF-8, as a JSON string.
void append_json_string(std::string& out, std::string_view text);

// How numbers that a reader's doubles may not hold are written.
enum class exact_numbers {
  as_numbers,  // As JSON numbers, whose text is exact.
  as_strings,
};

// Appends a value: NULL as null, booleans as such, floating numbers as shortest numbers that read
// back, NaN and infinities as the strings "NaN", "Infinity" and "-Infinity", binary as a string of
// hexadecimal digits, references as the string of @ and their oid. `exact` is for 64-bit integers and
// Decimals.
void append_json_value(std::string& out, sql::value const& content, exact_numbers exact);

}  // namespace qd::program
