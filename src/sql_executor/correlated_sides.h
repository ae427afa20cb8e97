// The two inputs of a join whose right side depends on the left row.
#pragma once

#include <memory>
#include <vector>

#include "sql_executor/node.h"
#include "sql_executor/row_source.h"

namespace qd::sql_executor {

// The left row that the inner and the left join work on, and the right side's enumeration for it.
//
// The right side is enumerated afresh for every left row, never rewound, while that row is bound:
// its scans take their bounds from it. Between calls the left row stands in `left_row`, not in the
// bound data.
class correlated_sides {
 public:
  // Starts the left side only.
  correlated_sides(node& left_node, node& right_node, evaluation_context& context);

  // Goes to the next left row and enumerates the right side for it. False at the end of the left
  // side, and from then on.
  bool move_left(evaluation_context& context);

  // Appends the left row and the next right row that goes with it; false, with nothing appended,
  // when there is none. Requires right_is_open().
  bool append_match(evaluation_context& context);

  // Ends the right side for this left row and appends the left row; `left_row` is moved out.
  void append_left(evaluation_context& context);

  // Whether there is a left row whose right rows are being read.
  bool right_is_open() const { return static_cast<bool>(right); }

 private:
  // Moves the left row onto the bound data, and back from its end.
  void push_bound_data(evaluation_context& context);
  void pop_bound_data(evaluation_context& context) noexcept;

  node& right_node;
  row_input left;               // Released when the left side has ended.
  row_input right;              // Open while there is a left row whose right rows are being read.
  std::vector<value> left_row;  // Meaningful while `right` is open.
};

}  // namespace qd::sql_executor
