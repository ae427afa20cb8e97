// How a table's rows are read: through which index, within which bounds, in which direction.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "sql/plan/bounds.h"

namespace qd::sql::planning {

// The order that rows are wanted in, by columns of one table, and how many of them are wanted.
struct wanted_order {
  struct key {
    std::optional<meta_data::Column> column;  // None: the reference to the row.
    bool ascending;
  };
  std::optional<variable_number> table;  // None without keys.
  std::vector<key> keys;
  std::optional<double> rows;  // None: all of them.
};

struct access_path {
  index_info const* index;
  bool ascending = true;
  // Positions in the list of bounds, per leading column of the index. Of all but the last a single
  // equality: only the last column's ends say which keys the range leaves out.
  std::vector<std::vector<std::size_t>> bounds = {};
  bool sorted = false;      // The rows come as they are wanted.
  bool single = false;      // At most one row.
  bool uses_outer = false;  // A bound depends on the rows of the left side.
  double rows = 0;          // Estimated, all conditions that can be tested met.
  double cost = 0;          // Of reading them once; reading one record of an extent costs 1.
};

// What sorting so many rows costs.
double sort_cost(double rows);

class path_finder {
 public:
  // All of them outlive the finder. `row_count` gives the table's rows and is asked when needed.
  path_finder(table_info const& table, std::vector<condition> const& conditions,
              std::vector<bound> const& bounds, variable_number own,
              std::function<double()> row_count);

  // The cheapest path when the variables in `outer` are known.
  access_path best(variable_set const& outer, wanted_order const* wanted) const;

 private:
  access_path through(index_info const& index, variable_set const& outer,
                      bool alternatives_allowed) const;
  bool gives_order(index_info const& index, variable_set const& outer, wanted_order const& wanted,
                   bool& ascending) const;
  // The equality on the column that serves best; none without.
  std::optional<std::size_t> equality_on(std::size_t column, variable_set const& outer,
                                         bool alternatives_allowed) const;
  std::vector<std::size_t> ranges_on(std::size_t column, variable_set const& outer) const;
  bool is_single_range(access_path const& path) const;
  bool is_pinned(std::size_t column, variable_set const& outer) const;
  // Adds what testing the conditions costs that are no bounds, and takes away the rows they drop.
  void test_conditions(access_path& path, variable_set const& outer) const;

  // A condition on the table.
  struct test {
    std::size_t condition;
    variable_set others;  // What it uses besides the table.
    double share;
    double cost;
  };

  table_info const& table_;
  std::vector<bound> const& bounds_;
  std::vector<test> tests_;
  std::function<double()> row_count_;
};

}  // namespace qd::sql::planning
