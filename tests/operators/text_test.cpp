// Concatenation, LIKE and the prefix test. The fake kernel's base form is the text in lower case.
#include "sql_executor/operators/text.h"

#include <gtest/gtest.h>

#include "support/fake_kernel.h"
#include "support/outcome.h"
#include "support/probe.h"

namespace {

using namespace qd::sql_executor::operators;
using db_string::dt_string;
using operator_library::NullValue;
using outcome::of_operator;
using probe::fails;
using probe::yields;
using qd::sql_executor::value;

value text(char16_t const* characters) {
  return dt_string(characters, false);
}

value const null = NullValue{};
value const five = 5L;

class text_operators : public testing::Test {
 protected:
  void SetUp() override { fake_kernel::reset(); }
};

std::string joined(std::vector<value> const& operands, bool ends_in_failure) {
  std::vector<operator_ptr> expressions;
  for (value const& operand : operands) expressions.push_back(yields(operand));
  if (ends_in_failure) expressions.push_back(fails());
  return of_operator(concat(std::move(expressions)));
}

// Faults: operands evaluated behind the one that decides; the kernel's buffer read too late.
TEST_F(text_operators, concat_joins_until_null_or_another_kind) {
  std::string const abc = outcome::of(text(u"abc"));
  EXPECT_EQ(joined({text(u"ab"), text(u""), text(u"c")}, false), abc);
  EXPECT_EQ(joined({text(u"abc")}, false), abc);
  EXPECT_EQ(joined({}, false), "string");
  EXPECT_EQ(joined({text(u"a"), null}, true), "null");
  EXPECT_EQ(joined({null, five}, true), "null");
  EXPECT_EQ(joined({text(u"a"), five}, true), "error 7020");
  EXPECT_EQ(joined({text(u"a"), text(u"b")}, true), "exception: !");
}

TEST_F(text_operators, like_matches_base_forms) {
  struct {
    value operand;
    value pattern;
    char const* result;
  } const rows[] = {
      {text(u"abc"), text(u"a%"), "true"},
      {text(u"aBc"), text(u"AbC"), "true"},  // Both are turned into their base forms.
      {text(u"axc"), text(u"a\\_c"), "false"},
      {text(u"abc"), text(u"a\\b"), "sql error 7042"},
      {text(u""), text(u""), "true"},
      {text(u"\U0001F600"), text(u"_"), "true"},
      {text(u"abc"), null, "null"},
      {null, text(u"a%"), "null"},
      {five, null, "null"},
      {null, five, "error 7020"},  // The pattern's kind is looked at before the text.
      {five, text(u"5"), "error 7020"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(of_operator(like(yields(row.operand), yields(row.pattern))), row.result)
        << outcome::of(row.operand) << ", " << outcome::of(row.pattern);
  }
  EXPECT_EQ(of_operator(like(fails(), yields(null))), "null");
  EXPECT_EQ(of_operator(like(fails(), yields(five))), "error 7020");
}

TEST_F(text_operators, starts_with_evaluates_both_and_tells_null_first) {
  struct {
    value operand;
    value prefix;
    char const* result;
  } const rows[] = {
      {text(u"abc"), text(u"ab"), "true"},
      {text(u"abc"), text(u""), "true"},
      {text(u""), text(u""), "true"},
      {text(u"ab"), text(u"abc"), "false"},
      {text(u"abc"), text(u"ac"), "false"},
      {text(u"Abc"), text(u"ab"), "false"},
      {null, five, "null"},
      {five, null, "null"},
      {text(u"a"), five, "error 7020"},
      {five, text(u"a"), "error 7020"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(of_operator(starts_with(yields(row.operand), yields(row.prefix))), row.result)
        << outcome::of(row.operand) << ", " << outcome::of(row.prefix);
  }
  EXPECT_EQ(of_operator(starts_with(fails('t'), yields(null))), "exception: t");
}

TEST_F(text_operators, like_starts_with_gives_the_literal_prefix) {
  struct {
    value pattern;
    std::string result;
  } const rows[] = {
      {text(u"abc%"), outcome::of(text(u"abc"))},
      {text(u"A_c"), outcome::of(text(u"A"))},  // The text itself, not its base form.
      {text(u"ab\\%c%"), outcome::of(text(u"ab%c"))},
      {text(u"%abc"), "string"},
      {text(u"abc"), "string"},
      {text(u"a\\b%"), outcome::of(text(u"ab"))},  // Not validated.
      {null, "null"},
      {five, "error 7020"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(of_operator(like_starts_with(yields(row.pattern))), row.result)
        << outcome::of(row.pattern);
  }
}

// Fault: a status of one of the conversions dropped.
TEST_F(text_operators, raise_every_status_of_their_conversions) {
  auto const make_concat = [] {
    std::vector<operator_ptr> expressions;
    expressions.push_back(yields(text(u"a")));
    expressions.push_back(yields(text(u"b")));
    return concat(std::move(expressions));
  };
  auto const expect_statuses = [](operator_base const& expression, unsigned int calls) {
    for (unsigned int call = 1; call <= calls + 1; ++call) {
      fake_kernel::current().failing_call = fake_kernel::current().calls + call;
      fake_kernel::current().status = 900 + call;
      std::string const result = outcome::of_call([&] { return expression.eval({}); });
      if (call <= calls) {
        EXPECT_EQ(result, "error " + std::to_string(900 + call));
      } else {
        EXPECT_EQ(result.find("error"), std::string::npos);
      }
    }
  };
  expect_statuses(make_concat(), 3);
  expect_statuses(like(yields(text(u"a")), yields(text(u"a"))), 2);
  expect_statuses(like_starts_with(yields(text(u"a%"))), 2);
  expect_statuses(starts_with(yields(text(u"a")), yields(text(u"a"))), 0);
}

}  // namespace
