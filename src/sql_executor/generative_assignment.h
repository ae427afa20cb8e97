// One row of one value.
#pragma once

#include "sql_executor/node.h"
#include "sql_executor/operators/operator_base.h"

namespace qd::sql_executor {

// Produces exactly one row, the value of the expression, which is evaluated when the row is asked
// for.
class generative_assignment : public node {
 public:
  explicit generative_assignment(operators::operator_ptr&& expression);

  std::unique_ptr<enumerator> enumerate(evaluation_context& context) override;

 private:
  friend class generative_assignment_enumerator;

  operators::operator_ptr expression;
};

}  // namespace qd::sql_executor
