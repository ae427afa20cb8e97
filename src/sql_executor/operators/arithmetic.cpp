#include "sql_executor/operators/arithmetic.h"

#include <limits>

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"

namespace qd::sql_executor::operators {

using db_util::db_exception;
using operator_library::Decimal;
using operator_library::NullValue;

template <typename Operation>
value arithmetic_operator<Operation>::eval(evaluation_context const& context) const {
  // Left first: its errors win.
  value left_scratch;
  value const& left_value = left.read(context, left_scratch);
  value right_scratch;
  value const& right_value = right.read(context, right_scratch);
  // Numbers of one kind, the common case, are neither copied nor unified.
  if (left_value.index() == right_value.index()) {
    switch (left_value.index()) {
      case detail::index_of<long>:
        return Operation::apply(left_value.content<long>(), right_value.content<long>());
      case detail::index_of<Decimal>:
        return Operation::apply(left_value.content<Decimal>(), right_value.content<Decimal>());
      case detail::index_of<double>:
        return Operation::apply(left_value.content<double>(), right_value.content<double>());
      default:
        break;
    }
  }
  return utils::unify_and_apply<Operation>(left_value, right_value);
}

template class arithmetic_operator<utils::sum_of>;
template class arithmetic_operator<utils::difference_of>;
template class arithmetic_operator<utils::product_of>;
template class arithmetic_operator<utils::quotient_of>;

namespace {

struct negation {
  value operator()(NullValue) const { return NullValue{}; }
  value operator()(long number) const {
    if (number == std::numeric_limits<long>::min()) raise_out_of_range();
    return -number;
  }
  value operator()(unsigned long number) const {
    // -2^63 would fit, but 2^63 itself is refused like every greater number.
    if (number > static_cast<unsigned long>(std::numeric_limits<long>::max())) raise_out_of_range();
    return -static_cast<long>(number);
  }
  value operator()(Decimal number) const {
    // No Decimal is that far out, but a caller's parameter may be.
    if (number.scaled == std::numeric_limits<long>::min()) raise_out_of_range();
    return Decimal{-number.scaled};
  }
  // Flip the sign bit, of zero and NaN too.
  value operator()(double number) const { return -number; }
  value operator()(float number) const { return -number; }
  // bool, strings, binaries, references and set specifiers have no arithmetic.
  template <typename Other>
  value operator()(Other const&) const {
    db_exception::raise(error_handling::wrong_operand_kind);
  }

 private:
  [[noreturn]] static void raise_out_of_range() {
    db_exception::raise(error_handling::out_of_range);
  }
};

}  // namespace

value unary_negate::eval(evaluation_context const& context) const {
  value scratch;
  return visit(negation{}, child.read(context, scratch));
}

}  // namespace qd::sql_executor::operators
