// Rows of computed values, one per row of a child.
#pragma once

#include <vector>

#include "sql_executor/node.h"
#include "sql_executor/operators/operator_base.h"

namespace qd::sql_executor {

// Produces one row per child row, in the child's order: the values of the expressions, in list
// order.
//
// Buffers nothing. Each expression is evaluated once per child row, with that row bound behind the
// rows of the enclosing nodes. No errors of its own.
class projection : public node {
 public:
  projection(std::unique_ptr<node>&& child, std::vector<operators::operator_ptr>&& expressions);

  // Enumerates the child at once.
  std::unique_ptr<enumerator> enumerate(evaluation_context& context) override;

 private:
  std::unique_ptr<node> child;
  std::vector<operators::operator_ptr> expressions;  // One per output column.
};

}  // namespace qd::sql_executor
