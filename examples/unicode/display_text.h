// Text and values as a terminal shows them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "sql_executor/value.h"

namespace unicode_demo {

// Text with the number of terminal columns that it takes.
struct display_text {
  std::string utf8;
  std::size_t width = 0;
};

// UTF-8 made fit for a table: what has no shape of its own (controls, private use, line breaks)
// shows as its number, and a mark that would join what stands before it gets a dotted circle.
display_text make_visible(std::string_view utf8);

// NULL shows as NULL, references as @ and the object's id. With `is_code`, integers show as code
// points. Strings are decoded through the kernel; throws db_util::db_exception with its status.
display_text make_visible(qd::sql_executor::value const& source, bool is_code);

}  // namespace unicode_demo
