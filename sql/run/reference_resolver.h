// Keys that stand for objects in reference columns.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <unordered_set>
#include <vector>

#include "sql/run/object_finder.h"

namespace qd::sql {

// The object that a key given for a column was found to stand for. Throws sql::error (constraint)
// when it stands for none.
embedded::object_id object_of(column_info const& column, lookup const& found);

// Turns the keys that one statement gives for the reference columns of a table into references. A
// key of a class that the statement does not write is looked up at once; one of the written table
// itself, or of a class that shares objects with it, when all rows are there: such rows wait with
// their keys in memory.
class reference_resolver {
 public:
  reference_resolver(run_context const& run, table_info const& written);

  // What a key given for a reference column stands for; empty when that can only be known at the
  // end. Throws sql::error for a column without a lookup column.
  std::optional<lookup> resolve(column_info const& column, value const& key);
  // What stands in the column meanwhile: NULL, or for a column that must have a value an id that
  // will have no object.
  embedded::value placeholder(column_info const& column);
  // Notes a key for the end.
  void resolve_later(embedded::object_id object, column_info const& column, value key);
  // The column that a reference column's keys are values of.
  column_info const& key_column(column_info const& column);

  // Writes the references of the noted keys. Throws sql::error for one that finds no object.
  void finish();

  // A row whose key finds no object: its object, the column, the key, and why.
  using refusal =
      std::function<void(embedded::object_id, column_info const&, value const&, std::string)>;
  // As finish, but such rows are reported and erased, and so are those that refer to them. `gone`
  // has the rows that are not there any more, before and after.
  void finish_without_refused(std::unordered_set<std::uint64_t>& gone, refusal const& refused);

 private:
  struct waiting {
    embedded::object_id object;
    value key;
    embedded::object_id found = {};
  };
  struct target {
    bool written_too;  // Its class shares objects with the written one.
    key_place key;
    std::unique_ptr<object_finder> finder;  // Null before the first key that is looked up at once.
    std::optional<embedded::object_id> placeholder;
    std::vector<waiting> noted;
  };

  target& target_of(column_info const& column);
  // Finds the object of every noted key, and reports those that have none.
  void look_up(target& to, std::function<void(waiting const&, std::string)> const& refused);
  void forget(std::unordered_set<std::uint64_t> const& gone);
  void write_references();

  run_context const& run_;
  table_info const& written_;
  std::map<column_info const*, target> targets_;
};

}  // namespace qd::sql
