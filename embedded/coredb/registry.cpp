#include "coredb/registry.h"

#include <mutex>

#include "coredb/database.h"
#include "coredb/error.h"

namespace qd::coredb {
namespace {

// Guards the list of free places, and what happens to a place between two contexts.
std::mutex registry_mutex;
unsigned int first_free = 0;  // place_count: none, but the places from `untouched` on.
unsigned int untouched = 0;
bool has_free = false;

// Sets or clears the stop of the context with this handle.
bool set_stopped(unsigned long handle, bool stopped) {
  std::lock_guard const lock(registry_mutex);
  context_place& place = context_places[place_of_handle(handle)];
  if (handle == 0 || place.handle.load(std::memory_order_relaxed) != handle) return false;
  place.stopped.store(stopped, std::memory_order_relaxed);
  return true;
}

}  // namespace

constinit thread_local char thread_mark __attribute__((tls_model("initial-exec"))) = 0;
context_place context_places[place_count];

context_place& enter_context(context& object) {
  std::lock_guard const lock(registry_mutex);
  unsigned int number;
  if (has_free) {
    number = first_free;
    has_free = context_places[number].next_free != number;
    first_free = context_places[number].next_free;
  } else if (untouched < place_count) {
    number = untouched++;
  } else {
    throw error(error_kind::too_many,
                "more than " + std::to_string(place_count) + " contexts are open");
  }
  context_place& place = context_places[number];
  place.object = &object;
  place.stopped.store(false, std::memory_order_relaxed);
  place.owner.store(&thread_mark, std::memory_order_relaxed);
  place.handle.store(++place.uses << place_bits | number, std::memory_order_release);
  return place;
}

void leave_context(context_place& place) noexcept {
  std::lock_guard const lock(registry_mutex);
  auto const number = static_cast<unsigned int>(&place - context_places);
  place.handle.store(0, std::memory_order_release);
  place.owner.store(nullptr, std::memory_order_relaxed);
  place.object = nullptr;
  // The last of the list names itself.
  place.next_free = has_free ? first_free : number;
  first_free = number;
  has_free = true;
}

bool request_stop(unsigned long handle) noexcept {
  return set_stopped(handle, true);
}
bool clear_stop(unsigned long handle) noexcept {
  return set_stopped(handle, false);
}

}  // namespace qd::coredb
