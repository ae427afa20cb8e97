// GROUP BY and the aggregate functions.
#pragma once

#include "sql_executor/aggregation_ops.h"
#include "sql_executor/node.h"

namespace qd::sql_executor {

// Produces one row per group of the child's rows: the result of each aggregate, in order, then the
// group's key, one value per grouping expression.
//
// Two rows are of one group when their keys are equal position by position as `value` compares
// them: kinds are never unified (1 and 1.0 are two groups), NULL equals NULL, both zeros are equal,
// references go by their oid, and a NaN makes every row a group of its own. The groups' order is
// unspecified.
//
// Without grouping expressions all rows are one group, which is there even when there is no row.
//
// The first `next` reads the whole child. Per row, with that row bound, the grouping expressions
// are evaluated once, in order, then the arguments of the aggregates, in order. Memory: the keys
// and the aggregates' states, no rows. Raises what the aggregates do.
class aggregator : public node {
 public:
  aggregator(std::unique_ptr<node>&& child, std::vector<operators::operator_ptr>&& group_by,
             std::vector<aggregate_variant>&& aggregates);

  // Enumerates the child at once.
  std::unique_ptr<enumerator> enumerate(evaluation_context& context) override;

 private:
  std::unique_ptr<node> child;
  std::vector<operators::operator_ptr> group_by;  // In key order.
  std::vector<aggregate_variant> aggregates;      // In output order.
};

}  // namespace qd::sql_executor
