// The line that shows how far a load is.
#pragma once

#include <chrono>

#include "sql/connection.h"

namespace qd::program {

// On a terminal at standard error; otherwise shows nothing.
class progress_bar {
 public:
  progress_bar();

  // Before each statement: times begin now.
  void restart();
  void show(sql::copy_progress const& progress);
  // Takes the line away.
  void clear();

 private:
  bool on_terminal_;
  bool visible_ = false;
  std::chrono::steady_clock::time_point begin_;
};

// "[=====     ]  50%  1,234 rows  567 rows/s", without the bar when the whole is not known.
std::string progress_text(sql::copy_progress const& progress, double seconds);

}  // namespace qd::program
