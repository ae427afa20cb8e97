// The statements and queries of a .test file (README.md says how they are written).
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace qd::sql_test {

enum class sort_mode { none, rows, values };

// A statement, or a query with the rows that it must give.
struct record {
  enum class what { statement_ok, statement_error, query };
  what kind;
  std::size_t line;  // Where it begins in its file, from 1.
  std::string sql;
  std::string error;        // A regular expression; of a statement_error.
  std::size_t columns = 0;  // Of a query.
  sort_mode sort = sort_mode::none;
  std::vector<std::string> expected = {};  // Of a query: a row a line, values separated by tabs.
};

// Records that run once for each of several indexes; most blocks have none, and run once.
struct block {
  std::vector<std::string> indexes = {};  // CREATE INDEX probe ..., or "none".
  std::vector<record> records = {};
};

// Throws std::runtime_error with the line for a file that is not written so.
std::vector<block> read_test(std::filesystem::path const& file);

}  // namespace qd::sql_test
