// Inserts rows of query values into a table.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "sql/run/column_values.h"
#include "sql/run/reference_resolver.h"

namespace qd::sql {

// For one statement, which calls finish at its end. Columns that are not listed become NULL.
class row_inserter {
 public:
  row_inserter(run_context& run, table_info const& table, std::vector<std::size_t> columns);

  // One value per column. Throws sql::error for values that the columns refuse.
  void insert(std::span<value const> row);
  // Writes the references that were given as keys.
  void finish() { references_.finish(); }

 private:
  run_context& run_;
  column_converter converter_;
  reference_resolver references_;
  embedded::inserter inserter_;
  std::vector<embedded::value> converted_;
  std::vector<std::size_t> waiting_;  // Columns of the present row whose keys are resolved later.
  // What was inserted, to be taken back; shared with the run's undo step.
  std::shared_ptr<std::vector<embedded::object_id>> inserted_;
};

}  // namespace qd::sql
