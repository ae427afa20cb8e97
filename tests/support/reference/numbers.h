// What the numeric kinds have in common: exact values.
#pragma once

#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>
#include <type_traits>

#include "support/reference/value.h"

namespace reference::numbers {

using boost::multiprecision::cpp_int;

// An exact number; the denominator is positive.
struct rational {
  cpp_int numerator;
  cpp_int denominator = 1;

  friend bool operator<(rational const& left, rational const& right) {
    return left.numerator * right.denominator < right.numerator * left.denominator;
  }
  // The greatest whole number that is not above this one.
  cpp_int floor() const {
    cpp_int const towards_zero = numerator / denominator;
    return towards_zero * denominator > numerator ? cpp_int(towards_zero - 1) : towards_zero;
  }
};

inline constexpr long scale = 1'000'000;
inline constexpr long max_decimal = 4'398'046'511'103'999'999;
inline constexpr long max_integer_of_decimal = 4'398'046'511'103;

template <typename T>
inline constexpr bool is_floating = std::is_same_v<T, double> || std::is_same_v<T, float>;
template <typename T>
inline constexpr bool is_integer =
    std::is_same_v<T, bool> || std::is_same_v<T, unsigned long> || std::is_same_v<T, long>;
template <typename T>
inline constexpr bool is_number = is_floating<T> || is_integer<T> || std::is_same_v<T, decimal>;

// An exact number of millionths.
template <typename T>
wide_integer millionths(T const& number) {
  if constexpr (std::is_same_v<T, decimal>) {
    return number.scaled;
  } else {
    return static_cast<wide_integer>(number) * scale;
  }
}

template <typename T>
rational exact(T const& number) {
  if constexpr (std::is_same_v<T, decimal>) {
    return {number.scaled, scale};
  } else if constexpr (is_floating<T>) {
    // Any finite double is a whole number of 2^-1074.
    int exponent = 0;
    double const fraction = std::frexp(static_cast<double>(number), &exponent);
    cpp_int const mantissa = static_cast<long>(std::ldexp(fraction, 53));
    return exponent >= 53 ? rational{mantissa << (exponent - 53)}
                          : rational{mantissa, cpp_int(1) << (53 - exponent)};
  } else {
    return {static_cast<cpp_int>(number)};
  }
}

}  // namespace reference::numbers
