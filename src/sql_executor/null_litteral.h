// The NULL that outer joins pad rows with.
#pragma once

#include "sql_executor/value.h"

namespace qd::sql_executor {

// Spelt so throughout the engine. Rows are padded with copies of it, never by resizing them: a
// default value is the bool false.
inline value const null_litteral{operator_library::NullValue()};

}  // namespace qd::sql_executor
