#include "sql_executor/row_buffer.h"

#include <iterator>
#include <stdexcept>
#include <string>

#include "sql_executor/row_source.h"

namespace qd::sql_executor {

void row_buffer::take_bound(evaluation_context& context, unsigned long base) {
  unsigned long const width = context.bound_data.size() - base;
  if (size_ == 0) width_ = width;
  if (width != width_) {
    throw std::logic_error("a row of " + std::to_string(width) + " values among rows of " +
                           std::to_string(width_));
  }
  if (size_ % rows_per_block == 0) {
    blocks_.emplace_back();
    // A short list stays small; a long one grows by whole blocks.
    if (size_ != 0) blocks_.back().reserve(rows_per_block * width_);
  }
  std::vector<value>& block = blocks_.back();
  block.insert(block.end(),
               std::move_iterator(context.bound_data.begin() + static_cast<long>(base)),
               std::move_iterator(context.bound_data.end()));
  erase_new_bound(context, base);
  ++size_;
}

void row_buffer::append_to_bound(evaluation_context& context, unsigned long index) {
  value* const first = const_cast<value*>(first_value(index));
  context.bound_data.insert(context.bound_data.end(), std::move_iterator(first),
                            std::move_iterator(first + width_));
}

}  // namespace qd::sql_executor
