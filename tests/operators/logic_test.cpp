// AND, OR, XOR, NOT and the tests for NULL.
#include "sql_executor/operators/logic.h"

#include <gtest/gtest.h>

#include "support/outcome.h"
#include "support/probe.h"

namespace {

using namespace qd::sql_executor::operators;
using operator_library::NullValue;
using outcome::of_operator;
using probe::fails;
using probe::yields;
using qd::sql_executor::value;

value const yes = true;
value const no = false;
value const unknown = NullValue{};
value const five = 5L;

// Faults: a right operand evaluated in vain, a right value changed or its kind refused where it is
// passed on, NULL mixed up with false.
TEST(logic, connectives_by_their_operands) {
  // A result "!" means that the right operand must not be evaluated.
  struct {
    value left;
    value right;
    char const* conjunction;
    char const* disjunction;
    char const* exclusion;
  } const rows[] = {
      {yes, yes, "true", "! true", "false"},
      {yes, no, "false", "! true", "true"},
      {yes, unknown, "null", "! true", "null"},
      {yes, five, "signed 5", "! true", "error 7020"},
      {no, yes, "! false", "true", "true"},
      {no, no, "! false", "false", "false"},
      {no, unknown, "! false", "null", "null"},
      {no, five, "! false", "signed 5", "error 7020"},
      {unknown, yes, "null", "true", "! null"},
      {unknown, no, "false", "null", "! null"},
      {unknown, unknown, "null", "null", "! null"},
      {unknown, five, "error 7020", "error 7020", "! null"},
      {five, yes, "! error 7020", "! error 7020", "! error 7020"},
  };
  auto const check = [](auto make, auto const& row, std::string expected) {
    SCOPED_TRACE(outcome::of(row.left) + ", " + outcome::of(row.right));
    if (expected.starts_with("! ")) {
      expected.erase(0, 2);
      EXPECT_EQ(of_operator(*make(yields(row.left), fails('r'))), expected);
    } else {
      EXPECT_EQ(of_operator(*make(yields(row.left), fails('r'))), "exception: r");
    }
    EXPECT_EQ(of_operator(*make(yields(row.left), yields(row.right))), expected);
  };
  auto const make = []<typename Operator>() {
    return [](operator_ptr left, operator_ptr right) {
      return std::make_unique<Operator>(std::move(left), std::move(right));
    };
  };
  for (auto const& row : rows) {
    check(make.operator()<logical_and>(), row, row.conjunction);
    check(make.operator()<logical_or>(), row, row.disjunction);
    check(make.operator()<xor_op>(), row, row.exclusion);
  }
}

TEST(logic, negation_and_null_tests) {
  struct {
    value operand;
    char const* negation;
    char const* is_null;
  } const rows[] = {
      {yes, "false", "false"},
      {no, "true", "false"},
      {unknown, "null", "true"},
      {five, "error 7020", "false"},
      {value(db_string::dt_string()), "error 7020", "false"},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(outcome::of(row.operand));
    EXPECT_EQ(of_operator(logical_not(yields(row.operand))), row.negation);
    EXPECT_EQ(of_operator(is_null(yields(row.operand))), row.is_null);
    EXPECT_NE(of_operator(is_not_null(yields(row.operand))), row.is_null);
  }
}

}  // namespace
