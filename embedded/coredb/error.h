// The exception that the kernel's C++ interface throws.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "coredb/export.h"

namespace qd::coredb {

enum class error_kind {
  not_a_database,    // The file is something else, or is damaged.
  format_version,    // The database was written by another version of this format.
  cannot_open,       // The operating system refuses the path or the reserved size.
  map_full,          // The reserved size or the disk is used up. What was committed is intact.
  writer_busy,       // Another write transaction did not end within the configured time.
  storage,           // The store reports a fault, or stored data is damaged.
  bad_schema,        // A layout or an index that cannot be, or does not exist.
  bad_object,        // Fields that do not fit the layout, or an object that does not exist.
  unique_violation,  // See unique_violation below.
  bad_transaction,   // The transaction has ended, has failed, or belongs to another thread.
  too_many,          // More contexts, layouts or indexes than the kernel can number.
  stopped,           // The context was asked to stop.
};

// What went wrong, with a text that names the path, or the layout, column or index, and the reason.
class QD_COREDB_API error : public std::runtime_error {
 public:
  error(error_kind kind, std::string const& text) : std::runtime_error(text), kind_(kind) {}

  error_kind kind() const noexcept { return kind_; }

 private:
  error_kind kind_;
};

// An insert or update that would give a unique index two equal keys without a NULL. Nothing of the
// refused operation was done; the transaction goes on.
class QD_COREDB_API unique_violation : public error {
 public:
  unique_violation(std::string const& text, std::uint64_t index_id, std::uint64_t existing_oid)
      : error(error_kind::unique_violation, text), index_id(index_id), existing_oid(existing_oid) {}

  std::uint64_t index_id;
  std::uint64_t existing_oid;  // The object that has the key already.
};

}  // namespace qd::coredb
