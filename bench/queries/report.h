// What was measured, as text, as Markdown and as a chart.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "queries/measure.h"

namespace bench {

struct report_line {
  workload const* work;
  std::vector<std::string> engines;       // Ours first.
  std::vector<measurement> measurements;  // As many.
};

struct report {
  std::vector<std::string> circumstances;  // Machine, compiler, flags, versions: a line each.
  std::vector<report_line> lines;
};

void print_table(report const& report, std::ostream& out);
void print_markdown(report const& report, std::ostream& out);
// Bars of nanoseconds per unit on a logarithmic scale, one group per workload.
void draw_chart(report const& report, std::ostream& out);

}  // namespace bench
