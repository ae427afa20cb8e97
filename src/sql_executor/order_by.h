// ORDER BY.
#pragma once

#include <utility>
#include <vector>

#include "sql_executor/node.h"
#include "sql_executor/operators/operator_base.h"

namespace qd::sql_executor {

// Produces the child's rows, unchanged, in the order of their keys, most significant key first;
// each key goes up or, with its flag false, down. NULL is below everything else. Rows with equal
// keys come in no particular order.
//
// `enumerate` does it all: it reads the whole child, evaluates every key once per row, with that
// row bound, and sorts. Memory: the rows and their encoded keys; where a key holds a NaN or several
// kinds, its decoded keys too. Raises db_exception 7041 where a NaN meets another number in a
// comparison, and std::logic_error "incompatible types" where two kinds do.
class order_by : public node {
 public:
  // One flag per key, else std::invalid_argument.
  order_by(std::unique_ptr<node>&& child, std::vector<operators::operator_ptr>&& keys,
           std::vector<bool>&& ascending);

  std::unique_ptr<enumerator> enumerate(evaluation_context& context) override;

 private:
  std::unique_ptr<node> child;
  std::vector<operators::operator_ptr> keys;
  std::vector<bool> ascending;
};

// Sorts pairs of a key row and a row by their keys, which may hold NaN and several kinds, with
// utils::three_way_key_comparator; not stable. Raises what the comparator does.
void sort(std::vector<std::pair<std::vector<value>, std::vector<value>>>& rows,
          std::vector<bool> const& ascending, unsigned long kernel_context);

}  // namespace qd::sql_executor
