// What a running plan shares: the values in scope and the kernel context.
#pragma once

#include <variant>
#include <vector>

#include "sql_executor/value.h"

namespace qd::sql_executor {

// Filled by the caller of `Plan` and handed to every enumerate, next and eval of one execution. It
// must outlive the enumerators made with it and serves one execution at a time.
struct evaluation_context {
  // The literals of the ExecutablePlan, positions unchanged.
  std::vector<value> literals;
  // The value of parameter number n stands at position n.
  std::vector<value> parameters;
  // A stack of the rows in scope: those of the enclosing nodes, outermost first, then the row at
  // hand. Empty before the first call; every call that returns normally leaves its size as it was.
  // After a throw its content is unspecified: the execution is abandoned.
  std::vector<value> bound_data;
  // The kernel context handle that every kernel call gets.
  unsigned long kernel_context = 0;
};

// Positions in the three vectors, 0 to 32767.
struct literal_index {
  short position;
  friend bool operator==(literal_index, literal_index) = default;
};
struct parameter_index {
  short position;
  friend bool operator==(parameter_index, parameter_index) = default;
};
struct bound_data_index {
  short position;
  friend bool operator==(bound_data_index, bound_data_index) = default;
};

// A place in the context.
using ContextSlot = std::variant<literal_index, parameter_index, bound_data_index>;

}  // namespace qd::sql_executor
