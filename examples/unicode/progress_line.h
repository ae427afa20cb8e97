// Shows how far a load is.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace unicode_demo {

// On a terminal, one line on the error stream that is rewritten; elsewhere one line per stage.
class progress_line {
 public:
  progress_line();
  // Clears an unfinished line.
  ~progress_line();
  progress_line(progress_line const&) = delete;
  progress_line& operator=(progress_line const&) = delete;

  void show(std::string_view stage, std::size_t done, std::size_t total);

 private:
  bool on_terminal_;
  bool is_open_ = false;  // A line on the terminal is not ended yet.
};

}  // namespace unicode_demo
