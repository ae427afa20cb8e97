// How results are written. One object per format; each statement passes through it as
//
//     begin, row ..., end     or     begin, row ..., fail     or     fail
//
// where fail alone is that of a statement that could not be prepared.
#pragma once

#include <chrono>
#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sql/connection.h"

namespace qd::program {

using milliseconds = std::chrono::duration<double, std::milli>;

enum class output_format { table, csv, markdown, json, jsonl };

// Empty for a name that no format has.
std::optional<output_format> format_of_name(std::string_view name);
std::string_view name_of(output_format format);
// "table, csv, ..."
std::string format_names();

// Of a statement that was prepared; it outlives the statement's end.
struct result_head {
  std::string_view command;
  std::vector<sql::result_column> const& columns;  // Empty for a statement without rows.
  bool lines = false;  // The rows are the lines of a text, such as a plan's.
};

struct result_end {
  std::uint64_t rows;  // Returned, or else affected.
  std::span<sql::refused_line const> refused;
  milliseconds prepared;  // Parsing, binding and planning.
  milliseconds run;
  bool timed = true;  // Whether the times mean anything.
};

// A statement that failed, and where.
struct failure {
  unsigned int code;
  std::string text;
  std::optional<std::uint32_t> position = {};  // In bytes, in the statement.
  std::size_t line = 0;                        // In the input, from 1; 0 when there is none.
  std::size_t column = 0;                      // In characters, from 1; 0 when it is not known.
  std::span<sql::refused_line const> refused = {};
};

class result_format {
 public:
  // Writes to `out`, which outlives it.
  explicit result_format(std::ostream& out) : out_(out) {}
  virtual ~result_format() = default;
  result_format(result_format const&) = delete;
  result_format& operator=(result_format const&) = delete;

  virtual void begin(result_head const& head) = 0;
  virtual void row(std::span<sql::value const> values) = 0;
  virtual void end(result_end const& outcome) = 0;
  virtual void fail(failure const& why) = 0;

  // Whether failures, times and what a statement did are in the output itself, so that they need
  // not be told people beside it.
  virtual bool tells_everything() const { return false; }

 protected:
  std::ostream& out() { return out_; }

 private:
  std::ostream& out_;
};

// With `timed`, formats for people tell how long statements take.
std::unique_ptr<result_format> make_format(output_format format, std::ostream& out, bool timed);

// "3 rows", "1 row", with thousands in groups.
std::string count_text(std::uint64_t count, std::string_view singular);
// What a statement without rows did: "INSERT: 3 rows", "CREATE TABLE".
std::string done_text(std::string_view command, std::uint64_t rows);
// "12.34 ms (prepared in 0.12 ms)"
std::string time_text(result_end const& outcome);
// "1,234 rows/s"
std::string rate_text(result_end const& outcome);

}  // namespace qd::program
