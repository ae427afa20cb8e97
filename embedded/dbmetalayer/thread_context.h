// The metadata contexts of threads.
#pragma once

#include <atomic>
#include <memory>

#pragma GCC visibility push(default)
#include "kernel/metalayer.h"
#pragma GCC visibility pop

namespace qd::embedded {

// One binding of a context to a thread.
struct bound_context {
  metalayer::TlsMetalayerContext record;
  // Set by whatever thread ends the binding; the bound thread forgets it then.
  std::atomic<bool> ended{false};
};

// Makes a kernel context the calling thread's until `ended` is set in the result.
std::shared_ptr<bound_context> bind_to_thread(unsigned long context);

}  // namespace qd::embedded
