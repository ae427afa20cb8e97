#include "sql_executor/operators/comparison_operators.h"

namespace qd::sql_executor::operators {

template <utils::relation Wanted>
std::optional<bool> comparison_operator<Wanted>::test(evaluation_context const& context) const {
  // Right first: its errors win.
  value right_scratch;
  value const& right_value = right.read(context, right_scratch);
  value left_scratch;
  value const& left_value = left.read(context, left_scratch);
  if (left_value.is_null() || right_value.is_null()) return std::nullopt;
  return utils::compare<Wanted>(left_value, right_value);
}

template class comparison_operator<utils::relation::equal>;
template class comparison_operator<utils::relation::not_equal>;
template class comparison_operator<utils::relation::less_than>;
template class comparison_operator<utils::relation::greater_than>;
template class comparison_operator<utils::relation::less_than_or_equal>;
template class comparison_operator<utils::relation::greater_than_or_equal>;

}  // namespace qd::sql_executor::operators
