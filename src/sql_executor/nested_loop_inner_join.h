// The inner join.
#pragma once

#include "sql_executor/node.h"

namespace qd::sql_executor {

// Produces, for every left row, the left row followed by each row that the right side yields while
// that left row is bound. There is no condition: a right row is a match because the right side
// yielded it.
//
// Order: left rows in the left input's order, their matches in the right input's. Buffers one left
// row. The right side is enumerated once per left row and sees its values behind those of the
// enclosing nodes. No errors of its own.
class nested_loop_inner_join : public node {
 public:
  nested_loop_inner_join(std::unique_ptr<node>&& left, std::unique_ptr<node>&& right);

  // Enumerates the left side at once, the right side with each left row.
  std::unique_ptr<enumerator> enumerate(evaluation_context& context) override;

 private:
  std::unique_ptr<node> left;
  std::unique_ptr<node> right;
};

}  // namespace qd::sql_executor
