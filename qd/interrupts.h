// Ctrl-C.
#pragma once

#include <functional>
#include <thread>

namespace qd::program {

// While it lives, SIGINT does not end the program but calls `on_interrupt`, on a thread of its own,
// where any function may be called. To be made before the program starts other threads: they inherit
// that the signal is held back from them.
class interrupt_watcher {
 public:
  explicit interrupt_watcher(std::function<void()> on_interrupt);
  ~interrupt_watcher();
  interrupt_watcher(interrupt_watcher const&) = delete;
  interrupt_watcher& operator=(interrupt_watcher const&) = delete;

 private:
  void watch();

  std::function<void()> on_interrupt_;
  int signals_;  // Readable when SIGINT has come.
  int ending_;   // Readable when the watcher is to end.
  std::thread thread_;
};

// A flag that a thread can wait for beside a file.
class wake_up {
 public:
  wake_up();
  ~wake_up();
  wake_up(wake_up const&) = delete;
  wake_up& operator=(wake_up const&) = delete;

  // From any thread.
  void set();
  void clear();
  // Waits until `file` can be read (true) or the flag is set (false).
  bool wait_for(int file);

 private:
  int event_;
};

}  // namespace qd::program
