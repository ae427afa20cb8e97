// The six relations of SQL.
#pragma once

#include "sql_executor/operators/comparison.h"
#include "sql_executor/operators/operand.h"

namespace qd::sql_executor::operators {

// Yields whether the relation holds between the operands; NULL when one of them is NULL. Numbers
// compare exactly across kinds (utils::compare). Both operands are always evaluated, the right one
// first. Throws db_exception 7020 for kinds that do not compare.
template <utils::relation Wanted>
class comparison_operator final : public binary_predicate {
 public:
  using binary_predicate::binary_predicate;

  std::optional<bool> test(evaluation_context const& context) const override;
};

extern template class comparison_operator<utils::relation::equal>;
extern template class comparison_operator<utils::relation::not_equal>;
extern template class comparison_operator<utils::relation::less_than>;
extern template class comparison_operator<utils::relation::greater_than>;
extern template class comparison_operator<utils::relation::less_than_or_equal>;
extern template class comparison_operator<utils::relation::greater_than_or_equal>;

using equal = comparison_operator<utils::relation::equal>;
using not_equal = comparison_operator<utils::relation::not_equal>;
using less_than = comparison_operator<utils::relation::less_than>;
using greater_than = comparison_operator<utils::relation::greater_than>;
using less_than_or_equal = comparison_operator<utils::relation::less_than_or_equal>;
using greater_than_or_equal = comparison_operator<utils::relation::greater_than_or_equal>;

}  // namespace qd::sql_executor::operators
