// The interval of keys that the conditions on one index column leave.
#pragma once

#include <span>

#include "sql_executor/scan.h"
#include "sql_executor/scan_key.h"

namespace qd::sql_executor::scan_range {

struct interval_point {
  ScanKey key;
  bool inclusive;
};

struct interval {
  interval_point low;
  interval_point high;
};

// The interval without keys.
inline interval const empty{{operator_library::NullValue(), false},
                            {operator_library::NullValue(), false}};

// The lower and the higher of two points. On equal keys an exclusive point wins, so that narrowing
// keeps the stricter end.
interval_point min(interval_point first, interval_point second);
interval_point max(interval_point first, interval_point second);

// The largest key of a column type. Throws std::logic_error "Index key of float type is not
// supported" or "Index key of double type is not supported" for the floating kinds, which have no
// keys, and db_exception with the kernel's status.
ScanKey max_key_by_type(evaluation_context const& context, value_type type);

// Raises the error of max_key_by_type for a type that has no keys.
void require_keyed_type(value_type type);

// Evaluates the conditions, in order, and narrows the whole column by each. NULL keys are in unless
// a condition excludes them. Throws as scan does.
interval column_interval(std::span<scan::interval_endpoint const> endpoints, value_type type,
                         evaluation_context const& context);

}  // namespace qd::sql_executor::scan_range
