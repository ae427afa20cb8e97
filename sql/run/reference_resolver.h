// Keys that stand for objects in reference columns.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "sql/run/object_finder.h"

namespace qd::sql {

// Turns the keys that one statement gives for the reference columns of a table into references. A
// key of a class that the statement does not write is looked up at once; one of the written table
// itself, or of a class that shares objects with it, when all rows are there: such rows wait with
// their keys in memory.
class reference_resolver {
 public:
  reference_resolver(run_context const& run, table_info const& written);

  // The object that a key stands for; empty when it can only be known at the end. Throws sql::error
  // for keys that find nothing or several objects, and for columns without a lookup column.
  std::optional<embedded::object_id> resolve(column_info const& column, value const& key);
  // What stands in the column meanwhile: NULL, or for a column that must have a value an id that
  // will have no object.
  embedded::value placeholder(column_info const& column);
  // Notes a key for the end.
  void resolve_later(embedded::object_id object, column_info const& column, value key);
  // The column that a reference column's keys are values of.
  column_info const& key_column(column_info const& column);

  // Writes the references of the noted keys.
  void finish();

 private:
  struct waiting {
    embedded::object_id object;
    value key;
  };
  struct target {
    bool written_too;  // Its class shares objects with the written one.
    key_place key;
    std::unique_ptr<object_finder> finder;  // Null before the first key that is looked up at once.
    std::optional<embedded::object_id> placeholder;
    std::vector<waiting> noted;
  };

  target& target_of(column_info const& column);

  run_context const& run_;
  table_info const& written_;
  std::map<column_info const*, target> targets_;
};

}  // namespace qd::sql
