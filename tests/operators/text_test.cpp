// LIKE with patterns that only a run knows. The fake kernel's base form is the text in lower case.
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

// The text itself, not its base form, which the embedded kernel does not tell apart.
TEST_F(text_operators, like_starts_with_gives_the_literal_prefix) {
  EXPECT_EQ(of_operator(like_starts_with(yields(text(u"A_c")))), outcome::of(text(u"A")));
  EXPECT_EQ(of_operator(like_starts_with(yields(null))), "null");
}

}  // namespace
