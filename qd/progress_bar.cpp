#include "qd/progress_bar.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "qd/formats/result_format.h"

namespace qd::program {

namespace {

constexpr std::size_t bar_width = 30;
// Back to the beginning of the line, and clear it.
constexpr char const* rewind = "\r\x1b[K";

}  // namespace

progress_bar::progress_bar() : on_terminal_(isatty(STDERR_FILENO) == 1) {
  restart();
}

void progress_bar::restart() {
  begin_ = std::chrono::steady_clock::now();
}

void progress_bar::show(sql::copy_progress const& progress) {
  if (!on_terminal_) return;
  std::chrono::duration<double> const passed = std::chrono::steady_clock::now() - begin_;
  std::cerr << rewind << progress_text(progress, passed.count()) << std::flush;
  visible_ = true;
}

void progress_bar::clear() {
  if (visible_) std::cerr << rewind << std::flush;
  visible_ = false;
}

std::string progress_text(sql::copy_progress const& progress, double seconds) {
  std::string text;
  if (progress.bytes_total > 0) {
    double const share = std::min(
        1.0, static_cast<double>(progress.bytes_done) / static_cast<double>(progress.bytes_total));
    auto const full = static_cast<std::size_t>(share * bar_width);
    std::string const percent = std::to_string(static_cast<int>(share * 100));
    text = '[' + std::string(full, '=') + std::string(bar_width - full, ' ') + "] " +
           std::string(3 - std::min<std::size_t>(3, percent.size()), ' ') + percent + "%  ";
  }
  text += count_text(progress.rows, "row");
  if (seconds > 0) {
    auto const rate = static_cast<std::uint64_t>(static_cast<double>(progress.rows) / seconds);
    text += "  " + count_text(rate, "row") + "/s";
  }
  return text;
}

}  // namespace qd::program
