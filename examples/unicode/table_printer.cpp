#include "table_printer.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <string>

#include "display_text.h"

namespace unicode_demo {

namespace {

using line = std::vector<display_text>;

bool is_number(physical_to_exec::ColumnTypeInfo const& type) {
  return std::visit(
      []<typename Info>(Info const&) {
        return std::is_same_v<Info, meta_support::TypeIdentity<unsigned long>> ||
               std::is_same_v<Info, meta_support::TypeIdentity<long>> ||
               std::is_same_v<Info, meta_support::TypeIdentity<operator_library::Decimal>> ||
               std::is_same_v<Info, meta_support::TypeIdentity<double>> ||
               std::is_same_v<Info, meta_support::TypeIdentity<float>>;
      },
      type);
}

void print_line(std::ostream& out, line const& cells, std::vector<std::size_t> const& widths,
                std::vector<bool> const& on_the_right) {
  for (std::size_t i = 0; i < cells.size(); ++i) {
    std::string const blanks(widths[i] - cells[i].width, ' ');
    bool const is_last = i + 1 == cells.size();
    out << (i == 0 ? "  " : " | ");
    if (on_the_right[i]) {
      out << blanks << cells[i].utf8;
    } else {
      out << cells[i].utf8 << (is_last ? "" : blanks);
    }
  }
  out << '\n';
}

}  // namespace

void print_result(std::ostream& out, std::vector<output_column> const& columns,
                  query_result const& result) {
  std::vector<line> lines(1);
  std::vector<bool> on_the_right;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    lines[0].push_back(make_visible(columns[i].name));
    on_the_right.push_back(is_number(result.column_types[i]));
  }
  for (qd::sql_executor::row const& row : result.rows) {
    line& cells = lines.emplace_back();
    for (std::size_t i = 0; i < columns.size(); ++i) {
      cells.push_back(make_visible(row[i], columns[i].is_code));
    }
  }

  std::vector<std::size_t> widths(columns.size());
  for (line const& cells : lines) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      widths[i] = std::max(widths[i], cells[i].width);
    }
  }

  print_line(out, lines[0], widths, on_the_right);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    out << (i == 0 ? "  " : "-+-") << std::string(widths[i], '-');
  }
  out << '\n';
  for (std::size_t i = 1; i < lines.size(); ++i) {
    print_line(out, lines[i], widths, on_the_right);
  }
  std::size_t const hidden = result.row_count - result.rows.size();
  if (hidden > 0) out << "  ... and " << hidden << " more\n";
  double const milliseconds = std::chrono::duration<double, std::milli>(result.time).count();
  out << "  " << result.row_count << (result.row_count == 1 ? " row in " : " rows in ")
      << std::fixed << std::setprecision(2) << milliseconds << " ms\n";
}

}  // namespace unicode_demo
