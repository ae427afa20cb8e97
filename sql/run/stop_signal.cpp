#include "sql/run/stop_signal.h"

#include <thread>

#include "dbmetalayer/database.h"
#include "sql/error.h"

namespace qd::sql {

void stop_signal::watch(unsigned long context) noexcept {
  if (context == 0) return;
  if (watched_count_ == 0 || watched_[watched_count_ - 1] != context) {
    if (watched_count_ < watched_.size()) watched_[watched_count_++] = context;
  }
  context_.store(context);
  // A request that came before saw another context, or none.
  if (state_.load() != running) embedded::request_stop(context);
}

void stop_signal::check() const {
  if (requested()) throw error(error_code::interrupted, "the statement was interrupted");
}

void stop_signal::clear_contexts() noexcept {
  while (state_.load() == stopping) std::this_thread::yield();
  for (unsigned i = 0; i < watched_count_; ++i) embedded::clear_stop(watched_[i]);
}

bool stop_signal::end() noexcept {
  int expected = running;
  bool const undisturbed = state_.compare_exchange_strong(expected, idle);
  if (!undisturbed) {
    clear_contexts();
    state_.store(idle);
  }
  watched_count_ = 0;
  context_.store(0, std::memory_order_relaxed);
  return !undisturbed;
}

void stop_signal::request() noexcept {
  int expected = running;
  if (!state_.compare_exchange_strong(expected, stopping)) return;
  unsigned long const context = context_.load();
  if (context != 0) embedded::request_stop(context);
  state_.store(stopped);
}

}  // namespace qd::sql
