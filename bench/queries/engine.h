// What the harness asks of a database engine.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "queries/tables.h"

namespace bench {

// A value of a result, in a form that engines can be compared in. A decimal is a number with six
// places: engines that have none round theirs.
struct decimal_cell {
  std::int64_t millionths;
  friend bool operator==(decimal_cell, decimal_cell) = default;
};
using cell = std::variant<std::monostate, std::int64_t, decimal_cell, double, std::string>;
using row = std::vector<cell>;

using parameters = std::vector<std::variant<std::int64_t, double>>;

// A statement that is ready to run.
class prepared_query {
 public:
  virtual ~prepared_query() = default;
  // Runs it to its end and reads every value of every row; returns the number of rows.
  virtual std::uint64_t run(parameters const& values) = 0;
  // The same, with the rows.
  virtual std::vector<row> rows(parameters const& values) = 0;
  // How the engine goes about it, for the reader of the report.
  virtual std::string plan(parameters const& values) = 0;
};

class engine {
 public:
  virtual ~engine() = default;
  virtual std::string name() const = 0;
  virtual std::string version() const = 0;
  // Creates the tables, fills them, and builds the indexes; only `indexes` of those of index_list.
  virtual void load(tables const& data, std::filesystem::path const& t_csv,
                    std::filesystem::path const& u_csv,
                    std::vector<std::string> const& indexes) = 0;
  virtual std::unique_ptr<prepared_query> prepare(std::string const& sql) = 0;
};

// CREATE INDEX of each, in one wording for all engines: "T(k)" and its like.
std::vector<std::string> const& all_indexes();
std::string create_index(std::string const& index);

std::unique_ptr<engine> make_own_engine();
std::unique_ptr<engine> make_sqlite_engine();
// Null, with a reason on standard error, where its library cannot be had.
std::unique_ptr<engine> make_duckdb_engine();

}  // namespace bench
