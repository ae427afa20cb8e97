// The typed key of one index column, and its order.
#pragma once

#include <variant>

#include "db_string/dt_string.h"
#include "db_util/value_kinds.h"

namespace qd::sql_executor::scan_range {

// The key of a binary column: bytes, or the upper end, above every Binary.
struct binary_key {
  struct infinite {};

  std::variant<operator_library::Binary, infinite> content;
};

// The key of a reference column. The address is not part of a key.
struct ObjRef_key {
  unsigned long oid;
};

// The key of one column. A set specifier's key is a dt_string of its set-specifier densetext.
// Columns of the floating kinds have no keys.
using ScanKey =
    std::variant<operator_library::NullValue, bool, unsigned long, long, operator_library::Decimal,
                 db_string::dt_string, binary_key, ObjRef_key>;

// The order of the index on an ascending column: NULL first, then by content. Negative, 0 or
// positive. Throws std::logic_error "incompatible types" for two keys of different alternatives of
// which none is NULL.
int three_way_key_comparator(ScanKey const& left, ScanKey const& right);

}  // namespace qd::sql_executor::scan_range
