// Turns errors of the storage library into errors of the embedded database.
#pragma once

#include <utility>

#include "coredb/error.h"
#include "dbmetalayer/error.h"

namespace qd::embedded {

[[noreturn]] void throw_translated(coredb::error const& fault);

// Calls `action`; a storage error that it throws comes out translated.
template <class Action>
decltype(auto) translated(Action&& action) {
  try {
    return std::forward<Action>(action)();
  } catch (coredb::error const& fault) {
    throw_translated(fault);
  }
}

}  // namespace qd::embedded
