// How another thread stops the running step of a connection.
#pragma once

#include <array>
#include <atomic>

namespace qd::sql {

// One step at a time is running, on one thread; request() may be called from any. A request reaches
// the step that is running and no later one: the state says which of the two sides may touch the
// contexts.
//
//     idle      no step runs; a request does nothing
//     running   a step runs; a request takes the state to `stopping`
//     stopping  the requesting thread is marking the context
//     stopped   it has done so; the end of the step takes the marks back
class stop_signal {
 public:
  // A step that goes on reading through `context` watches it from the start, which costs a row less
  // than a watch of its own; 0: none yet. Whoever sees the state sees the context.
  void begin(unsigned long context) noexcept {
    if (context != 0) watched_[watched_count_++] = context;
    context_.store(context, std::memory_order_relaxed);
    state_.store(running, std::memory_order_release);
  }
  // From now on kernel calls through this context are to be stopped as well. At most a few contexts
  // in one step.
  void watch(unsigned long context) noexcept;
  bool requested() const noexcept { return state_.load(std::memory_order_relaxed) != running; }
  // Throws sql::error, interrupted, when the step is to stop. For work between kernel calls.
  void check() const;
  // Takes the marks of the contexts back, so that what a failed statement did can be undone.
  void clear_contexts() noexcept;
  // Returns whether the step was to stop.
  bool end() noexcept;

  void request() noexcept;

 private:
  enum state : int { idle, running, stopping, stopped };

  std::atomic<int> state_{idle};
  std::atomic<unsigned long> context_{0};  // The latest watched; 0: none yet.
  std::array<unsigned long, 4> watched_{};
  unsigned watched_count_ = 0;
};

// Runs one step: begins and ends the signal.
class stop_scope {
 public:
  explicit stop_scope(stop_signal& signal, unsigned long context = 0) : signal_(signal) {
    signal_.begin(context);
  }
  ~stop_scope() { signal_.end(); }
  stop_scope(stop_scope const&) = delete;
  stop_scope& operator=(stop_scope const&) = delete;

 private:
  stop_signal& signal_;
};

}  // namespace qd::sql
