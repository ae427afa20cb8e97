#include <gtest/gtest.h>

#include <limits>

#include "sql_executor/generative_assignment.h"
#include "sql_executor/limit_offset.h"
#include "sql_executor/union.h"
#include "support/literal_rows.h"
#include "support/outcome.h"
#include "support/probe.h"

namespace {

using literal_rows::bound;
using literal_rows::column;
using literal_rows::drain;
using operator_library::Decimal;
using operator_library::NullValue;
using qd::sql_executor::evaluation_context;
using qd::sql_executor::generative_assignment;
using qd::sql_executor::limit_offset;
using qd::sql_executor::row;
using qd::sql_executor::uniond;
using qd::sql_executor::value;

using rows = std::vector<row>;

value const null = NullValue{};
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct limit_case {
  value limit;
  value offset;
  rows expected;
  unsigned pulls;  // How often the child of four rows is asked.
};

TEST(limit_offset, which_rows_and_how_many_are_read) {
  limit_case const cases[] = {
      {2UL, 1UL, {{2L}, {3L}}, 3},
      {0UL, 2UL, {}, 2},  // The offset is skipped even then.
      {0UL, 0UL, {}, 0},
      {9UL, 2UL, {{3L}, {4L}}, 5},
      {9UL, 4UL, {}, 5},
      {9UL, 7UL, {}, 5},  // After an end within the offset the child is left alone.
      {~0UL, 0UL, {{1L}, {2L}, {3L}, {4L}}, 5},
      {2.9, false, {{1L}, {2L}}, 2},
      {Decimal{3'500'000}, 0L, {{1L}, {2L}, {3L}}, 3},
      {true, -0.0, {{1L}}, 1},
  };
  for (limit_case const& c : cases) {
    literal_rows::use child;
    limit_offset node(column({1L, 2L, 3L, 4L}, &child), probe::yields(c.limit),
                      probe::yields(c.offset));
    EXPECT_EQ(drain(node), c.expected) << outcome::of(c.limit) << ", " << outcome::of(c.offset);
    EXPECT_EQ(child.pulls, c.pulls) << outcome::of(c.limit) << ", " << outcome::of(c.offset);
  }
}

std::string refusal(value const& limit, value const& offset, literal_rows::use* child) {
  return outcome::of_call([&] {
    limit_offset node(column({1L}, child), probe::yields(limit), probe::yields(offset));
    evaluation_context context;
    node.enumerate(context);
    return null;
  });
}

TEST(limit_offset, numbers_that_are_no_counts) {
  literal_rows::use child;
  value const text = db_string::dt_string();
  EXPECT_EQ(refusal(null, 0UL, &child), "error 7020");
  EXPECT_EQ(refusal(0UL, null, &child), "error 7020");
  EXPECT_EQ(refusal(-1L, 0UL, &child), "error 7041");
  EXPECT_EQ(refusal(1UL, Decimal{-1}, &child), "error 7041");
  EXPECT_EQ(refusal(nan, 0UL, &child), "error 7041");
  EXPECT_EQ(refusal(0x1p64, 0UL, &child), "error 7041");
  EXPECT_EQ(refusal(text, 0UL, &child), "error 1027");
  EXPECT_EQ(refusal(QD_OBJ_REF{1, 0}, 0UL, &child), "error 7020");
  EXPECT_EQ(refusal(text, null, &child), "error 1027");  // The limit's error comes first.
  EXPECT_EQ(child.enumerations, 0U);
}

// The counts are evaluated once per enumeration, limit first, with the outer rows in scope.
TEST(limit_offset, when_its_counts_are_evaluated) {
  std::string log;
  limit_offset node(column({1L, 2L, 3L}), probe::yields(2UL, 'l', &log),
                    probe::yields(0UL, 'o', &log));
  EXPECT_EQ(drain(node).size(), 2U);
  EXPECT_EQ(log, "lo");
  limit_offset by_outer_row(column({1L, 2L, 3L}), bound(0), bound(1));
  evaluation_context context;
  context.bound_data = {1L, 2L};
  EXPECT_EQ(drain(by_outer_row, context), rows{{3L}});
}

TEST(uniond, left_rows_then_right_rows) {
  literal_rows::use left;
  literal_rows::use right;
  uniond node(column({1L, 2L}, &left), column({2L}, &right));
  evaluation_context context;
  auto const enumerator = node.enumerate(context);
  EXPECT_EQ(left.enumerations + right.enumerations, 2U);
  EXPECT_EQ(enumerator->next(context), row{1L});
  EXPECT_EQ(enumerator->next(context), row{2L});
  EXPECT_EQ(right.pulls, 0U);
  EXPECT_EQ(enumerator->next(context), row{2L});
  EXPECT_EQ(left.open, 0U);  // Released as soon as it has ended.
  EXPECT_EQ(enumerator->next(context), std::nullopt);

  uniond empty_left(column({}), column({1L}));
  EXPECT_EQ(drain(empty_left), rows{{1L}});
  uniond empty_right(column({1L}), column({}));
  EXPECT_EQ(drain(empty_right), rows{{1L}});
}

TEST(generative_assignment, one_row_evaluated_when_it_is_asked_for) {
  std::string log;
  generative_assignment node(probe::yields(5L, 'e', &log));
  evaluation_context context;
  auto const enumerator = node.enumerate(context);
  EXPECT_EQ(log, "");
  EXPECT_EQ(enumerator->next(context), row{5L});
  EXPECT_EQ(enumerator->next(context), std::nullopt);
  EXPECT_EQ(enumerator->next(context), std::nullopt);
  EXPECT_EQ(log, "e");
  EXPECT_EQ(drain(node), rows{{5L}});
}

}  // namespace
