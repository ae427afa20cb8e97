// The shape of CSV that COPY reads and writes.
#pragma once

#include <array>
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

inline constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

// By byte: those that cannot stand in a field without quotes.
class special_bytes {
 public:
  explicit special_bytes(csv_format const& format) {
    for (char const each : {format.delimiter, format.quote, '\n', '\r'}) {
      is_special_[static_cast<unsigned char>(each)] = true;
    }
  }
  bool operator[](char byte) const { return is_special_[static_cast<unsigned char>(byte)]; }

 private:
  std::array<bool, 256> is_special_{};
};

}  // namespace qd::sql
