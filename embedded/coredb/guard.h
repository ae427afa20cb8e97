// What stands between the kernel's C functions and its exceptions.
#pragma once

#include "coredb/error.h"
#include "coredb/status.h"

namespace qd::coredb {

// Runs `body` and turns what the store reports into a status. std::bad_alloc goes on to the caller.
template <typename Body>
unsigned int guarded(Body const& body) {
  try {
    return body();
  } catch (error const&) {
    return status_storage;
  }
}

}  // namespace qd::coredb
