// Gives rows of a table new values.
#pragma once

#include <map>
#include <memory>
#include <span>
#include <vector>

#include "sql/run/column_values.h"
#include "sql/run/reference_resolver.h"
#include "sql/run/update_order.h"

namespace qd::sql {

// The columns of one unique index, by number.
using unique_key = std::vector<std::size_t>;

// The keys of unique indexes that hold rows of the table and have one of the columns: those of the
// table itself, its bases and what derives from it. A key with a column that the table lacks is
// left out.
std::vector<unique_key> unique_keys_with(embedded::read_context const& context,
                                         table_info const& table,
                                         std::vector<std::size_t> const& columns);

// What an update changes in one row.
struct row_change {
  embedded::object_id object;
  std::vector<value> after;   // One per assigned column.
  std::vector<value> before;  // One per column of row_updater::old_columns.
};

// For one statement, with all its rows. The values that unique indexes see are unique when all rows
// have changed, or the statement fails; that a row's new key is another's old one does not matter.
class row_updater {
 public:
  row_updater(run_context& run, table_info const& table, std::vector<std::size_t> assigned,
              std::vector<unique_key> keys);

  void update(std::vector<row_change> rows);
  // Takes back what update had written when it failed.
  void undo();

 private:
  void resolve(row_change& row);
  std::vector<update_step> order() const;
  void write(std::size_t row);
  void step_aside(std::size_t row);
  void choose_aside_columns();
  void write_values(embedded::object_id object, column_converter& converter,
                    std::span<value const> values);

  run_context& run_;
  table_info const& table_;
  column_converter assigned_;
  column_converter old_;
  reference_resolver references_;
  std::vector<unique_key> keys_;
  std::vector<row_change> rows_;
  std::optional<column_converter> aside_;                   // Columns that rows step aside in.
  std::map<std::size_t, std::vector<value>> aside_values_;  // By row that stepped aside.
  std::vector<update_step> written_;                        // What was done, in order.
};

// The columns whose old values an update needs: the assigned ones, then others of the keys.
std::vector<std::size_t> old_columns(std::vector<std::size_t> assigned,
                                     std::vector<unique_key> const& keys);

}  // namespace qd::sql
