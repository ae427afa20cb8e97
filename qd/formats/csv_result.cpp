#include "qd/formats/csv_result.h"

#include <ostream>

namespace qd::program {

csv_result::csv_result(std::ostream& out)
    : result_format(out), writer_([&out](std::string_view text) { out << text; }, {}) {}

void csv_result::begin(result_head const& head) {
  lines_ = head.lines;
  if (head.columns.empty() || lines_) return;
  for (sql::result_column const& column : head.columns) writer_.field(column.name);
  writer_.end_record();
}

void csv_result::row(std::span<sql::value const> values) {
  if (lines_) {
    out() << sql::display_text(values[0]) << '\n';
    return;
  }
  for (sql::value const& each : values) {
    if (each.is_null()) {
      writer_.null();
    } else {
      writer_.field(sql::display_text(each));
    }
  }
  writer_.end_record();
}

void csv_result::end(result_end const&) {
  writer_.flush();
  out() << std::flush;
}

void csv_result::fail(failure const&) {
  writer_.flush();
  out() << std::flush;
}

}  // namespace qd::program
