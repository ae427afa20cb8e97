#include "progress_line.h"

#include <unistd.h>

#include <iostream>

namespace unicode_demo {

namespace {

// Back to the beginning of the line, and clear it.
constexpr char const* rewind = "\r\x1b[K";

}  // namespace

progress_line::progress_line() : on_terminal_(isatty(STDERR_FILENO) == 1) {}

progress_line::~progress_line() {
  if (is_open_) std::cerr << rewind << std::flush;
}

void progress_line::show(std::string_view stage, std::size_t done, std::size_t total) {
  bool const is_done = done == total;
  if (!on_terminal_ && !is_done) return;
  if (on_terminal_) std::cerr << rewind;
  std::cerr << stage;
  if (total > 1) std::cerr << ' ' << done << '/' << total;
  is_open_ = on_terminal_ && !is_done;
  if (is_done) std::cerr << ", done\n";
  std::cerr << std::flush;
}

}  // namespace unicode_demo
