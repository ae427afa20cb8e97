// The questions, each written once, with an engine's own wording beside it where it needs one.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "queries/engine.h"
#include "queries/tables.h"

namespace bench {

struct wording {
  std::string own = {};  // Empty: as for every engine.
  std::string sqlite = {};
  std::string duckdb = {};
  // Why an engine has its own.
  std::string reason = {};
};

struct workload {
  std::string name;
  std::string title;
  std::string sql;
  wording words = {};

  std::string unit;  // What its time is divided by.
  // How many units a run of `executions` executions that returned `rows` rows in all has.
  std::function<double(tables const&, std::size_t executions, std::uint64_t rows)> units;
  // The parameters of every execution, which make up one timed run.
  std::function<std::vector<parameters>(tables const&)> executions = {};
  // DuckDB runs this many of the executions, because each takes it hundreds of microseconds.
  std::size_t duckdb_executions = ~std::size_t{0};
  // Prepares anew for every execution, inside the timed run.
  bool from_text = false;

  // Whether the rows stand in an order that the question asks for. Rows are otherwise compared
  // between engines as a multiset.
  std::function<bool(tables const&, std::vector<row> const&)> in_order = {};

  // The greatest ratios that we want to reach; none where there is no goal.
  double sqlite_goal = 1.0;
  std::optional<double> duckdb_goal = {};
  // The goal beside DuckDB is set against the slower engine of both.
  bool against_slower = false;
};

std::vector<workload> const& all_workloads();

// The text that an engine gets.
std::string const& text_for(workload const& work, engine const& engine);

}  // namespace bench
