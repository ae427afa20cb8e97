#include "sql_executor/correlated_sides.h"

#include <algorithm>
#include <iterator>

namespace qd::sql_executor {

correlated_sides::correlated_sides(node& left_node, node& node_of_right,
                                   evaluation_context& context)
    : right_node(node_of_right), left(left_node.enumerate(context)) {}

bool correlated_sides::move_left(evaluation_context& context) {
  if (!left) return false;
  unsigned long const base = context.bound_data.size();
  if (!left.append_next(context)) {
    right.release();
    left.release();
    return false;
  }
  // The left row stands where the right side looks for it: no need to push it.
  right.replace(right_node.enumerate(context));
  left_row.resize(context.bound_data.size() - base);
  pop_bound_data(context);
  return true;
}

bool correlated_sides::append_match(evaluation_context& context) {
  unsigned long const base = context.bound_data.size();
  push_bound_data(context);
  if (!right.append_next(context)) {
    pop_bound_data(context);
    return false;
  }
  // The values on the bound data go out; the next right row gets copies.
  std::copy_n(context.bound_data.begin() + static_cast<long>(base), left_row.size(),
              left_row.begin());
  return true;
}

void correlated_sides::append_left(evaluation_context& context) {
  right.release();
  push_bound_data(context);
}

void correlated_sides::push_bound_data(evaluation_context& context) {
  append_row(context, left_row);
}

void correlated_sides::pop_bound_data(evaluation_context& context) noexcept {
  auto const first = context.bound_data.end() - static_cast<long>(left_row.size());
  std::move(first, context.bound_data.end(), left_row.begin());
  context.bound_data.erase(first, context.bound_data.end());
}

}  // namespace qd::sql_executor
