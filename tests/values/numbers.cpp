#include "values/numbers.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace qd::tests {

using operator_library::Decimal;
using sql_executor::value;

namespace {

value make_decimal(long scaled) {
  return Decimal{std::clamp(scaled, -Decimal::max_scaled, Decimal::max_scaled)};
}

template <typename F>
void add_floating_boundaries(std::vector<value>& numbers) {
  using limits = std::numeric_limits<F>;
  std::vector<F> centres = {0.1, 0.5, 1e-6, 5e-7, 2.5, 1.0000005, 4398046511103.999999, 1e19, 1e30};
  for (int exponent :
       {-30, 0, 1, 23, 24, 25, 31, 32, 41, 42, 43, 52, 53, 54, 62, 63, 64, 65, 100}) {
    centres.push_back(std::ldexp(F(1), exponent));
  }
  for (F extreme : {limits::denorm_min(), limits::min(), limits::max(), limits::infinity()}) {
    centres.push_back(extreme);
  }
  for (F centre : centres) {
    for (F number : {std::nextafter(centre, F(0)), centre, std::nextafter(centre, limits::max())}) {
      numbers.push_back(number);
      numbers.push_back(-number);
    }
  }
  numbers.push_back(F(0));
  numbers.push_back(-F(0));
  numbers.push_back(limits::quiet_NaN());
}

// Any bit pattern, or an exponent from the range where the kinds meet.
template <typename F>
F random_floating(std::uint64_t bits) {
  if ((bits & 1) != 0) {
    using pattern = std::conditional_t<sizeof(F) == 8, std::uint64_t, std::uint32_t>;
    return std::bit_cast<F>(static_cast<pattern>(bits >> 1));
  }
  int const exponent = static_cast<int>(bits >> 1 & 127) - 90;
  return std::ldexp(static_cast<F>(static_cast<std::int64_t>(bits) >> 8), exponent + 8);
}

long double approximate(value const& number) {
  return visit(
      []<typename T>(T const& content) -> long double {
        if constexpr (std::is_arithmetic_v<T>) {
          return content;
        } else if constexpr (std::is_same_v<T, Decimal>) {
          return static_cast<long double>(content.scaled) / 1e6L;
        } else {
          return 0;
        }
      },
      number);
}

template <typename I>
I clamp_to(long double number) {
  if (!(number > static_cast<long double>(std::numeric_limits<I>::min()))) {
    return std::numeric_limits<I>::min();
  }
  if (number >= static_cast<long double>(std::numeric_limits<I>::max())) {
    return std::numeric_limits<I>::max();
  }
  return static_cast<I>(number);
}

template <typename F>
F step(F number, int steps) {
  F const direction =
      steps < 0 ? -std::numeric_limits<F>::infinity() : std::numeric_limits<F>::infinity();
  for (int i = std::abs(steps); i > 0; --i) number = std::nextafter(number, direction);
  return number;
}

}  // namespace

std::vector<value> boundary_numbers(unsigned kind) {
  std::vector<value> numbers;
  switch (kind) {
    case 0:
      return {false, true};
    case 2:
      for (unsigned bit = 0; bit < 64; ++bit) {
        for (unsigned long delta : {-1UL, 0UL, 1UL}) numbers.push_back((1UL << bit) + delta);
      }
      for (unsigned long number : {0UL, 999'999UL, 4'398'046'511'103UL, 4'398'046'511'104UL, ~0UL,
                                   ~0UL - 1023, ~0UL - 1024, ~0UL - 2047}) {
        numbers.push_back(number);
      }
      return numbers;
    case 3:
      for (unsigned bit = 0; bit < 63; ++bit) {
        for (long delta : {-1L, 0L, 1L}) {
          long const number = (1L << bit) + delta;
          numbers.push_back(number);
          numbers.push_back(-number);
        }
      }
      for (long number : {std::numeric_limits<long>::min(), std::numeric_limits<long>::min() + 1,
                          std::numeric_limits<long>::max(), std::numeric_limits<long>::max() - 512,
                          4'398'046'511'103L, -4'398'046'511'103L, -4'398'046'511'104L}) {
        numbers.push_back(number);
      }
      return numbers;
    case 4:
      for (long centre : {0L, 100'000L, 500'000L, 1'000'000L, 2'000'000L, 2'500'000L, 1L << 24,
                          1L << 53, 1L << 54, 9'007'199'254'740'993'000L, Decimal::max_scaled,
                          Decimal::max_scaled / 1'000'000 * 1'000'000, 1'000'000L << 32}) {
        for (long delta : {-1L, 0L, 1L}) {
          numbers.push_back(make_decimal(centre + delta));
          numbers.push_back(make_decimal(-centre + delta));
        }
      }
      return numbers;
    case 5:
      add_floating_boundaries<double>(numbers);
      return numbers;
    default:
      add_floating_boundaries<float>(numbers);
      return numbers;
  }
}

value number_source::of_kind(unsigned kind) {
  std::uint64_t const choice = random();
  std::uint64_t const bits = random();
  if (choice % 4 == 0) {
    std::vector<value>& numbers = boundaries[kind];
    if (numbers.empty()) numbers = boundary_numbers(kind);
    return numbers[bits % numbers.size()];
  }
  // Magnitudes of every size, not only the largest.
  unsigned const shift = choice >> 8 & 63;
  switch (kind) {
    case 0:
      return (bits & 1) != 0;
    case 2:
      return bits >> shift;
    case 3:
      return static_cast<long>(bits) >> shift;
    case 4:
      return Decimal{(static_cast<long>(bits) >> shift) % (Decimal::max_scaled + 1)};
    case 5:
      return random_floating<double>(bits);
    default:
      return random_floating<float>(bits);
  }
}

value number_source::near(value const& other, unsigned kind) {
  long double const target = approximate(other);
  int const steps = static_cast<int>(random() % 5) - 2;
  switch (kind) {
    case 0:
      return target > 0.5L;
    case 2:
      return clamp_to<unsigned long>(target) + static_cast<unsigned long>(steps);
    case 3:
      return static_cast<long>(static_cast<unsigned long>(clamp_to<long>(target)) +
                               static_cast<unsigned long>(steps));
    case 4: {
      long const scaled =
          std::isnan(target) ? 0 : static_cast<long>(std::clamp(target * 1e6L, -4.5e18L, 4.5e18L));
      return make_decimal(scaled + steps);
    }
    case 5:
      return step(static_cast<double>(target), steps);
    default: {
      constexpr long double greatest = std::numeric_limits<float>::max();
      long double const clamped =
          std::isnan(target) ? target : std::clamp(target, -greatest, greatest);
      return step(static_cast<float>(clamped), steps);
    }
  }
}

}  // namespace qd::tests

namespace qd::sql_executor {

std::ostream& operator<<(std::ostream& stream, value const& number) {
  visit(
      [&stream]<typename T>(T const& content) {
        auto const precision = stream.precision(21);
        if constexpr (std::is_same_v<T, bool>) {
          stream << (content ? "true" : "false");
        } else if constexpr (std::is_integral_v<T>) {
          stream << (std::is_signed_v<T> ? "signed " : "unsigned ") << content;
        } else if constexpr (std::is_floating_point_v<T>) {
          stream << (sizeof(T) == 8 ? "double " : "float ") << content;
        } else if constexpr (std::is_same_v<T, operator_library::Decimal>) {
          stream << "millionths " << content.scaled;
        } else if constexpr (std::is_same_v<T, operator_library::NullValue>) {
          stream << "NULL";
        } else {
          stream << "kind " << detail::index_of<T>;
        }
        stream.precision(precision);
      },
      number);
  return stream;
}

}  // namespace qd::sql_executor
