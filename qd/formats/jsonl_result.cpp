#include "qd/formats/jsonl_result.h"

#include <cstdio>
#include <ostream>

#include "qd/formats/json_text.h"

namespace qd::program {

namespace {

constexpr std::size_t flush_bytes = std::size_t{64} << 10;

void append_member(std::string& out, std::string_view name) {
  append_json_string(out, name);
  out += ':';
}

void append_milliseconds(std::string& out, milliseconds time) {
  char digits[64];
  std::snprintf(digits, sizeof digits, "%.3f", time.count());
  out += digits;
}

void append_refused(std::string& out, std::span<sql::refused_line const> lines) {
  out += "\"refused_lines\":[";
  for (std::size_t i = 0; i < lines.size(); ++i) {
    out += (i == 0 ? "{\"line\":" : ",{\"line\":") + std::to_string(lines[i].line);
    out += ",\"column\":";
    append_json_string(out, lines[i].column);
    out += ",\"value\":";
    append_json_string(out, lines[i].value);
    out += ",\"reason\":";
    append_json_string(out, lines[i].reason);
    out += '}';
  }
  out += ']';
}

std::string number_or_null(std::size_t number) {
  return number == 0 ? "null" : std::to_string(number);
}

}  // namespace

void jsonl_result::begin(result_head const& head) {
  begun_ = true;
  first_row_ = true;
  pending_ = "{";
  append_member(pending_, "command");
  append_json_string(pending_, head.command);
  pending_ += ",\"columns\":[";
  kinds_.clear();
  for (std::size_t i = 0; i < head.columns.size(); ++i) {
    kinds_.push_back(head.columns[i].kind);
    pending_ += i == 0 ? "{" : ",{";
    append_member(pending_, "name");
    append_json_string(pending_, head.columns[i].name);
    pending_ += ',';
    append_member(pending_, "kind");
    append_json_string(pending_, sql::algebra::kind_name(head.columns[i].kind));
    if (!head.columns[i].table.empty()) {
      pending_ += ',';
      append_member(pending_, "table");
      append_json_string(pending_, head.columns[i].table);
    }
    pending_ += '}';
  }
  pending_ += "],\"rows\":[";
}

void jsonl_result::row(std::span<sql::value const> values) {
  pending_ += first_row_ ? "[" : ",[";
  first_row_ = false;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) pending_ += ',';
    append_value(values[i], kinds_[i]);
  }
  pending_ += ']';
  if (pending_.size() >= flush_bytes) write_pending();
}

// The column's kind says what a string in JSON is, unless the value's own has to.
void jsonl_result::append_value(sql::value const& content, sql::algebra::kind column) {
  auto const own = static_cast<sql::algebra::kind>(content.index());
  bool const tells_kind = own != column && !content.is_null();
  if (tells_kind) {
    pending_ += "{\"kind\":";
    append_json_string(pending_, sql::algebra::kind_name(own));
    pending_ += ",\"value\":";
  }
  append_json_value(pending_, content, exact_numbers::as_strings);
  if (tells_kind) pending_ += '}';
}

void jsonl_result::end(result_end const& outcome) {
  pending_ += "],\"row_count\":" + std::to_string(outcome.rows) + ',';
  append_refused(pending_, outcome.refused);
  pending_ += ",\"prepare_ms\":";
  append_milliseconds(pending_, outcome.prepared);
  pending_ += ",\"elapsed_ms\":";
  append_milliseconds(pending_, outcome.prepared + outcome.run);
  pending_ += "}\n";
  begun_ = false;
  write_pending();
  out() << std::flush;
}

void jsonl_result::fail(failure const& why) {
  if (begun_) {
    pending_ += "],";
  } else {
    pending_ = "{";
  }
  append_member(pending_, "error");
  pending_ += "{\"code\":" + std::to_string(why.code) + ",\"text\":";
  append_json_string(pending_, why.text);
  pending_ += ",\"position\":" + (why.position ? std::to_string(*why.position) : "null");
  pending_ += ",\"line\":" + number_or_null(why.line);
  pending_ += ",\"column\":" + number_or_null(why.column);
  if (!why.refused.empty()) {
    pending_ += ',';
    append_refused(pending_, why.refused);
  }
  pending_ += "}}\n";
  begun_ = false;
  write_pending();
  out() << std::flush;
}

void jsonl_result::write_pending() {
  out() << pending_;
  pending_.clear();
}

}  // namespace qd::program
