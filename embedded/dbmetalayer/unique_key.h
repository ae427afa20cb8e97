// The text of a refused duplicate.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "coredb/error.h"
#include "coredb/schema.h"
#include "dbmetalayer/class_info.h"

namespace qd::embedded {

// Names an index, its class, columns and the values that an object and a second one would share.
// `context` is the write transaction's.
std::string duplicate_text(unsigned long context, class_info const& of_class,
                           std::u16string_view index_name,
                           std::span<coredb::index_column_definition const> columns,
                           std::uint64_t object);

// The same for an index that the catalogue knows.
std::string duplicate_text(unsigned long context, coredb::schema const& schema,
                           coredb::unique_violation const& violation);

}  // namespace qd::embedded
