// A stretch of a child's rows.
#pragma once

#include "sql_executor/node.h"
#include "sql_executor/operators/operator_base.h"

namespace qd::sql_executor {

// Produces the child's rows from the `offset`-th on (counted from 0), at most `limit` of them.
//
//     child rows   0 1 2 3 4 5 6 7 8 9
//     offset 3           |
//     limit 4            [3 4 5 6]
//
// Both are evaluated once, in `enumerate`, limit first, before any row is read; `enumerate` also
// skips the offset's rows. The child is never asked for a row behind the limit. Buffers nothing.
// Throws from `enumerate` what get_as_uint does.
class limit_offset : public node {
 public:
  limit_offset(std::unique_ptr<node>&& child, operators::operator_ptr&& limit,
               operators::operator_ptr&& offset);

  std::unique_ptr<enumerator> enumerate(evaluation_context& context) override;

 private:
  std::unique_ptr<node> child;
  operators::operator_ptr limit;
  operators::operator_ptr offset;
};

// The value of an expression as a count of rows; fractions are cut off. Throws db_exception: 7041
// for a negative, too large, infinite or NaN value, 7020 for NULL and kinds that are no numbers,
// 1027 for a string.
unsigned long get_as_uint(operators::operator_ptr const& expression,
                          evaluation_context const& context);

}  // namespace qd::sql_executor
