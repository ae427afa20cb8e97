// Errors of the library and the kernel, as errors of SQL.
#pragma once

#include <utility>

namespace qd::sql {

// Throws the exception that is being handled as an sql::error: those of the library and the kernel
// keep their numbers and get a text; sql::error and std::bad_alloc pass as they are.
[[noreturn]] void throw_translated();

// Calls `action`; what it throws comes out translated.
template <typename Action>
decltype(auto) translated(Action&& action) {
  try {
    return std::forward<Action>(action)();
  } catch (...) {
    throw_translated();
  }
}

}  // namespace qd::sql
