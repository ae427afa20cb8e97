// What the exact numbers say, computed with Boost's multiprecision types and sharing nothing with
// the engine's own integer arithmetic.
#pragma once

#include <boost/multiprecision/cpp_bin_float.hpp>
#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>

#include "sql_executor/value.h"

namespace qd::tests {

// Holds every number of every kind, times a million, exactly: 64-bit integers need 84 bits, doubles
// 73.
using binary128 = boost::multiprecision::number<
    boost::multiprecision::cpp_bin_float<113, boost::multiprecision::digit_base_2, void, short,
                                         -16382, 16383>,
    boost::multiprecision::et_off>;
using rational = boost::multiprecision::cpp_rational;
using integer = boost::multiprecision::cpp_int;

template <typename T>
bool is_nan(T number) {
  if constexpr (std::is_floating_point_v<T>) return std::isnan(number);
  return false;
}

// The number in millionths.
template <typename T>
binary128 millionths(T number) {
  return binary128(number) * 1'000'000;
}
inline binary128 millionths(bool number) {
  return binary128(number ? 1'000'000 : 0);
}
inline binary128 millionths(operator_library::Decimal number) {
  return binary128(number.scaled);
}

// The number, which is finite.
template <typename T>
rational exact(T number) {
  return rational(number);
}
inline rational exact(bool number) {
  return rational(number ? 1 : 0);
}
inline rational exact(float number) {
  return rational(static_cast<double>(number));
}
inline rational exact(operator_library::Decimal number) {
  return rational(number.scaled) / 1'000'000;
}

// Calls `visitor` with the content of a number.
template <typename Visitor>
void visit_number(Visitor&& visitor, sql_executor::value const& number) {
  visit(
      [&visitor]<typename T>(T const& content) {
        if constexpr (std::is_arithmetic_v<T> || std::is_same_v<T, operator_library::Decimal>) {
          visitor(content);
        } else {
          throw std::logic_error("not a number");
        }
      },
      number);
}

}  // namespace qd::tests
