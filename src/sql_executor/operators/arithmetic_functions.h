// Checked arithmetic on values: sum, difference, product, quotient.
#pragma once

#include <utility>

#include "db_util/int128.h"
#include "sql_executor/value.h"

namespace qd::sql_executor::utils {

// Rounds the exact number of millionths numerator / denominator to a Decimal's `scaled`, halves
// away from zero. Raises 7041 for a denominator of 0 and for a quotient outside the Decimals: it is
// tested as it is, before rounding. Requires |denominator| < 2^64.
long round_multip_to_dec(db_util::int128 numerator, db_util::int128 denominator);

// The four operations, on two operands of one kind. Signed and Decimal results are exact, Decimal
// products and quotients rounded to six places; a result outside the kind raises 7041, and so does
// division by zero and of the least signed number by -1. Signed quotients are truncated. double and
// float follow IEEE 754 in their own precision and raise nothing.
struct sum_of {
  static long apply(long left, long right);
  static operator_library::Decimal apply(operator_library::Decimal left,
                                         operator_library::Decimal right);
  static double apply(double left, double right) { return left + right; }
  static float apply(float left, float right) { return left + right; }
};

struct difference_of {
  static long apply(long left, long right);
  static operator_library::Decimal apply(operator_library::Decimal left,
                                         operator_library::Decimal right);
  static double apply(double left, double right) { return left - right; }
  static float apply(float left, float right) { return left - right; }
};

struct product_of {
  static long apply(long left, long right);
  static operator_library::Decimal apply(operator_library::Decimal left,
                                         operator_library::Decimal right);
  static double apply(double left, double right) { return left * right; }
  static float apply(float left, float right) { return left * right; }
};

struct quotient_of {
  static long apply(long left, long right);
  static operator_library::Decimal apply(operator_library::Decimal left,
                                         operator_library::Decimal right);
  static double apply(double left, double right) { return left / right; }
  static float apply(float left, float right) { return left / right; }
};

// An operation with its right operand, to be applied to the left one. Both were unified
// (unify_numeric_types), so they are of one kind; if not, reading the right one raises
// bad_value_access. NULL gives NULL; kinds other than signed, Decimal, double and float raise 7020.
template <typename Operation>
class arithmetic_function {
 public:
  explicit arithmetic_function(value right_operand) : right(std::move(right_operand)) {}
  value operator()(value const& left) const;

 private:
  value right;
};

using adder = arithmetic_function<sum_of>;
using subtractor = arithmetic_function<difference_of>;
using multiplier = arithmetic_function<product_of>;
using divisor = arithmetic_function<quotient_of>;

extern template class arithmetic_function<sum_of>;
extern template class arithmetic_function<difference_of>;
extern template class arithmetic_function<product_of>;
extern template class arithmetic_function<quotient_of>;

// The operation on two values of any kinds: unifies them and applies it.
template <typename Operation>
value unify_and_apply(value const& left, value const& right);

extern template value unify_and_apply<sum_of>(value const& left, value const& right);
extern template value unify_and_apply<difference_of>(value const& left, value const& right);
extern template value unify_and_apply<product_of>(value const& left, value const& right);
extern template value unify_and_apply<quotient_of>(value const& left, value const& right);

}  // namespace qd::sql_executor::utils
