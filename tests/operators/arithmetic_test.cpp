// The arithmetic operators and unary minus. The operations on unified operands are tested apart;
// here is what kinds they meet as the operators call them.
#include "sql_executor/operators/arithmetic.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/outcome.h"
#include "support/probe.h"

namespace {

using namespace qd::sql_executor::operators;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;
using outcome::of_operator;
using probe::yields;
using qd::sql_executor::value;

constexpr long least = std::numeric_limits<long>::min();
constexpr long greatest = std::numeric_limits<long>::max();
constexpr unsigned long two_to_63 = 1UL << 63;

TEST(arithmetic_operators, by_pairs) {
  struct {
    value left;
    value right;
    char const* sum;
    char const* difference;
    char const* product;
    char const* quotient;
  } const rows[] = {
      {7L, -2L, "signed 5", "signed 9", "signed -14", "signed -3"},
      {greatest, 1L, "error 7041", "signed 9223372036854775806", "signed 9223372036854775807",
       "signed 9223372036854775807"},
      {least, -1L, "error 7041", "signed -9223372036854775807", "error 7041", "error 7041"},
      {0L, 0L, "signed 0", "signed 0", "signed 0", "error 7041"},
      {3UL, 5UL, "signed 8", "signed -2", "signed 15", "signed 0"},
      {two_to_63, 1UL, "error 7041", "error 7041", "error 7041", "error 7041"},
      {two_to_63, 1.0, "double 9.2233720368547758e+18", "double 9.2233720368547758e+18",
       "double 9.2233720368547758e+18", "double 9.2233720368547758e+18"},
      {5L, true, "signed 6", "signed 4", "signed 5", "signed 5"},
      {5UL, true, "error 7020", "error 7020", "error 7020", "error 7020"},
      {true, true, "error 7020", "error 7020", "error 7020", "error 7020"},
      {Decimal{1000000}, Decimal{3000000}, "decimal 4000000", "decimal -2000000", "decimal 3000000",
       "decimal 333333"},
      {Decimal{Decimal::max_scaled}, Decimal{1}, "error 7041", "decimal 4398046511103999998",
       "decimal 4398046511104", "error 7041"},
      {2L, Decimal{500000}, "decimal 2500000", "decimal 1500000", "decimal 1000000",
       "decimal 4000000"},
      {0.5F, 1L, "float 1.5", "float -0.5", "float 0.5", "float 0.5"},
      {5.0, 0.0, "double 5", "double 5", "double 0", "double inf"},
      {0.5, 0.5F, "double 1", "double 0", "double 0.25", "double 1"},
      {NullValue{}, 5L, "null", "null", "null", "null"},
      {Binary{{1}}, NullValue{}, "null", "null", "null", "null"},
      {1L, Binary{{1}}, "error 7020", "error 7020", "error 7020", "error 7020"},
      {Binary{{1}}, Binary{{1}}, "error 7020", "error 7020", "error 7020", "error 7020"},
      {QD_OBJ_REF{1, 1}, QD_OBJ_REF{1, 1}, "error 7020", "error 7020", "error 7020", "error 7020"},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(outcome::of(row.left) + ", " + outcome::of(row.right));
    auto const result = [&row]<typename Operator>() {
      return of_operator(Operator(yields(row.left), yields(row.right)));
    };
    EXPECT_EQ(result.operator()<addition>(), row.sum);
    EXPECT_EQ(result.operator()<subtraction>(), row.difference);
    EXPECT_EQ(result.operator()<multiplication>(), row.product);
    EXPECT_EQ(result.operator()<division>(), row.quotient);
  }
}

TEST(arithmetic_operators, negation) {
  struct {
    value operand;
    char const* result;
  } const rows[] = {
      {NullValue{}, "null"},
      {5L, "signed -5"},
      {least + 1, "signed 9223372036854775807"},
      {least, "error 7041"},
      {5UL, "signed -5"},
      {two_to_63 - 1, "signed -9223372036854775807"},
      {two_to_63, "error 7041"},
      {Decimal{-Decimal::max_scaled}, "decimal 4398046511103999999"},
      {0.0, "double -0"},
      {-0.0F, "float 0"},
      {std::numeric_limits<double>::quiet_NaN(), "double -nan"},
      {true, "error 7020"},
      {db_string::dt_string(), "error 7020"},
      {Binary{}, "error 7020"},
      {QD_OBJ_REF{1, 1}, "error 7020"},
      {SetSpecifier{}, "error 7020"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(of_operator(unary_negate(yields(row.operand))), row.result)
        << outcome::of(row.operand);
  }
}

}  // namespace
