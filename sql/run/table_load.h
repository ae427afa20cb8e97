// Loads CSV records into a table.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_set>
#include <vector>

#include "sql/copy/csv_format.h"
#include "sql/copy/field_converter.h"
#include "sql/run/column_values.h"
#include "sql/run/line_numbers.h"
#include "sql/run/reference_resolver.h"
#include "sql/run/refusals.h"

namespace qd::sql {

// What one load has inserted; kept by the step that takes it back.
struct loaded_rows {
  // Empty when `finish` has ended the bulk insert.
  std::optional<embedded::bulk_inserter> open;
  line_numbers lines;
  std::unordered_set<std::uint64_t> gone;  // Removed again.

  void take_back(embedded::transaction& kernel);
};

// For one statement. Index entries are made at the end, so that refusals come at two times: those of
// fields when they are added, those of unique indexes and of references to the loaded table at the
// end.
class table_load {
 public:
  table_load(run_context& run, table_info const& table, std::vector<std::size_t> columns,
             csv_format const& format, refusals& refused);

  void add(std::span<csv_field const> fields, std::uint64_t line);
  // No more rows are inserted; they are still looked through for what is to be refused.
  void stop_inserting() { inserting_ = false; }
  void finish();
  std::uint64_t rows() const { return rows_; }

 private:
  // How a field becomes a value.
  struct field_way {
    column_info const* column;
    bool by_key;  // A reference, looked up by what the field says.
    field_converter converter;
  };

  bool convert(std::span<csv_field const> fields, std::uint64_t line);

  run_context& run_;
  refusals& refused_;
  reference_resolver references_;
  std::vector<field_way> ways_;
  std::shared_ptr<loaded_rows> loaded_;
  bool inserting_ = true;
  std::uint64_t rows_ = 0;
  // Of the record at hand.
  std::vector<embedded::value> values_;
  std::vector<std::pair<std::size_t, value>> waiting_;  // Keys that are looked up at the end.
};

}  // namespace qd::sql
