// Errors of the library and the kernel, as errors of SQL.
#pragma once

#include <utility>

#include "sql/syntax/position.h"

namespace qd::sql {

// Throws the exception that is being handled as an sql::error: those of the library and the kernel
// keep their numbers and get a text; sql::error and std::bad_alloc pass as they are.
[[noreturn]] void throw_translated();

// The same, with a place for what has none.
[[noreturn]] void throw_translated_at(text_position position);

// Calls `action`; what it throws comes out translated.
template <typename Action>
decltype(auto) translated(Action&& action) {
  try {
    return std::forward<Action>(action)();
  } catch (...) {
    throw_translated();
  }
}

// Calls `action`, whose errors are about the name at `position` where they do not say more.
template <typename Action>
decltype(auto) translated_at(text_position position, Action&& action) {
  try {
    return std::forward<Action>(action)();
  } catch (...) {
    throw_translated_at(position);
  }
}

}  // namespace qd::sql
