// The comparison operators. How values compare is tested with the comparison itself; here is what
// the operators add: NULL, the refusals by kind, and which relation each class stands for.
#include "sql_executor/operators/comparison_operators.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/outcome.h"
#include "support/probe.h"

namespace {

using namespace qd::sql_executor::operators;
using db_string::dt_string;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;
using outcome::of_operator;
using probe::yields;
using qd::sql_executor::value;

value text(std::initializer_list<unsigned char> densetext) {
  return dt_string(densetext.begin(), densetext.size());
}

// The six relations of a pair in one text: "=" "<>" "<" ">" "<=" ">=" as T, F, N for NULL, and #
// for 7020.
std::string relations(value const& left, value const& right) {
  std::string results;
  auto const add = [&](operator_base const& comparison) {
    std::string const result = of_operator(comparison);
    results += result == "true"         ? 'T'
               : result == "false"      ? 'F'
               : result == "null"       ? 'N'
               : result == "error 7020" ? '#'
                                        : '?';
  };
  add(equal(yields(left), yields(right)));
  add(not_equal(yields(left), yields(right)));
  add(less_than(yields(left), yields(right)));
  add(greater_than(yields(left), yields(right)));
  add(less_than_or_equal(yields(left), yields(right)));
  add(greater_than_or_equal(yields(left), yields(right)));
  return results;
}

constexpr char const* equal_pair = "TFFFTT";
constexpr char const* less_pair = "FTTFTF";
constexpr char const* greater_pair = "FTFTFT";

TEST(comparison_operators, by_pairs) {
  double const nan = std::numeric_limits<double>::quiet_NaN();
  struct {
    value left;
    value right;
    char const* relations;
  } const rows[] = {
      {1L, 1.0, equal_pair},
      {1L, Decimal{1000001}, less_pair},
      {true, false, greater_pair},
      {~0UL, 1.8446744073709552e19, less_pair},  // 2^64 - 1 below 2^64.
      {nan, nan, "FTFFFF"},
      {nan, 1L, "FFFFFF"},
      {1L, nan, "FTFFFF"},
      {text({0x80, 0x61}), text({0x80, 0x61, 0x01}), less_pair},
      {text({}), text({}), equal_pair},
      {Binary{{0x61, 0xFF}}, Binary{{0x61}}, greater_pair},
      {Binary{{0x7F}}, Binary{{0x80}}, less_pair},
      {QD_OBJ_REF{4, 1}, QD_OBJ_REF{4, 2}, equal_pair},
      {QD_OBJ_REF{4, 9}, QD_OBJ_REF{~0UL, 2}, less_pair},
      {SetSpecifier{u"AB"}, SetSpecifier{u"A"}, greater_pair},
      {SetSpecifier{u"\u7FFF"}, SetSpecifier{u"\uFFFF"}, less_pair},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(relations(row.left, row.right), row.relations)
        << outcome::of(row.left) << ", " << outcome::of(row.right);
  }
}

TEST(comparison_operators, refuse_unlike_kinds_and_pass_on_null) {
  value const kinds[] = {1L, text({0x80, 0x61}), Binary{{1}}, QD_OBJ_REF{1, 1}, SetSpecifier{u"A"}};
  value const numbers[] = {true, 1UL, 1L, Decimal{1}, 1.0, 1.0F};
  for (value const& left : kinds) {
    for (value const& right : kinds) {
      if (left.index() == right.index()) continue;
      EXPECT_EQ(relations(left, right), "######");
    }
    EXPECT_EQ(relations(left, NullValue{}), "NNNNNN");
    EXPECT_EQ(relations(NullValue{}, left), "NNNNNN");
  }
  for (value const& left : numbers) {
    for (value const& right : numbers) {
      EXPECT_NE(relations(left, right).substr(0, 1), "#");
    }
    EXPECT_EQ(relations(left, kinds[1]), "######");
    EXPECT_EQ(relations(kinds[3], left), "######");
  }
  EXPECT_EQ(relations(NullValue{}, NullValue{}), "NNNNNN");
}

}  // namespace
