#include "qd/formats/markdown_result.h"

#include <ostream>

namespace qd::program {

namespace {

constexpr std::string_view fence = "```\n";

std::string escaped(std::string_view text) {
  std::string result;
  for (char const each : text) {
    switch (each) {
      case '\n':
        result += "<br>";
        break;
      case '\r':
        break;
      case '<':
        result += "&lt;";
        break;
      case '&':
        result += "&amp;";
        break;
      case '|':
      case '\\':
      case '*':
      case '_':
      case '`':
      case '[':
        result += '\\';
        [[fallthrough]];
      default:
        result += each;
    }
  }
  return result;
}

}  // namespace

void markdown_result::begin(result_head const& head) {
  lines_ = head.lines;
  if (lines_) out() << fence;
  if (lines_ || head.columns.empty()) return;
  std::string names = "|";
  std::string rule = "|";
  for (sql::result_column const& column : head.columns) {
    names += ' ' + escaped(column.name) + " |";
    rule += sql::algebra::is_numeric(column.kind) ? " ---: |" : " --- |";
  }
  out() << names << '\n' << rule << '\n';
}

void markdown_result::row(std::span<sql::value const> values) {
  if (lines_) {
    out() << sql::display_text(values[0]) << '\n';
    return;
  }
  std::string line = "|";
  for (sql::value const& each : values) {
    line += ' ' + (each.is_null() ? "*NULL*" : escaped(sql::display_text(each))) + " |";
  }
  out() << line << '\n';
}

void markdown_result::end(result_end const&) {
  finish();
}

void markdown_result::fail(failure const&) {
  finish();
}

void markdown_result::finish() {
  if (lines_) out() << fence;
  lines_ = false;
  out() << std::flush;
}

}  // namespace qd::program
