// The order in which operators evaluate their operands, which errors make visible.
#include <gtest/gtest.h>

#include "sql_executor/operators/arithmetic.h"
#include "sql_executor/operators/comparison_operators.h"
#include "sql_executor/operators/logic.h"
#include "sql_executor/operators/object.h"
#include "sql_executor/operators/text.h"
#include "support/fake_kernel.h"
#include "support/probe.h"

namespace {

using namespace qd::sql_executor::operators;
using operator_library::NullValue;
using operator_library::SetSpecifier;
using probe::fails;
using probe::yields;
using qd::sql_executor::value;

// The order of "l" and "r", the operands in the order of the constructor, for values of which each
// operator reads both; then which of two failing operands is heard.
template <typename Operator>
void expect_order(value const& left, value const& right, std::string const& order) {
  std::string log;
  Operator const logged(yields(left, 'l', &log), yields(right, 'r', &log));
  logged.eval({});
  EXPECT_EQ(log, order);
  log.clear();
  (void)logged.test({});
  EXPECT_EQ(log, order);
  try {
    Operator(fails('l'), fails('r')).eval({});
    ADD_FAILURE() << "nothing thrown";
  } catch (probe::failure const& thrown) {
    EXPECT_EQ(thrown.what(), order.substr(0, 1));
  }
}

// The same for operators whose results are no predicates.
template <typename Operator>
void expect_order_of_values(value const& left, value const& right, std::string const& order) {
  std::string log;
  Operator(yields(left, 'l', &log), yields(right, 'r', &log)).eval({});
  EXPECT_EQ(log, order);
}

TEST(operand_order, comparisons_right_first_and_both_always) {
  value const null = NullValue{};
  for (value const& left : {value(1L), null}) {
    for (value const& right : {value(1L), null}) {
      expect_order<equal>(left, right, "rl");
      expect_order<not_equal>(left, right, "rl");
      expect_order<less_than>(left, right, "rl");
      expect_order<greater_than>(left, right, "rl");
      expect_order<less_than_or_equal>(left, right, "rl");
      expect_order<greater_than_or_equal>(left, right, "rl");
    }
  }
}

TEST(operand_order, arithmetic_and_logic_left_first) {
  for (value const& left : {value(1L), value(NullValue{})}) {
    expect_order_of_values<addition>(left, 1L, "lr");
    expect_order_of_values<subtraction>(left, 1L, "lr");
    expect_order_of_values<multiplication>(left, 1L, "lr");
    expect_order_of_values<division>(left, 1L, "lr");
  }
  expect_order<logical_and>(true, true, "lr");
  expect_order<logical_or>(false, false, "lr");
  expect_order<xor_op>(true, true, "lr");
}

TEST(operand_order, patterns_prefixes_and_classes_first) {
  fake_kernel::reset();
  fake_kernel::current().set_specifiers[1] = u"A";
  value const text = db_string::dt_string(u"a", false);
  expect_order<like>(text, text, "rl");
  expect_order<starts_with>(text, text, "rl");
  expect_order<starts_with>(text, NullValue{}, "rl");
  expect_order<is>(QD_OBJ_REF{1, 1}, SetSpecifier{u"A"}, "rl");
}

}  // namespace
