// The left outer join.
#pragma once

#include "sql_executor/node.h"

namespace qd::sql_executor {

// Produces what the inner join does and, in its place among them, each left row for which the right
// side yielded nothing, followed by `right_width` NULLs.
//
// Order, buffering and evaluation are the inner join's.
class left_join : public node {
 public:
  left_join(std::unique_ptr<node>&& left, std::unique_ptr<node>&& right, unsigned long right_width);

  // Enumerates the left side at once, the right side with each left row.
  std::unique_ptr<enumerator> enumerate(evaluation_context& context) override;

 private:
  std::unique_ptr<node> left;
  std::unique_ptr<node> right;
  unsigned long right_width;  // Columns of a right row.
};

}  // namespace qd::sql_executor
