// Exact placement of a number of one kind among the numbers of another kind.
//
// Every number stands for an exact rational: a bool is 0 or 1, a Decimal is `scaled` / 1,000,000, a
// float or a double is the binary value it holds. No operand is ever rounded to the other's kind;
// instead the two neighbours of the one among the numbers of the other are found, in integers.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include "db_util/int128.h"
#include "db_util/meta_support.h"
#include "db_util/value_kinds.h"

namespace qd::sql_executor::utils {

// How a left operand stands to a right one. The values are bits, so that a relation is the set of
// the orderings it accepts.
enum class ordering : unsigned {
  less = 1,
  equal = 2,
  greater = 4,
  unordered = 8,  // A NaN on the right, or two operands of one floating kind: not_equal holds.
  left_nan = 16,  // A NaN on the left of an operand of another kind: no relation holds.
};

// Where a number v of any kind lies among the numbers of kind T (unsigned long, long, Decimal,
// double or float). v is a number of T exactly when `ceil` equals `floor`; else it lies strictly
// between them and no number of T does.
template <typename T>
struct Comparison {
  bool nan = false;    // v is a NaN; the other fields mean nothing.
  bool below = false;  // v is less than every finite number of T.
  bool above = false;  // v is greater than every finite number of T.
  // The least number of T that is >= v; T's greatest where there is none. Among the numbers of
  // double and float are the infinities.
  T ceil{};
  // The greatest number of T that is <= v; T's least where there is none.
  T floor{};
};

namespace Detail {

inline long key(operator_library::Decimal number) {
  return number.scaled;
}
template <typename T>
requires std::is_arithmetic_v<T> T key(T number) {
  return number;
}

template <typename T>
ordering order_numbers(T left, T right) {
  if (left < right) return ordering::less;
  if (left == right) return ordering::equal;
  return right < left ? ordering::greater : ordering::unordered;
}

// The ordering of v, which `place` describes, and x. Here, and for two numbers of one kind in
// order_numbers, stands all that NaN means for the relations.
template <typename T>
ordering relate(Comparison<T> const& place, T const& x) {
  if (place.nan) return ordering::left_nan;
  if constexpr (std::is_floating_point_v<T>) {
    // `below` and `above` need no look: an infinite x lies among the neighbours like any other.
    if (x != x) return ordering::unordered;
  } else {
    if (place.below) return ordering::less;
    if (place.above) return ordering::greater;
  }
  if (key(place.ceil) == key(place.floor)) return order_numbers(key(place.floor), key(x));
  return key(x) >= key(place.ceil) ? ordering::less : ordering::greater;
}

// The nearest double but for two roundings, 2^-52 of the number in all.
template <typename T>
double approximate(T number) {
  return static_cast<double>(number);
}
inline double approximate(operator_library::Decimal number) {
  return static_cast<double>(number.scaled) / static_cast<double>(operator_library::Decimal::scale);
}

// Whether the distance of a floating number and an approximated one tells their order beyond doubt:
// it does for nearly all pairs, but not for near ones, infinities and NaN. The approximation's
// error is less than half of the bound here, or, when its number is more than twice the floating
// one, less than half of the distance.
inline bool is_clear(double distance, double floating) {
  return std::abs(distance) > 0x1p-50 * std::abs(floating);
}

template <typename T>
Comparison<T> exactly(T number) {
  return {false, false, false, number, number};
}
template <typename T>
Comparison<T> below_all() {
  T const least = std::numeric_limits<T>::min();
  return {false, true, false, least, least};
}
template <typename T>
Comparison<T> above_all() {
  T const greatest = std::numeric_limits<T>::max();
  return {false, false, true, greatest, greatest};
}

// The adjacent floating number above or below one that is finite.
template <typename F>
F neighbour(F number, bool upwards) {
  using bits = std::conditional_t<sizeof(F) == sizeof(std::uint64_t), std::uint64_t, std::uint32_t>;
  if (number == 0) {
    F const smallest = std::numeric_limits<F>::denorm_min();
    return upwards ? smallest : -smallest;
  }
  bits const pattern = std::bit_cast<bits>(number);
  // The patterns of one sign are ordered by magnitude, and infinity follows the greatest finite
  // one.
  return std::bit_cast<F>(upwards == (number > 0) ? pattern + 1 : pattern - 1);
}

// Among the integers of kind I.
template <typename I, typename F>
Comparison<I> FloatToInt(F number) {
  constexpr double least = static_cast<double>(std::numeric_limits<I>::min());
  constexpr double past_greatest = std::is_signed_v<I> ? 0x1p63 : 0x1p64;
  double const wide = number;
  if (wide != wide) return {.nan = true};
  if (wide < least) return below_all<I>();
  if (wide >= past_greatest) return above_all<I>();
  I const truncated = static_cast<I>(wide);
  // Exact: a number with a fraction is below 2^53, one without is `wide` itself.
  double const back = static_cast<double>(truncated);
  return {.ceil = back < wide ? truncated + 1 : truncated,
          .floor = back > wide ? truncated - 1 : truncated};
}

// The adjacent floating numbers around an integer, equal when the integer is one of them.
template <typename F, typename I>
std::pair<F, F> IntToFloatRange(I number) {
  if constexpr (std::is_same_v<I, bool>) {
    return {static_cast<F>(number), static_cast<F>(number)};
  } else {
    F const nearest = static_cast<F>(number);
    switch (relate(FloatToInt<I>(nearest), number)) {
      case ordering::less:
        return {nearest, neighbour(nearest, true)};
      case ordering::greater:
        return {neighbour(nearest, false), nearest};
      default:
        return {nearest, nearest};
    }
  }
}

// Among the Decimals.
template <typename F>
requires std::is_floating_point_v<F> Comparison<operator_library::Decimal> CompareImpl(
    meta_support::TypeIdentity<operator_library::Decimal>, F number) {
  using operator_library::Decimal;
  constexpr long greatest = Decimal::max_scaled;
  double const wide = number;
  if (wide != wide) return {.nan = true};
  if (wide >= 0x1p42) return {.above = true, .ceil = {greatest}, .floor = {greatest}};
  if (wide <= -0x1p42) return {.below = true, .ceil = {-greatest}, .floor = {-greatest}};
  // |wide| = mantissa / 2^shift with 11 <= shift <= 1074; the product below has at most 73 bits.
  std::uint64_t const pattern = std::bit_cast<std::uint64_t>(wide);
  unsigned const biased_exponent = static_cast<unsigned>(pattern >> 52 & 0x7FF);
  std::uint64_t const fraction = pattern & 0xF'FFFF'FFFF'FFFF;
  std::uint64_t const mantissa = biased_exponent == 0 ? fraction : fraction | 1UL << 52;
  unsigned const shift = 1075 - (biased_exponent == 0 ? 1 : biased_exponent);
  db_util::uint128 const millionths = static_cast<db_util::uint128>(mantissa) * Decimal::scale;
  long whole = 0;
  long next = millionths != 0;
  if (shift < 128) {
    whole = static_cast<long>(millionths >> shift);
    next = whole + ((static_cast<db_util::uint128>(whole) << shift) != millionths);
  }
  // Both are Decimals: the greatest double below 2^42 lies far enough below it.
  if (wide > 0) return {.ceil = {next}, .floor = {whole}};
  return {.ceil = {-whole}, .floor = {-next}};
}

// Among the floating numbers of kind F.
template <typename F>
Comparison<F> DecToFloatRange(operator_library::Decimal number) {
  // The integer part is exact in a double and the fraction nearly so: the sum, also narrowed to
  // float, is less than one step away from `number`, which its one neighbour therefore encloses.
  double const whole = static_cast<double>(number.scaled / operator_library::Decimal::scale);
  double const millionths = static_cast<double>(number.scaled % operator_library::Decimal::scale);
  F const near = static_cast<F>(whole + millionths / 1e6);
  switch (
      relate(CompareImpl(meta_support::TypeIdentity<operator_library::Decimal>{}, near), number)) {
    case ordering::less:
      return {.ceil = neighbour(near, true), .floor = near};
    case ordering::greater:
      return {.ceil = near, .floor = neighbour(near, false)};
    default:
      return exactly(near);
  }
}

inline Comparison<float> CompareImpl(meta_support::TypeIdentity<float>, double number) {
  constexpr double greatest = std::numeric_limits<float>::max();
  constexpr float infinity = std::numeric_limits<float>::infinity();
  if (number != number) return {.nan = true};
  if (number > greatest) {
    bool const infinite = number > std::numeric_limits<double>::max();
    return {.above = true,
            .ceil = infinity,
            .floor = infinite ? infinity : std::numeric_limits<float>::max()};
  }
  if (number < -greatest) {
    bool const infinite = number < -std::numeric_limits<double>::max();
    return {.below = true,
            .ceil = infinite ? -infinity : -std::numeric_limits<float>::max(),
            .floor = -infinity};
  }
  float const nearest = static_cast<float>(number);
  if (nearest < number) return {.ceil = neighbour(nearest, true), .floor = nearest};
  if (nearest > number) return {.ceil = nearest, .floor = neighbour(nearest, false)};
  return exactly(nearest);
}

inline Comparison<double> CompareImpl(meta_support::TypeIdentity<double>, float number) {
  if (number != number) return {.nan = true};
  constexpr float greatest = std::numeric_limits<float>::max();
  // Only an infinity lies outside the finite doubles.
  return {.below = number<-greatest, .above = number> greatest, .ceil = number, .floor = number};
}

template <typename F, typename I>
requires(std::is_floating_point_v<F>&& std::is_integral_v<I>)
    Comparison<F> CompareImpl(meta_support::TypeIdentity<F>, I number) {
  std::pair<F, F> const range = IntToFloatRange<F>(number);
  return {.ceil = range.second, .floor = range.first};
}

template <typename F>
requires std::is_floating_point_v<F> Comparison<F> CompareImpl(meta_support::TypeIdentity<F>,
                                                               operator_library::Decimal number) {
  return DecToFloatRange<F>(number);
}

template <typename I, typename F>
requires(std::is_integral_v<I>&& std::is_floating_point_v<F>)
    Comparison<I> CompareImpl(meta_support::TypeIdentity<I>, F number) {
  return FloatToInt<I>(number);
}

template <typename I, typename J>
requires(std::is_integral_v<I>&& std::is_integral_v<J>)
    Comparison<I> CompareImpl(meta_support::TypeIdentity<I>, J number) {
  if constexpr (!std::is_same_v<J, bool>) {
    if (std::cmp_less(number, std::numeric_limits<I>::min())) return below_all<I>();
    if (std::cmp_greater(number, std::numeric_limits<I>::max())) return above_all<I>();
  }
  return exactly(static_cast<I>(number));
}

template <typename I>
requires std::is_integral_v<I> Comparison<I> CompareImpl(meta_support::TypeIdentity<I>,
                                                         operator_library::Decimal number) {
  long const truncated = number.scaled / operator_library::Decimal::scale;
  long const rest = number.scaled % operator_library::Decimal::scale;
  if constexpr (std::is_unsigned_v<I>) {
    if (number.scaled < 0) return below_all<I>();
  }
  return {.ceil = static_cast<I>(truncated + (rest > 0)),
          .floor = static_cast<I>(truncated - (rest < 0))};
}

template <typename I>
requires std::is_integral_v<I> Comparison<operator_library::Decimal> CompareImpl(
    meta_support::TypeIdentity<operator_library::Decimal>, I number) {
  using operator_library::Decimal;
  if constexpr (std::is_signed_v<I>) {
    if (number < -Decimal::max_integer) {
      return {.below = true, .ceil = {-Decimal::max_scaled}, .floor = {-Decimal::max_scaled}};
    }
  }
  if constexpr (!std::is_same_v<I, bool>) {
    if (std::cmp_greater(number, Decimal::max_integer)) {
      return {.above = true, .ceil = {Decimal::max_scaled}, .floor = {Decimal::max_scaled}};
    }
  }
  return exactly(Decimal{static_cast<long>(number) * Decimal::scale});
}

template <typename T>
requires(!std::is_floating_point_v<T>) Comparison<T> CompareImpl(meta_support::TypeIdentity<T>,
                                                                 T number) {
  return exactly(number);
}

}  // namespace Detail

// Whether the number that `place` describes is less than x.
template <typename F>
requires std::is_floating_point_v<F>
bool operator<(Comparison<F> const& place, F const& x) {
  return Detail::relate(place, x) == ordering::less;
}

}  // namespace qd::sql_executor::utils
