// The exception of the embedded database's interface.
#pragma once

#include <stdexcept>
#include <string>

#include "dbmetalayer/export.h"

namespace qd::embedded {

enum class error_kind {
  not_a_database,   // The file is something else, or is damaged.
  format_version,   // The database was written by another version of the format.
  cannot_open,      // The operating system refuses the path or the capacity.
  full,             // The reserved size or the disk is used up. What was committed is intact.
  writer_busy,      // Another write transaction did not end in time.
  storage,          // Stored data is damaged or cannot be read.
  unknown_name,     // A class, column or index that does not exist.
  bad_definition,   // A class, column or index that cannot be defined, or dropped, so.
  wrong_type,       // A value of another type than its column's.
  out_of_range,     // A number beyond its column's range.
  null_value,       // NULL in a column that must have a value.
  bad_reference,    // A reference to no object, or to an object of another class.
  unknown_object,   // No object has this id.
  duplicate,        // A unique index has the same key already.
  bad_transaction,  // The transaction has ended, has failed, or belongs to another thread.
  stopped,          // The context was asked to stop.
  limit,            // More contexts, classes or indexes than can be numbered.
};

// What went wrong. what() is UTF-8 and names the class, the column and the value, or the path, and
// the reason. Refused definitions, inserts, updates and deletions leave their transaction as it
// was, so it can go on; after the kinds full and storage it can only be rolled back. After stopped
// and limit it goes on, too, unless a change of the catalogue was under way: that rolls it back.
class QD_EMBEDDED_API error : public std::runtime_error {
 public:
  error(error_kind kind, std::string const& text) : std::runtime_error(text), kind_(kind) {}

  error_kind kind() const noexcept { return kind_; }

 private:
  error_kind kind_;
};

}  // namespace qd::embedded
