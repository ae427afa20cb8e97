#include "sql_executor/operators/cast.h"

#include "sql_executor/exec_utils.h"

namespace qd::sql_executor::operators {

namespace {

// Names the alternative that stands for a column kind.
template <value_type Type>
struct alternative_of;
template <>
struct alternative_of<value_type::unsigned_integer> : std::type_identity<unsigned long> {};
template <>
struct alternative_of<value_type::signed_integer> : std::type_identity<long> {};
template <>
struct alternative_of<value_type::decimal> : std::type_identity<operator_library::Decimal> {};
template <>
struct alternative_of<value_type::single_float> : std::type_identity<float> {};
template <>
struct alternative_of<value_type::double_float> : std::type_identity<double> {};
template <>
struct alternative_of<value_type::string> : std::type_identity<db_string::dt_string> {};
template <>
struct alternative_of<value_type::set_specifier>
    : std::type_identity<operator_library::SetSpecifier> {};
template <>
struct alternative_of<value_type::boolean> : std::type_identity<bool> {};

}  // namespace

template <value_type Target>
value cast<Target>::eval(evaluation_context const& context) const {
  return utils::converter<typename alternative_of<Target>::type>()(child.eval(context));
}

template class cast<value_type::unsigned_integer>;
template class cast<value_type::signed_integer>;
template class cast<value_type::decimal>;
template class cast<value_type::single_float>;
template class cast<value_type::double_float>;
template class cast<value_type::string>;
template class cast<value_type::set_specifier>;
template class cast<value_type::boolean>;

}  // namespace qd::sql_executor::operators
