// The full outer join.
#pragma once

#include <optional>

#include "sql_executor/node.h"
#include "sql_executor/operators/operator_base.h"

namespace qd::sql_executor {

// Produces every pair of a left and a right row for which the condition is true, each left row
// without a match followed by `right_width` NULLs, and each right row without a match behind
// `left_width` NULLs. Without a condition every pair matches.
//
// The right side does not see the left row. Order: for each left row, in the left input's order,
// its matches in the right input's order or its padded row; then the right rows that never matched,
// in their order.
//
// With a condition, the first `next` reads the whole right side into memory; the condition is
// evaluated once per pair, with the left row and the right row bound; NULL does not match, and a
// value that is neither bool nor NULL raises 7020. Without one, nothing is buffered but one row of
// each side, and the right side is enumerated afresh for every left row after the first.
class full_join : public node {
 public:
  full_join(std::unique_ptr<node>&& left, std::unique_ptr<node>&& right, unsigned long left_width,
            unsigned long right_width, std::optional<operators::operator_ptr>&& expression);

  // Enumerates the left side, then the right side.
  std::unique_ptr<enumerator> enumerate(evaluation_context& context) override;

 private:
  std::unique_ptr<node> left;
  std::unique_ptr<node> right;
  unsigned long left_width;   // Columns of a left row.
  unsigned long right_width;  // Columns of a right row.
  std::optional<operators::operator_ptr> expression;
};

}  // namespace qd::sql_executor
