#include "qd/formats/result_format.h"

#include <array>
#include <cstdio>

#include "qd/formats/csv_result.h"
#include "qd/formats/json_result.h"
#include "qd/formats/jsonl_result.h"
#include "qd/formats/markdown_result.h"
#include "qd/formats/table_result.h"

namespace qd::program {

namespace {

struct named_format {
  output_format format;
  std::string_view name;
};
constexpr std::array<named_format, 5> formats = {{{output_format::table, "table"},
                                                  {output_format::csv, "csv"},
                                                  {output_format::markdown, "markdown"},
                                                  {output_format::json, "json"},
                                                  {output_format::jsonl, "jsonl"}}};

std::string fixed_text(milliseconds time) {
  char text[64];
  std::snprintf(text, sizeof text, "%.2f ms", time.count());
  return text;
}

}  // namespace

std::optional<output_format> format_of_name(std::string_view name) {
  for (named_format const& each : formats) {
    if (each.name == name) return each.format;
  }
  return std::nullopt;
}

std::string_view name_of(output_format format) {
  for (named_format const& each : formats) {
    if (each.format == format) return each.name;
  }
  return {};
}

std::string format_names() {
  std::string names;
  for (named_format const& each : formats) {
    names += (names.empty() ? "" : ", ");
    names += each.name;
  }
  return names;
}

std::unique_ptr<result_format> make_format(output_format format, std::ostream& out, bool timed) {
  switch (format) {
    case output_format::table:
      return std::make_unique<table_result>(out, timed);
    case output_format::csv:
      return std::make_unique<csv_result>(out);
    case output_format::markdown:
      return std::make_unique<markdown_result>(out);
    case output_format::json:
      return std::make_unique<json_result>(out);
    case output_format::jsonl:
      return std::make_unique<jsonl_result>(out);
  }
  return nullptr;
}

std::string count_text(std::uint64_t count, std::string_view singular) {
  std::string digits = std::to_string(count);
  for (std::size_t place = digits.size(); place > 3;) {
    place -= 3;
    digits.insert(place, ",");
  }
  digits += ' ';
  digits += singular;
  if (count != 1) digits += 's';
  return digits;
}

std::string done_text(std::string_view command, std::uint64_t rows) {
  std::string text(command);
  if (command == "INSERT" || command == "UPDATE" || command == "DELETE" || command == "COPY" ||
      command == "EXECUTE") {
    text += ": " + count_text(rows, "row");
  }
  return text;
}

std::string time_text(result_end const& outcome) {
  return fixed_text(outcome.prepared + outcome.run) + " (prepared in " +
         fixed_text(outcome.prepared) + ")";
}

std::string rate_text(result_end const& outcome) {
  double const seconds = std::chrono::duration<double>(outcome.run).count();
  double const rate = seconds > 0 ? static_cast<double>(outcome.rows) / seconds : 0;
  return count_text(static_cast<std::uint64_t>(rate), "row") + "/s";
}

}  // namespace qd::program
