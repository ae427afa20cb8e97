#include "dbmetalayer/error_translation.h"

namespace qd::embedded {
namespace {

error_kind kind_of(coredb::error_kind kind) {
  switch (kind) {
    case coredb::error_kind::not_a_database:
      return error_kind::not_a_database;
    case coredb::error_kind::format_version:
      return error_kind::format_version;
    case coredb::error_kind::cannot_open:
      return error_kind::cannot_open;
    case coredb::error_kind::map_full:
      return error_kind::full;
    case coredb::error_kind::writer_busy:
      return error_kind::writer_busy;
    case coredb::error_kind::bad_schema:
      return error_kind::bad_definition;
    case coredb::error_kind::bad_object:
      return error_kind::unknown_object;
    case coredb::error_kind::unique_violation:
      return error_kind::duplicate;
    case coredb::error_kind::bad_transaction:
      return error_kind::bad_transaction;
    case coredb::error_kind::too_many:
      return error_kind::limit;
    case coredb::error_kind::stopped:
      return error_kind::stopped;
    case coredb::error_kind::storage:
      break;
  }
  return error_kind::storage;
}

}  // namespace

void throw_translated(coredb::error const& fault) {
  throw error(kind_of(fault.kind()), fault.what());
}

}  // namespace qd::embedded
