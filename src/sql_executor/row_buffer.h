// Rows set aside in memory.
#pragma once

#include <vector>

#include "sql_executor/evaluation_context.h"

namespace qd::sql_executor {

// A list of rows of one width, their values side by side in blocks: no allocation per row, and
// growing never moves a full block.
class row_buffer {
 public:
  // Moves the values of `bound_data` from position `base` on to the end of the list, as a row, and
  // cuts `bound_data` back to `base`. Throws std::logic_error for a row of another width.
  void take_bound(evaluation_context& context, unsigned long base);

  // Appends a row, which is moved out of the list, to the end of `bound_data`. Each row goes out
  // once.
  void append_to_bound(evaluation_context& context, unsigned long index);

  // Hints that the row will go out soon.
  void prefetch(unsigned long index) const { __builtin_prefetch(first_value(index)); }

  unsigned long size() const { return size_; }

 private:
  static constexpr unsigned long rows_per_block = 1024;

  value const* first_value(unsigned long index) const {
    return blocks_[index / rows_per_block].data() + index % rows_per_block * width_;
  }

  std::vector<std::vector<value>> blocks_;
  unsigned long width_ = 0;  // Of every row.
  unsigned long size_ = 0;
};

}  // namespace qd::sql_executor
