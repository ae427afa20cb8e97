#include "sql_executor/operators/arithmetic_functions.h"

#include <cstdint>
#include <limits>
#include <type_traits>

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"
#include "sql_executor/exec_utils.h"

namespace qd::sql_executor::utils {

using db_util::db_exception;
using db_util::int128;
using db_util::uint128;
using operator_library::Decimal;
using operator_library::NullValue;

namespace {

[[noreturn]] void raise_out_of_range() {
  db_exception::raise(error_handling::out_of_range);
}

bool is_decimal(long scaled) {
  return scaled >= -Decimal::max_scaled && scaled <= Decimal::max_scaled;
}

Decimal checked_decimal(bool overflow, long scaled) {
  if (overflow || !is_decimal(scaled)) raise_out_of_range();
  return {scaled};
}

long checked_integer(bool overflow, long result) {
  if (overflow) raise_out_of_range();
  return result;
}

uint128 magnitude_of(int128 number) {
  return number < 0 ? -static_cast<uint128>(number) : static_cast<uint128>(number);
}

// Inlined where the denominator is a constant, so that the usual 64-bit case divides by
// multiplying.
inline long round_to_decimal(int128 numerator, int128 denominator) {
  uint128 const dividend = magnitude_of(numerator);
  std::uint64_t const divider = static_cast<std::uint64_t>(magnitude_of(denominator));
  if (dividend > static_cast<uint128>(divider) * Decimal::max_scaled || divider == 0) {
    raise_out_of_range();
  }
  std::uint64_t whole;
  std::uint64_t rest;
  if (dividend <= std::numeric_limits<std::uint64_t>::max()) {
    whole = static_cast<std::uint64_t>(dividend) / divider;
    rest = static_cast<std::uint64_t>(dividend) % divider;
  } else {
    whole = static_cast<std::uint64_t>(dividend / divider);
    rest = static_cast<std::uint64_t>(dividend - static_cast<uint128>(whole) * divider);
  }
  if (rest >= divider - rest) ++whole;
  long const rounded = static_cast<long>(whole);
  return (numerator < 0) != (denominator < 0) ? -rounded : rounded;
}

template <typename T>
inline constexpr bool has_arithmetic =
    std::is_same_v<T, long> || std::is_same_v<T, Decimal> || std::is_floating_point_v<T>;

}  // namespace

long round_multip_to_dec(int128 numerator, int128 denominator) {
  return round_to_decimal(numerator, denominator);
}

long sum_of::apply(long left, long right) {
  long result;
  bool const overflow = __builtin_add_overflow(left, right, &result);
  return checked_integer(overflow, result);
}

Decimal sum_of::apply(Decimal left, Decimal right) {
  long result;
  bool const overflow = __builtin_add_overflow(left.scaled, right.scaled, &result);
  return checked_decimal(overflow, result);
}

long difference_of::apply(long left, long right) {
  long result;
  bool const overflow = __builtin_sub_overflow(left, right, &result);
  return checked_integer(overflow, result);
}

Decimal difference_of::apply(Decimal left, Decimal right) {
  long result;
  bool const overflow = __builtin_sub_overflow(left.scaled, right.scaled, &result);
  return checked_decimal(overflow, result);
}

long product_of::apply(long left, long right) {
  long result;
  bool const overflow = __builtin_mul_overflow(left, right, &result);
  return checked_integer(overflow, result);
}

Decimal product_of::apply(Decimal left, Decimal right) {
  int128 const product = static_cast<int128>(left.scaled) * right.scaled;
  return {round_to_decimal(product, Decimal::scale)};
}

long quotient_of::apply(long left, long right) {
  if (right == 0) raise_out_of_range();
  if (right == -1 && left == std::numeric_limits<long>::min()) raise_out_of_range();
  return left / right;
}

Decimal quotient_of::apply(Decimal left, Decimal right) {
  if (!is_decimal(left.scaled) || !is_decimal(right.scaled)) raise_out_of_range();
  return {round_to_decimal(static_cast<int128>(left.scaled) * Decimal::scale, right.scaled)};
}

template <typename Operation>
value arithmetic_function<Operation>::operator()(value const& left) const {
  return visit(
      [this]<typename T>(T const& content) -> value {
        if constexpr (has_arithmetic<T>) {
          return Operation::apply(content, get<T>(right));
        } else if constexpr (std::is_same_v<T, NullValue>) {
          return NullValue{};
        } else {
          db_exception::raise(error_handling::wrong_operand_kind);
        }
      },
      left);
}

template class arithmetic_function<sum_of>;
template class arithmetic_function<difference_of>;
template class arithmetic_function<product_of>;
template class arithmetic_function<quotient_of>;

template <typename Operation>
value unify_and_apply(value const& left, value const& right) {
  auto [unified_left, unified_right] = unify_numeric_types()(left, right);
  return arithmetic_function<Operation>(std::move(unified_right))(unified_left);
}

template value unify_and_apply<sum_of>(value const& left, value const& right);
template value unify_and_apply<difference_of>(value const& left, value const& right);
template value unify_and_apply<product_of>(value const& left, value const& right);
template value unify_and_apply<quotient_of>(value const& left, value const& right);

}  // namespace qd::sql_executor::utils
