#include <limits>

#include "sql/error.h"
#include "sql/parse/check_text.h"
#include "sql/parse/parse.h"
#include "sql/parse/token_scanner.h"

namespace qd::sql {

std::vector<script_part> split(std::string_view script, bool* incomplete) {
  if (script.size() > std::numeric_limits<text_position>::max() - 1) {
    throw error(error_code::limit_exceeded, "the script is longer than 4 GiB");
  }
  check_encoding(script);
  constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
  std::vector<script_part> parts;
  token_scanner scanner(script, script.starts_with(byte_order_mark) ? byte_order_mark.size() : 0);
  // From the first token of the statement at hand to its last.
  std::size_t begin = 0;
  std::size_t end = 0;
  bool empty = true;
  std::size_t part_begin = 0;  // Behind the last semicolon.
  auto const add_part = [&] {
    if (!empty) parts.push_back({script.substr(begin, end - begin), text_position(begin)});
    empty = true;
  };
  while (true) {
    token const each = scanner.next();
    if (each.what == token::kind::end) break;
    if (each.what == token::kind::semicolon) {
      add_part();
      part_begin = each.end;
      continue;
    }
    if (empty) begin = each.begin;
    end = each.end;
    empty = false;
  }
  if (incomplete != nullptr) *incomplete = !empty || scanner.comment_open();
  if (empty && scanner.comment_open()) {
    begin = part_begin;
    end = script.size();
    empty = false;
  }
  add_part();
  return parts;
}

}  // namespace qd::sql
