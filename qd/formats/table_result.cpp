#include "qd/formats/table_result.h"

#include <algorithm>
#include <ostream>

namespace qd::program {

namespace {

// How much of a result is looked at for the widths of its columns.
constexpr std::size_t most_waiting_rows = 1000;
constexpr std::size_t most_waiting_bytes = std::size_t{4} << 20;
// No column is padded beyond this; wider values stick out.
constexpr std::size_t greatest_width = 120;

constexpr std::size_t flush_bytes = std::size_t{64} << 10;

}  // namespace

void table_result::begin(result_head const& head) {
  command_ = head.command;
  lines_ = head.lines;
  head_.clear();
  on_the_right_.clear();
  for (sql::result_column const& column : head.columns) {
    head_.push_back(make_visible(column.name));
    on_the_right_.push_back(sql::algebra::is_numeric(column.kind));
  }
  waiting_.clear();
  waiting_bytes_ = 0;
  widths_fixed_ = false;
  text_.clear();
}

void table_result::row(std::span<sql::value const> values) {
  if (lines_) {
    for (sql::value const& each : values) text_ += sql::display_text(each) + '\n';
    return;
  }
  line cells;
  cells.reserve(values.size());
  for (sql::value const& each : values) cells.push_back(make_visible(sql::display_text(each)));
  if (widths_fixed_) {
    append(cells);
    return;
  }
  for (visible_text const& cell : cells) waiting_bytes_ += cell.text.size();
  waiting_.push_back(std::move(cells));
  if (waiting_.size() == most_waiting_rows || waiting_bytes_ > most_waiting_bytes) write_waiting();
}

// Fixes the widths, and writes the head and the rows that have waited for them.
void table_result::write_waiting() {
  widths_fixed_ = true;
  widths_.clear();
  for (std::size_t i = 0; i < head_.size(); ++i) {
    std::size_t width = head_[i].width;
    for (line const& cells : waiting_) width = std::max(width, cells[i].width);
    widths_.push_back(std::min(width, greatest_width));
  }
  append(head_);
  for (std::size_t i = 0; i < widths_.size(); ++i) {
    text_ += (i == 0 ? "-" : "-+-") + std::string(widths_[i], '-');
  }
  text_ += "-\n";
  for (line const& cells : waiting_) append(cells);
  waiting_.clear();
}

void table_result::append(line const& cells) {
  for (std::size_t i = 0; i < cells.size(); ++i) {
    std::size_t const blanks = widths_[i] - std::min(widths_[i], cells[i].width);
    bool const is_last = i + 1 == cells.size();
    text_ += i == 0 ? " " : " | ";
    if (on_the_right_[i]) text_.append(blanks, ' ');
    text_ += cells[i].text;
    if (!on_the_right_[i] && !is_last) text_.append(blanks, ' ');
  }
  text_ += '\n';
  if (text_.size() >= flush_bytes) {
    out() << text_;
    text_.clear();
  }
}

void table_result::end(result_end const& outcome) {
  bool const has_rows = !head_.empty();
  if (!lines_) {
    if (has_rows && !widths_fixed_) write_waiting();
    text_ += has_rows ? count_text(outcome.rows, "row") : done_text(command_, outcome.rows);
    if (timed_ && outcome.timed) {
      text_ += " in " + time_text(outcome);
      if (command_ == "COPY") text_ += ", " + rate_text(outcome);
    }
    text_ += '\n';
  }
  out() << text_ << std::flush;
  text_.clear();
}

void table_result::fail(failure const&) {
  if (!waiting_.empty()) write_waiting();
  out() << text_ << std::flush;
  text_.clear();
}

}  // namespace qd::program
