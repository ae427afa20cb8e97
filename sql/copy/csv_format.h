// The shape of CSV that COPY reads and writes.
#pragma once

#include <string>
#include <string_view>

namespace qd::sql {

struct csv_format {
  char delimiter = ',';  // A byte below 0x80, neither a line end nor the quote.
  char quote = '"';      // The same.
  // What stands, unquoted, for NULL. The same text in quotes is that text.
  std::string null_text = {};
};

// A field without its quotes, doubled ones made single.
struct csv_field {
  std::string_view text;
  bool quoted;

  bool is_null(csv_format const& format) const { return !quoted && text == format.null_text; }
};

}  // namespace qd::sql
