// The Unicode text files as the tests read them, apart from the example's reader, and the database
// that the example loads from them.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "loader.h"
#include "queries.h"
#include "query_run.h"
#include "support/query_test.h"

namespace unicode_files {

inline std::filesystem::path const data_directory = "/usr/share/unicode";

inline std::string without_blanks(std::string text) {
  text.erase(0, text.find_first_not_of(' '));
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

inline std::vector<std::vector<std::string>> read_lines(std::string const& file) {
  std::ifstream stream(data_directory / file);
  std::vector<std::vector<std::string>> lines;
  for (std::string line; std::getline(stream, line);) {
    line = line.substr(0, line.find('#')) + ';';
    std::vector<std::string> fields;
    std::istringstream content(line);
    for (std::string field; std::getline(content, field, ';');) {
      fields.push_back(without_blanks(field));
    }
    if (fields.size() > 1) lines.push_back(fields);
  }
  return lines;
}

// A line of UnicodeData.txt; the fields are as in the file.
struct point {
  unsigned long code;
  std::vector<std::string> fields;
  std::string const& name() const { return fields[1]; }
  std::string const& category() const { return fields[2]; }
  std::string const& number() const { return fields[8]; }
};

struct text_files {
  text_files() {
    for (auto const& fields : read_lines("UnicodeData.txt")) {
      points.push_back({std::stoul(fields[0], nullptr, 16), fields});
      by_code.emplace(points.back().code, points.size() - 1);
    }
    blocks = read_lines("Blocks.txt");
    scripts = read_lines("Scripts.txt");
  }

  // The second field of the line whose range holds the code; empty if there is none.
  static std::string find(std::vector<std::vector<std::string>> const& lines, unsigned long code) {
    for (auto const& fields : lines) {
      unsigned long const first = std::stoul(fields[0], nullptr, 16);
      std::size_t const dots = fields[0].find("..");
      unsigned long const last =
          dots == std::string::npos ? first : std::stoul(fields[0].substr(dots + 2), nullptr, 16);
      if (first <= code && code <= last) return fields[1];
    }
    return "";
  }

  std::vector<point> points;
  std::map<unsigned long, std::size_t> by_code;
  std::vector<std::vector<std::string>> blocks;
  std::vector<std::vector<std::string>> scripts;
};

inline text_files const& files() {
  static text_files const read;
  return read;
}

// What result columns hold, as query_test::text_of writes it.
inline std::string text(std::string const& content) {
  if (content.empty()) return "NULL";
  std::string quoted = "'";
  for (char const each : content) quoted += each == '\'' ? "''" : std::string(1, each);
  return quoted + '\'';
}
inline std::string integer(std::string const& content) {
  return content.empty() ? "NULL" : content + 'u';
}
inline std::string code(point const& of) {
  return std::to_string(of.code) + 'u';
}
inline std::string character(unsigned long code) {
  bool const is_text = code != 0 && (code < 0xD800 || 0xDFFF < code);
  if (!is_text) return "NULL";
  std::string utf8;
  auto const tail = [&](int shift) { utf8 += static_cast<char>(0x80 | (code >> shift & 0x3F)); };
  if (code < 0x80) {
    utf8 += static_cast<char>(code);
  } else if (code < 0x800) {
    utf8 += static_cast<char>(0xC0 | code >> 6);
    tail(0);
  } else if (code < 0x10000) {
    utf8 += static_cast<char>(0xE0 | code >> 12);
    tail(6);
    tail(0);
  } else {
    utf8 += static_cast<char>(0xF0 | code >> 18);
    tail(12);
    tail(6);
    tail(0);
  }
  return text(utf8);
}

// Millionths, as the quotient of two numbers rounded half away from zero. Positive numbers only.
inline long rounded(long numerator, long denominator) {
  return static_cast<long>((2 * numerator + denominator) / (2 * denominator));
}
inline std::string decimal(long scaled) {
  std::string digits = std::to_string(std::abs(scaled));
  if (digits.size() < 7) digits.insert(0, 7 - digits.size(), '0');
  digits.insert(digits.size() - 6, ".");
  return (scaled < 0 ? "-" : "") + digits;
}
// The number in millionths, when that is exact.
inline std::optional<long> scaled_number(point const& of) {
  if (of.number().empty()) return std::nullopt;
  std::size_t const slash = of.number().find('/');
  long const numerator = std::stol(of.number());
  long const denominator =
      slash == std::string::npos ? 1 : std::stol(of.number().substr(slash + 1));
  long const millionths = numerator * 1'000'000;
  if (millionths % denominator != 0) return std::nullopt;
  return static_cast<long>(millionths / denominator);
}
inline std::string number(point const& of) {
  auto const scaled = scaled_number(of);
  return scaled ? decimal(*scaled) : "NULL";
}

inline std::string line(std::vector<std::string> const& columns) {
  std::string joined;
  for (std::string const& column : columns) joined += (joined.empty() ? "" : " | ") + column;
  return joined;
}

using order = std::function<bool(point const&, point const&)>;
inline bool by_code(point const& left, point const& right) {
  return left.code < right.code;
}
inline bool by_code_backwards(point const& left, point const& right) {
  return left.code > right.code;
}
inline bool by_name(point const& left, point const& right) {
  return left.name() < right.name();
}
inline bool by_number(point const& left, point const& right) {
  return std::pair(scaled_number(left), left.code) < std::pair(scaled_number(right), right.code);
}

// The lines that a query is to yield.
inline std::vector<std::string> expected_lines(
    std::function<bool(point const&)> const& wanted, order const& before,
    std::function<std::string(point const&)> const& columns) {
  std::vector<point> found;
  std::copy_if(files().points.begin(), files().points.end(), std::back_inserter(found), wanted);
  std::stable_sort(found.begin(), found.end(), before);
  std::vector<std::string> lines;
  for (point const& each : found) lines.push_back(columns(each));
  return lines;
}

// The database is loaded once for all tests.
class unicode_test : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    data = std::make_unique<qd::embedded::database>(qd::embedded::database::open_temporary());
    unicode_demo::load(*data, data_directory, [](std::string_view, std::size_t, std::size_t) {});
  }
  static void TearDownTestSuite() { data.reset(); }

  // The rows of example query `number`, counted from 1.
  static std::vector<std::string> answer(std::size_t number) {
    auto const query = unicode_demo::example_queries().at(number - 1);
    auto snapshot = data->begin_snapshot();
    auto const binding = snapshot.bind();
    auto const result =
        unicode_demo::run_query(query.plan(), query.parameters, snapshot.context(), 100'000);
    EXPECT_EQ(result.rows.size(), result.row_count);
    EXPECT_EQ(result.column_types.size(), query.columns.size());
    return query_test::lines_of(result.rows);
  }

  inline static std::unique_ptr<qd::embedded::database> data;
};

}  // namespace unicode_files
