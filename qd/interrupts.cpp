#include "qd/interrupts.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace qd::program {

namespace {

[[noreturn]] void fail(char const* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

sigset_t only_interrupts() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  return set;
}

int open_event() {
  int const event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (event < 0) fail("eventfd");
  return event;
}

void set_event(int event) {
  std::uint64_t const one = 1;
  // Fails only when the counter is at its end, and then it is set.
  if (write(event, &one, sizeof one) < 0 && errno != EAGAIN) fail("write to an eventfd");
}

// Waits for either; true when the first can be read.
bool wait_for_first(int first, int second) {
  pollfd files[2] = {{first, POLLIN, 0}, {second, POLLIN, 0}};
  while (poll(files, 2, -1) < 0) {
    if (errno != EINTR) fail("poll");
  }
  return files[1].revents == 0;
}

}  // namespace

interrupt_watcher::interrupt_watcher(std::function<void()> on_interrupt)
    : on_interrupt_(std::move(on_interrupt)) {
  sigset_t const set = only_interrupts();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  signals_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  if (signals_ < 0) fail("signalfd");
  ending_ = open_event();
  thread_ = std::thread([this] { watch(); });
}

interrupt_watcher::~interrupt_watcher() {
  set_event(ending_);
  thread_.join();
  close(ending_);
  close(signals_);
  sigset_t const set = only_interrupts();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void interrupt_watcher::watch() {
  while (wait_for_first(signals_, ending_)) {
    signalfd_siginfo signal;
    if (read(signals_, &signal, sizeof signal) == sizeof signal) on_interrupt_();
  }
}

wake_up::wake_up() : event_(open_event()) {}

wake_up::~wake_up() {
  close(event_);
}

void wake_up::set() {
  set_event(event_);
}

void wake_up::clear() {
  std::uint64_t count;
  if (read(event_, &count, sizeof count) < 0 && errno != EAGAIN) fail("read from an eventfd");
}

bool wake_up::wait_for(int file) {
  return wait_for_first(file, event_);
}

}  // namespace qd::program
