#include "qd/input_splitter.h"

#include <algorithm>

#include "sql/copy/csv_format.h"
#include "sql/parse/token_scanner.h"

namespace qd::program {

std::vector<input_piece> input_splitter::add_line(std::string_view line) {
  ++lines_;
  if (lines_ == 1 && line.starts_with(sql::byte_order_mark)) {
    line.remove_prefix(sql::byte_order_mark.size());
  }
  if (line.ends_with('\r')) line.remove_suffix(1);
  std::vector<input_piece> pieces;
  bool const in_comment = !in_statement_ && !text_.empty();
  if (!in_statement_ && !in_comment && line.starts_with('.')) {
    pieces.push_back({true, std::string(line), lines_});
    return pieces;
  }
  if (text_.empty()) first_line_ = lines_;
  text_ += line;
  text_ += '\n';
  // Inside a statement only a semicolon can matter; this keeps long texts from being scanned at
  // every line.
  if (!in_statement_ || line.find(';') != std::string_view::npos) scan(pieces);
  return pieces;
}

void input_splitter::scan(std::vector<input_piece>& pieces) {
  std::size_t consumed = 0;
  sql::token_scanner scanner(text_, scan_from_);
  while (true) {
    sql::token const each = scanner.next();
    if (each.what == sql::token::kind::end) break;
    if (each.what == sql::token::kind::semicolon) {
      if (in_statement_) pieces.push_back(cut(each.begin));
      consumed = each.end;
      continue;
    }
    if (!in_statement_) begin_ = each.begin;
    in_statement_ = true;
    scan_from_ = each.begin;
  }
  if (!in_statement_ && !scanner.comment_open()) {
    drop();
    return;
  }
  // What is left begins in the middle of a line whose number it keeps.
  first_line_ += static_cast<std::size_t>(
      std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(consumed), '\n'));
  text_.erase(0, consumed);
  begin_ -= std::min(begin_, consumed);
  scan_from_ = in_statement_ ? scan_from_ - consumed : 0;
}

input_piece input_splitter::cut(std::size_t end) {
  in_statement_ = false;
  auto const begin = text_.begin() + static_cast<std::ptrdiff_t>(begin_);
  auto const line = first_line_ + static_cast<std::size_t>(std::count(text_.begin(), begin, '\n'));
  return {false, text_.substr(begin_, end - begin_), line};
}

std::optional<input_piece> input_splitter::finish() {
  std::optional<input_piece> rest;
  // Text without a statement is kept as long as a comment in it is open.
  if (in_statement_ || !text_.empty()) {
    rest = cut(text_.size());
    rest->text.erase(rest->text.find_last_not_of(" \t\r\n") + 1);
  }
  drop();
  return rest;
}

void input_splitter::drop() {
  text_.clear();
  in_statement_ = false;
  begin_ = 0;
  scan_from_ = 0;
}

}  // namespace qd::program
