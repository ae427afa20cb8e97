// Context handles. A handle names a place in a fixed table and carries a count, so that a handle
// that has ended, or was never given out, is recognised without touching a context.
#pragma once

#include <atomic>
#include <cstdint>

#include "coredb/status.h"

namespace qd::coredb {

class context;

// Distinguishes threads by an address of their own.
extern constinit thread_local char thread_mark __attribute__((tls_model("initial-exec")));

inline constexpr unsigned int place_bits = 12;
inline constexpr unsigned int place_count = 1u << place_bits;

// All but `object` may be read by any thread; `object` by the owner alone.
struct alignas(64) context_place {
  std::atomic<unsigned long> handle{0};  // 0: free.
  std::atomic<char const*> owner{nullptr};
  context* object = nullptr;
  std::atomic<bool> stopped{false};
  std::uint64_t uses = 0;
  // Counts the iterators of all contexts that were here, so that their handles differ.
  std::uint64_t iterators = 0;
  unsigned int next_free = 0;
};

extern context_place context_places[place_count];

// Gives a context a handle, owned by the calling thread. Throws error(too_many).
context_place& enter_context(context& object);
void leave_context(context_place& place) noexcept;

inline unsigned int place_of_handle(unsigned long handle) {
  return handle % place_count;
}

// The context, when the calling thread may use it. `status` says why not.
inline context* find_context_place(unsigned long handle, context_place*& place,
                                   unsigned int& status) {
  context_place& candidate = context_places[place_of_handle(handle)];
  if (candidate.handle.load(std::memory_order_acquire) != handle || handle == 0) [[unlikely]] {
    status = status_bad_context;
    return nullptr;
  }
  if (candidate.owner.load(std::memory_order_relaxed) != &thread_mark) [[unlikely]] {
    status = status_wrong_thread;
    return nullptr;
  }
  place = &candidate;
  return candidate.object;
}

// The context that an iterator handle is of, when the calling thread may use it. The iterator
// itself may still be unknown.
inline context* find_iterator_context(unsigned long iterator, context_place*& place,
                                      unsigned int& status) {
  context_place& candidate = context_places[place_of_handle(iterator)];
  if (candidate.handle.load(std::memory_order_acquire) == 0) {
    status = status_bad_iterator;
    return nullptr;
  }
  if (candidate.owner.load(std::memory_order_relaxed) != &thread_mark) {
    status = status_wrong_thread;
    return nullptr;
  }
  place = &candidate;
  return candidate.object;
}

}  // namespace qd::coredb
