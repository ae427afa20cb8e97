#include <gtest/gtest.h>

#include <boost/multiprecision/cpp_dec_float.hpp>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"
#include "sql_executor/operators/arithmetic_functions.h"
#include "values/numbers.h"
#include "values/numeric_oracle.h"

namespace qd::tests {
namespace {

using namespace sql_executor::utils;
using db_string::dt_string;
using operator_library::Decimal;
using operator_library::NullValue;
using sql_executor::value;
using decimal50 = boost::multiprecision::cpp_dec_float_50;

constexpr unsigned int out_of_range = error_handling::out_of_range;
constexpr unsigned int wrong_kind = error_handling::wrong_operand_kind;
constexpr long least = std::numeric_limits<long>::min();
constexpr long greatest = std::numeric_limits<long>::max();

// The result, or empty where it raised 7041.
template <typename Operation>
std::optional<value> calculate(value const& left, value const& right) {
  try {
    return unify_and_apply<Operation>(left, right);
  } catch (db_util::db_exception const& error) {
    if (error.code != out_of_range) throw;
    return std::nullopt;
  }
}

template <typename Operation>
unsigned int code_of(value const& left, value const& right) {
  try {
    unify_and_apply<Operation>(left, right);
    return 0;
  } catch (db_util::db_exception const& error) {
    return error.code;
  }
}

// Halves go away from zero.
std::optional<value> rounded_to_decimal(integer numerator, integer denominator) {
  if (denominator == 0) return std::nullopt;
  if (denominator < 0) {
    numerator = -numerator;
    denominator = -denominator;
  }
  integer const limit = denominator * Decimal::max_scaled;
  if (numerator > limit || numerator < -limit) return std::nullopt;
  integer const doubled = 2 * abs(numerator) + denominator;
  long const magnitude = static_cast<long>(integer(doubled / (2 * denominator)));
  return Decimal{numerator < 0 ? -magnitude : magnitude};
}

template <typename Kind>
std::optional<value> in_range(integer const& exact, long low, long high) {
  if (exact < low || exact > high) return std::nullopt;
  return Kind{static_cast<long>(exact)};
}

// What lies beyond the limit by less than half a millionth would round back to it.
TEST(arithmetic, the_range_is_tested_before_rounding) {
  db_util::int128 const limit = db_util::int128(Decimal::max_scaled) * 10;
  EXPECT_EQ(round_multip_to_dec(limit, 10), Decimal::max_scaled);
  EXPECT_EQ(round_multip_to_dec(limit - 4, 10), Decimal::max_scaled);
  EXPECT_THROW(round_multip_to_dec(limit + 1, 10), db_util::db_exception);
  EXPECT_EQ(round_multip_to_dec(-limit, 10), -Decimal::max_scaled);
  EXPECT_THROW(round_multip_to_dec(-limit - 1, 10), db_util::db_exception);
}

TEST(arithmetic, random_decimals_against_exact_fractions) {
  number_source numbers(5);
  for (unsigned i = scaled_down(1'000'000); i > 0; --i) {
    value const left_value = numbers.of_kind(4);
    value right_value = numbers.of_kind(4);
    if (i % 4 == 0) {
      // A divisor that gives an exact half now and then.
      right_value = Decimal{2 * (static_cast<long>(numbers.below(1000)) - 500)};
    }
    long const left = get<Decimal>(left_value).scaled;
    long const right = get<Decimal>(right_value).scaled;
    integer const a = left;
    integer const b = right;
    SCOPED_TRACE(testing::Message() << left_value << ", " << right_value);
    constexpr long limit = Decimal::max_scaled;
    std::optional<value> const product = calculate<product_of>(left_value, right_value);
    ASSERT_EQ(product, rounded_to_decimal(a * b, 1'000'000));
    ASSERT_EQ(calculate<quotient_of>(left_value, right_value),
              rounded_to_decimal(a * 1'000'000, b));
    ASSERT_EQ(calculate<sum_of>(left_value, right_value), in_range<Decimal>(a + b, -limit, limit));
    ASSERT_EQ(calculate<difference_of>(left_value, right_value),
              in_range<Decimal>(a - b, -limit, limit));
    if (product && i % 16 == 0) {
      // The second oracle: 50 decimal digits hold the product exactly.
      ASSERT_EQ(get<Decimal>(*product).scaled,
                static_cast<long>(round(decimal50(left) / 1'000'000 * right)));
    }
  }
}

TEST(arithmetic, random_integers_against_exact_ones) {
  number_source numbers(6);
  for (unsigned i = scaled_down(1'000'000); i > 0; --i) {
    value const left = numbers.of_kind(3);
    value const right = i % 2 == 0 ? numbers.of_kind(3) : numbers.near(left, 3);
    integer const a = get<long>(left);
    integer const b = get<long>(right);
    SCOPED_TRACE(testing::Message() << left << ", " << right);
    ASSERT_EQ(calculate<sum_of>(left, right), in_range<long>(a + b, least, greatest));
    ASSERT_EQ(calculate<difference_of>(left, right), in_range<long>(a - b, least, greatest));
    ASSERT_EQ(calculate<product_of>(left, right), in_range<long>(a * b, least, greatest));
    std::optional<value> const quotient = calculate<quotient_of>(left, right);
    if (b == 0) {
      ASSERT_FALSE(quotient);
    } else {
      ASSERT_EQ(quotient, in_range<long>(a / b, least, greatest));
    }
  }
}

struct mixed_case {
  value left;
  value right;
  value sum;
};

TEST(arithmetic, kinds_of_results) {
  mixed_case const cases[] = {
      {10UL, 20UL, 30L},
      {5L, true, 6L},
      {0.5F, 1L, 1.5F},
      {Decimal{100'000}, 0.2, 0.1 + 0.2},
      {1e308, 1e308, HUGE_VAL},
      {1L, Decimal{500'000}, Decimal{1'500'000}},
      {NullValue{}, 1L, NullValue{}},
  };
  for (mixed_case const& c : cases) {
    EXPECT_EQ(unify_and_apply<sum_of>(c.left, c.right), c.sum) << c.left << " + " << c.right;
  }
  EXPECT_EQ(unify_and_apply<difference_of>(3UL, 5UL), value(-2L));
  EXPECT_EQ(unify_and_apply<quotient_of>(5.0, 0.0), value(HUGE_VAL));
  EXPECT_TRUE(std::isnan(get<double>(unify_and_apply<quotient_of>(0.0, 0.0))));
  // Floats are not widened in between.
  EXPECT_EQ(unify_and_apply<product_of>(0.1F, 0.1F), value(0.1F * 0.1F));
}

TEST(arithmetic, refusals) {
  value const text = dt_string(u"1", false);
  EXPECT_EQ(code_of<sum_of>(5UL, true), wrong_kind);
  EXPECT_EQ(code_of<sum_of>(true, true), wrong_kind);
  EXPECT_EQ(code_of<sum_of>(text, text), wrong_kind);
  EXPECT_EQ(code_of<product_of>(text, 1L), wrong_kind);
  EXPECT_EQ(code_of<sum_of>(greatest, 1L), out_of_range);
  EXPECT_EQ(code_of<quotient_of>(5L, 0L), out_of_range);
  EXPECT_EQ(code_of<quotient_of>(least, -1L), out_of_range);
  EXPECT_EQ(code_of<quotient_of>(0L, 0L), out_of_range);
  EXPECT_EQ(code_of<sum_of>(1UL << 63, 1UL), out_of_range);
  EXPECT_EQ(code_of<sum_of>(Decimal{Decimal::max_scaled}, Decimal{1}), out_of_range);
  EXPECT_EQ(code_of<difference_of>(Decimal{-Decimal::max_scaled}, Decimal{1}), out_of_range);
}

}  // namespace
}  // namespace qd::tests
