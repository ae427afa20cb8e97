#include "sql_executor/full_join.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "sql_executor/null_litteral.h"
#include "sql_executor/row_source.h"

namespace qd::sql_executor {

namespace {

void append_nulls(evaluation_context& context, unsigned long count) {
  context.bound_data.insert(context.bound_data.end(), count, null_litteral);
}

// Moves a row back from the end of the bound data.
void pop_row(evaluation_context& context, std::vector<value>& row) noexcept {
  auto const first = context.bound_data.end() - static_cast<long>(row.size());
  std::move(first, context.bound_data.end(), row.begin());
  context.bound_data.erase(first, context.bound_data.end());
}

// Fills a row with copies of the values at a position of the bound data.
void copy_row(evaluation_context const& context, unsigned long position, std::vector<value>& row) {
  std::copy_n(context.bound_data.begin() + static_cast<long>(position), row.size(), row.begin());
}

}  // namespace

// With a condition.
//
//     phase               how the fields say it    holds there
//     right not read      `right` is present       `right_rows` is empty
//     between left rows   no `left_row`            every right row has met the left rows so far
//     joining             `left_row` is present    the right rows before `position` have met it
//     left ended          `left` is released       the unmatched rows before `position` are out
class full_join_enumerator final : public row_source {
 public:
  full_join_enumerator(node& left_node, node& right_node, unsigned long left_columns,
                       unsigned long right_columns, operators::operator_base const& condition,
                       evaluation_context& context)
      : left(left_node.enumerate(context)),
        right(right_node.enumerate(context)),
        expression(condition),
        left_width(left_columns),
        right_width(right_columns) {}

  bool append_next(evaluation_context& context) override {
    while (left) {
      if (!left_row && !move_left(context)) break;
      unsigned long const base = context.bound_data.size();
      append_row(context, *left_row);
      while (position < right_rows.size()) {
        if (join_at(context, base, position++)) return true;
      }
      left_row.reset();
      if (!left_matched) {
        append_nulls(context, right_width);
        return true;
      }
      erase_new_bound(context, base);
    }
    return next_right(context);
  }

 private:
  // Goes to the next left row, which meets all right rows; false when the left side has ended.
  bool move_left(evaluation_context& context) {
    reset_right_position(context);
    unsigned long const base = context.bound_data.size();
    left_matched = false;
    if (!left.append_next(context)) {
      left.release();
      return false;
    }
    left_row = take_row(context, base);
    return true;
  }

  void reset_right_position(evaluation_context& context) {
    if (right) read_right(context);
    position = 0;
  }

  void read_right(evaluation_context& context) {
    unsigned long const base = context.bound_data.size();
    while (right.append_next(context)) right_rows.push_back(take_row(context, base));
    matched.resize(right_rows.size(), false);
    right.release();
  }

  // Tests the left row, which is bound at `base`, with a right row. When they match, leaves both
  // appended and returns true; else leaves the left row appended.
  bool join_at(evaluation_context& context, unsigned long base, unsigned long right_index) {
    std::vector<value>& right_row = right_rows[right_index];
    append_row(context, right_row);
    if (expression.test(context) != true) {
      pop_row(context, right_row);
      return false;
    }
    left_matched = true;
    matched[right_index] = true;
    // The values on the bound data go out; later pairs get copies.
    copy_row(context, base, *left_row);
    copy_row(context, base + left_row->size(), right_row);
    return true;
  }

  // Appends the next right row that never matched, behind NULLs.
  bool next_right(evaluation_context& context) {
    while (position < right_rows.size() && matched[position]) ++position;
    if (position == right_rows.size()) return false;
    append_nulls(context, left_width);
    append_row(context, right_rows[position++]);
    return true;
  }

  std::optional<std::vector<value>> left_row;
  bool left_matched = false;  // Whether `left_row` has met a match.
  unsigned long position = 0;
  std::vector<std::vector<value>> right_rows;
  std::vector<bool> matched;  // One per right row: whether it has ever matched.
  row_input left;
  row_input right;
  operators::operator_base const& expression;
  unsigned long left_width;
  unsigned long right_width;
};

// Without a condition: the cross product, or the one side that has rows, padded.
//
//     mode             how the fields say it, once initialized
//     right is empty   `right` is released
//     left is empty    `left` is released
//     cross product    both are present
class full_join_enumerator_no_expression final : public row_source {
 public:
  full_join_enumerator_no_expression(node& left_node, node& node_of_right,
                                     unsigned long left_columns, unsigned long right_columns,
                                     evaluation_context& context)
      : left(left_node.enumerate(context)),
        right(node_of_right.enumerate(context)),
        right_node(node_of_right),
        left_width(left_columns),
        right_width(right_columns) {}

  bool append_next(evaluation_context& context) override {
    if (!initialized) initialize(context);
    if (!right) return next_left(context);
    if (!left) return next_right(context);
    unsigned long const base = context.bound_data.size();
    while (!get_right_data(context)) {
      if (!move_left(context)) return false;
    }
    insert_at(context, base, left_row);
    return true;
  }

 private:
  // Looks which side has rows: reads the first row of the right side, then of the left.
  void initialize(evaluation_context& context) {
    initialized = true;
    pending_right = right.next(context);
    if (!pending_right) {
      right.release();
    } else if (!take_left_row(context)) {
      left.release();
    }
  }

  bool take_left_row(evaluation_context& context) {
    unsigned long const base = context.bound_data.size();
    if (!left.append_next(context)) return false;
    left_row = take_row(context, base);
    return true;
  }

  // Appends the next right row, the one that was read ahead first.
  bool get_right_data(evaluation_context& context) {
    if (!pending_right) return right.append_next(context);
    append_row(context, *pending_right);
    pending_right.reset();
    return true;
  }

  // Appends the next left row, followed by NULLs.
  bool next_left(evaluation_context& context) {
    if (!left.append_next(context)) return false;
    append_nulls(context, right_width);
    return true;
  }

  // Appends the next right row, behind NULLs.
  bool next_right(evaluation_context& context) {
    unsigned long const base = context.bound_data.size();
    if (!get_right_data(context)) return false;
    insert_at(context, base, std::vector<value>(left_width, null_litteral));
    return true;
  }

  // Goes to the next left row and enumerates the right side for it afresh.
  bool move_left(evaluation_context& context) {
    if (!take_left_row(context)) return false;
    right = row_input(right_node.enumerate(context));
    return true;
  }

  // The right row was read without the left row below it, at the positions it was planned for.
  static void insert_at(evaluation_context& context, unsigned long base,
                        std::vector<value> const& row) {
    context.bound_data.insert(context.bound_data.begin() + static_cast<long>(base), row.begin(),
                              row.end());
  }

  bool initialized = false;
  std::vector<value> left_row;                      // In the cross product: the present left row.
  std::optional<std::vector<value>> pending_right;  // A right row read ahead.
  row_input left;
  row_input right;
  node& right_node;
  unsigned long left_width;
  unsigned long right_width;
};

full_join::full_join(std::unique_ptr<node>&& left_node, std::unique_ptr<node>&& right_node,
                     unsigned long left_columns, unsigned long right_columns,
                     std::optional<operators::operator_ptr>&& condition)
    : left(std::move(left_node)),
      right(std::move(right_node)),
      left_width(left_columns),
      right_width(right_columns),
      expression(std::move(condition)) {}

std::unique_ptr<enumerator> full_join::enumerate(evaluation_context& context) {
  if (expression && *expression) {
    return std::make_unique<full_join_enumerator>(*left, *right, left_width, right_width,
                                                  **expression, context);
  }
  return std::make_unique<full_join_enumerator_no_expression>(*left, *right, left_width,
                                                              right_width, context);
}

}  // namespace qd::sql_executor
