#include "queries/report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace bench {

namespace {

std::string formatted(char const* format, double number) {
  char text[64];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

// Three significant digits, without an exponent.
std::string figure(double number) {
  if (number >= 100) return formatted("%.0f", number);
  if (number >= 10) return formatted("%.1f", number);
  return formatted("%.2f", number);
}

double ratio(report_line const& line, std::size_t engine) {
  return line.measurements[0].median() / line.measurements[0].units /
         (line.measurements[engine].median() / line.measurements[engine].units);
}

double nanoseconds(report_line const& line, std::size_t engine) {
  return line.measurements[engine].nanoseconds_per_unit();
}

// The goals of a line and whether they are met: "< 1.0 yes, < 2.0 no".
std::string verdict(report_line const& line) {
  std::string text;
  for (std::size_t i = 1; i < line.engines.size(); ++i) {
    bool const sqlite = line.engines[i] == "SQLite";
    if (!sqlite && !line.work->duckdb_goal) continue;
    double const goal = sqlite ? line.work->sqlite_goal : *line.work->duckdb_goal;
    double reached = ratio(line, i);
    std::string against = line.engines[i];
    if (!sqlite && line.work->against_slower) {
      for (std::size_t j = 1; j < line.engines.size(); ++j) {
        reached = std::min(reached, ratio(line, j));
      }
      against = "the slower";
    }
    if (!text.empty()) text += "; ";
    text += figure(goal) + " of " + against + (reached <= goal ? ": met" : ": **missed**");
  }
  return text;
}

// Header and rows of the table, as cells.
std::vector<std::vector<std::string>> table_of(report const& report) {
  std::vector<std::vector<std::string>> table;
  if (report.lines.empty()) return table;
  std::vector<std::string> header = {"", "question", "per"};
  std::vector<std::string> const& engines = report.lines.front().engines;
  for (std::string const& engine : engines) header.push_back(engine + " ns");
  for (std::size_t i = 1; i < engines.size(); ++i) header.push_back("to " + engines[i]);
  for (std::string const& engine : engines) header.push_back(engine + " s");
  for (std::string const& engine : engines) header.push_back(engine + " MB");
  header.emplace_back("goal");
  table.push_back(std::move(header));
  for (report_line const& line : report.lines) {
    std::vector<std::string> cells = {line.work->name, line.work->title, line.work->unit};
    for (std::size_t i = 0; i < engines.size(); ++i) cells.push_back(figure(nanoseconds(line, i)));
    for (std::size_t i = 1; i < engines.size(); ++i) cells.push_back(figure(ratio(line, i)));
    for (measurement const& one : line.measurements) {
      cells.push_back(formatted("%.4f", one.median()));
    }
    for (measurement const& one : line.measurements) {
      cells.push_back(figure(static_cast<double>(one.peak_anonymous_bytes) / 1e6));
    }
    cells.push_back(verdict(line));
    table.push_back(std::move(cells));
  }
  return table;
}

// The geometric mean of the ratios to SQLite over W1 to W14.
double mean_ratio(report const& report) {
  double sum = 0;
  int count = 0;
  for (report_line const& line : report.lines) {
    if (line.work->name == "W15" || line.work->name == "W16") continue;
    auto const sqlite = std::find(line.engines.begin(), line.engines.end(), "SQLite");
    if (sqlite == line.engines.end()) continue;
    sum += std::log(ratio(line, static_cast<std::size_t>(sqlite - line.engines.begin())));
    ++count;
  }
  return count == 0 ? 0 : std::exp(sum / count);
}

std::string mean_text(report const& report) {
  return "Geometric mean of the ratios to SQLite over W1 to W14: " + figure(mean_ratio(report));
}

std::string escaped(std::string const& text) {
  std::string result;
  for (char const character : text) {
    if (character == '<') {
      result += "&lt;";
    } else if (character == '>') {
      result += "&gt;";
    } else if (character == '&') {
      result += "&amp;";
    } else {
      result += character;
    }
  }
  return result;
}

}  // namespace

void print_table(report const& report, std::ostream& out) {
  for (std::string const& line : report.circumstances) out << line << '\n';
  auto const table = table_of(report);
  if (table.empty()) return;
  std::vector<std::size_t> widths(table.front().size());
  for (auto const& cells : table) {
    for (std::size_t i = 0; i < cells.size(); ++i) widths[i] = std::max(widths[i], cells[i].size());
  }
  for (auto const& cells : table) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
      bool const number = i > 2 && i + 1 < cells.size();
      std::string const padding(widths[i] - cells[i].size(), ' ');
      out << (number ? padding + cells[i] : cells[i] + padding) << "  ";
    }
    out << '\n';
  }
  out << mean_text(report) << '\n';
}

void print_markdown(report const& report, std::ostream& out) {
  for (std::string const& line : report.circumstances) out << "- " << line << '\n';
  out << '\n';
  bool header = true;
  for (auto const& cells : table_of(report)) {
    for (std::string const& content : cells) out << "| " << content << ' ';
    out << "|\n";
    if (header) {
      for (std::size_t i = 0; i < cells.size(); ++i) {
        out << (i > 2 && i + 1 < cells.size() ? "|---:" : "|---");
      }
      out << "|\n";
    }
    header = false;
  }
  out << '\n' << mean_text(report) << ".\n";
  for (report_line const& line : report.lines) {
    if (!line.work->words.reason.empty()) {
      out << "\n"
          << line.work->name << " has wordings of its own: " << line.work->words.reason << ".\n";
    }
  }
}

void draw_chart(report const& report, std::ostream& out) {
  static constexpr char const* colours[] = {"#1b6ca8", "#9aa5b1", "#e0a030"};
  constexpr int bar = 11;
  constexpr int gap = 12;
  constexpr int left = 70;
  constexpr int width = 640;
  double least = 1e300;
  double most = 0;
  for (report_line const& line : report.lines) {
    for (std::size_t i = 0; i < line.engines.size(); ++i) {
      least = std::min(least, nanoseconds(line, i));
      most = std::max(most, nanoseconds(line, i));
    }
  }
  if (report.lines.empty()) return;
  double const low = std::floor(std::log10(least));
  double const high = std::ceil(std::log10(most));
  auto const place = [&](double number) {
    return left + (std::log10(number) - low) / std::max(high - low, 1.0) * width;
  };
  std::size_t const engines = report.lines.front().engines.size();
  int const group = static_cast<int>(engines) * bar + gap;
  int const height = static_cast<int>(report.lines.size()) * group + 70;
  out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << left + width + 90 << "\" height=\""
      << height << "\" font-family=\"sans-serif\" font-size=\"11\">\n"
      << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  for (std::size_t i = 0; i < engines; ++i) {
    out << "<rect x=\"" << left + i * 110 << "\" y=\"10\" width=\"12\" height=\"12\" fill=\""
        << colours[i % 3] << "\"/><text x=\"" << left + i * 110 + 17 << "\" y=\"20\">"
        << escaped(report.lines.front().engines[i]) << "</text>\n";
  }
  for (double decade = low; decade <= high; ++decade) {
    double const x = place(std::pow(10, decade));
    out << "<line x1=\"" << x << "\" x2=\"" << x << "\" y1=\"32\" y2=\"" << height - 30
        << "\" stroke=\"#dddddd\"/><text x=\"" << x << "\" y=\"" << height - 14
        << "\" text-anchor=\"middle\">" << figure(std::pow(10, decade)) << " ns</text>\n";
  }
  int y = 38;
  for (report_line const& line : report.lines) {
    out << "<text x=\"" << left - 8 << "\" y=\"" << y + bar * static_cast<int>(engines) / 2 + 4
        << "\" text-anchor=\"end\"><title>" << escaped(line.work->title) << "</title>"
        << line.work->name << "</text>\n";
    for (std::size_t i = 0; i < engines; ++i) {
      double const end = place(nanoseconds(line, i));
      out << "<rect x=\"" << left << "\" y=\"" << y << "\" width=\"" << std::max(end - left, 1.0)
          << "\" height=\"" << bar - 1 << "\" fill=\"" << colours[i % 3] << "\"/><text x=\""
          << end + 4 << "\" y=\"" << y + bar - 2 << "\" font-size=\"9\">"
          << figure(nanoseconds(line, i)) << "</text>\n";
      y += bar;
    }
    y += gap;
  }
  out << "</svg>\n";
}

}  // namespace bench
