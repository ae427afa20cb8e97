// The rows of a child for which a predicate is true.
#pragma once

#include "sql_executor/node.h"
#include "sql_executor/operators/operator_base.h"

namespace qd::sql_executor {

// Produces the child's rows for which the predicate is true, unchanged and in the child's order.
//
// Buffers nothing. The predicate is evaluated once per child row, with that row bound behind the
// rows of the enclosing nodes. NULL rejects the row; a value that is neither bool nor NULL raises
// 7020: numbers and strings have no truth value.
class filter : public node {
 public:
  filter(std::unique_ptr<node>&& child, operators::operator_ptr&& predicate);

  // Enumerates the child at once.
  std::unique_ptr<enumerator> enumerate(evaluation_context& context) override;

 private:
  std::unique_ptr<node> child;
  operators::operator_ptr predicate;
};

}  // namespace qd::sql_executor
