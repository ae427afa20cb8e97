// Explicit conversions.
#pragma once

#include "sql_executor/operators/operand.h"

namespace qd::sql_executor::operators {

// Yields the operand converted to the alternative of a column kind; NULL stays NULL. There are
// casts to all kinds but binary and object_reference. Throws db_exception as utils::converter does;
// a cast to set_specifier takes a string, which names a class, and throws as utils::GetDbType does.
template <value_type Target>
class cast final : public unary_operator {
 public:
  using unary_operator::unary_operator;
  value eval(evaluation_context const& context) const override;
};

extern template class cast<value_type::unsigned_integer>;
extern template class cast<value_type::signed_integer>;
extern template class cast<value_type::decimal>;
extern template class cast<value_type::single_float>;
extern template class cast<value_type::double_float>;
extern template class cast<value_type::string>;
extern template class cast<value_type::set_specifier>;
extern template class cast<value_type::boolean>;

}  // namespace qd::sql_executor::operators
