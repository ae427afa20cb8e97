#include <gtest/gtest.h>

#include <random>

#include "sql_executor/full_join.h"
#include "sql_executor/left_join.h"
#include "sql_executor/nested_loop_inner_join.h"
#include "sql_executor/operators/comparison_operators.h"
#include "support/literal_rows.h"
#include "support/outcome.h"
#include "support/probe.h"

namespace {

using literal_rows::bound;
using literal_rows::column;
using literal_rows::correlated;
using literal_rows::drain;
using operator_library::NullValue;
using qd::sql_executor::evaluation_context;
using qd::sql_executor::full_join;
using qd::sql_executor::left_join;
using qd::sql_executor::nested_loop_inner_join;
using qd::sql_executor::node;
using qd::sql_executor::row;
using qd::sql_executor::value;
using qd::sql_executor::operators::equal;
using qd::sql_executor::operators::operator_ptr;

using node_ptr = std::unique_ptr<node>;
using rows = std::vector<row>;

value const null = NullValue{};

row joined(row left, row const& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

row nulls(unsigned long width) {
  return row(width, null);
}

// The right rows of a left row whose one value is a number: as many as it says, (number, 0),
// (number, 1) and so on. They are made from the bound left row, as a scan's bounds are.
rows rows_for(value const& left_value) {
  long const number = get<long>(left_value);
  rows made;
  for (long i = 0; i < number; ++i) made.push_back({number, i});
  return made;
}

node_ptr rows_of_bound_number(short position, literal_rows::use* counters = nullptr) {
  return correlated(
      [position](evaluation_context const& context) {
        return rows_for(context.bound_data.at(static_cast<std::size_t>(position)));
      },
      counters);
}

TEST(inner_and_left_join, right_rows_depend_on_the_left_row) {
  literal_rows::use right;
  nested_loop_inner_join inner(column({2L, 0L, 1L}), rows_of_bound_number(0, &right));
  rows const matches = {{2L, 2L, 0L}, {2L, 2L, 1L}, {1L, 1L, 0L}};
  EXPECT_EQ(drain(inner), matches);
  EXPECT_EQ(right.enumerations, 3U);  // Once per left row.
  EXPECT_EQ(right.open, 0U);

  left_join outer(column({2L, 0L, 1L}), rows_of_bound_number(0), 2);
  EXPECT_EQ(drain(outer), (rows{{2L, 2L, 0L}, {2L, 2L, 1L}, {0L, null, null}, {1L, 1L, 0L}}));

  left_join without_columns(column({0L, 0L}), rows_of_bound_number(0), 0);
  EXPECT_EQ(drain(without_columns), (rows{{0L}, {0L}}));
}

TEST(inner_and_left_join, an_empty_side) {
  literal_rows::use right;
  nested_loop_inner_join empty_left(column({}), rows_of_bound_number(0, &right));
  EXPECT_EQ(drain(empty_left), rows());
  left_join outer_of_empty_left(column({}), rows_of_bound_number(0, &right), 2);
  EXPECT_EQ(drain(outer_of_empty_left), rows());
  EXPECT_EQ(right.enumerations, 0U);

  nested_loop_inner_join empty_right(column({1L, 2L}), column({}));
  EXPECT_EQ(drain(empty_right), rows());
  left_join outer_of_empty_right(column({1L, 2L}), column({}), 1);
  EXPECT_EQ(drain(outer_of_empty_right), (rows{{1L, null}, {2L, null}}));
}

// Left rows without columns, as below an aggregate of everything.
TEST(inner_and_left_join, left_rows_without_columns) {
  nested_loop_inner_join inner(literal_rows::of({{}, {}}), column({1L, 2L}));
  EXPECT_EQ(drain(inner), (rows{{1L}, {2L}, {1L}, {2L}}));
  left_join outer(literal_rows::of({{}, {}}), column({}), 1);
  EXPECT_EQ(drain(outer), (rows{{null}, {null}}));
}

// A join in the right side of a join: the innermost side sees both left rows. Strings on the heap
// would show a value that was moved away and not put back.
TEST(inner_and_left_join, nested) {
  std::vector<unsigned char> const long_text(40, 0x80);
  value const text = db_string::dt_string(long_text.data(), long_text.size());
  auto const innermost = [](evaluation_context const& context) -> rows {
    return {{context.bound_data.at(0), context.bound_data.at(1), context.bound_data.at(2)},
            {context.bound_data.at(1), context.bound_data.at(2), context.bound_data.at(0)}};
  };
  for (bool outer_joins : {false, true}) {
    auto const join = [outer_joins](node_ptr left, node_ptr right,
                                    unsigned long width) -> node_ptr {
      if (outer_joins) return std::make_unique<left_join>(std::move(left), std::move(right), width);
      return std::make_unique<nested_loop_inner_join>(std::move(left), std::move(right));
    };
    node_ptr const plan = join(literal_rows::of({{text, 1L}, {text, 2L}}),
                               join(column({7L}), correlated(innermost), 3), 4);
    EXPECT_EQ(drain(*plan), (rows{{text, 1L, 7L, text, 1L, 7L},
                                  {text, 1L, 7L, 1L, 7L, text},
                                  {text, 2L, 7L, text, 2L, 7L},
                                  {text, 2L, 7L, 2L, 7L, text}}));
  }
}

TEST(inner_and_left_join, after_the_end_there_is_still_nothing) {
  left_join outer(column({0L}), rows_of_bound_number(0), 1);
  nested_loop_inner_join inner(column({1L}), rows_of_bound_number(0));
  for (node* join : {static_cast<node*>(&outer), static_cast<node*>(&inner)}) {
    evaluation_context context;
    auto const enumerator = join->enumerate(context);
    EXPECT_TRUE(enumerator->next(context));
    EXPECT_FALSE(enumerator->next(context));
    EXPECT_FALSE(enumerator->next(context));
  }
}

operator_ptr positions_equal(short left, short right) {
  return std::make_unique<equal const>(bound(left), bound(right));
}

rows joined_fully(node_ptr left, node_ptr right, std::optional<operator_ptr> condition) {
  full_join join(std::move(left), std::move(right), 1, 1, std::move(condition));
  return drain(join);
}

TEST(full_join, with_a_condition) {
  auto const on_equality = [](std::vector<value> const& left, std::vector<value> const& right) {
    return joined_fully(column(left), column(right), positions_equal(0, 1));
  };
  EXPECT_EQ(on_equality({1L, 2L}, {2L, 3L}), (rows{{1L, null}, {2L, 2L}, {null, 3L}}));
  // A right row that matched twice is not unmatched.
  EXPECT_EQ(on_equality({1L, 1L}, {1L, 1L}), (rows{{1L, 1L}, {1L, 1L}, {1L, 1L}, {1L, 1L}}));
  EXPECT_EQ(on_equality({}, {1L, 2L}), (rows{{null, 1L}, {null, 2L}}));
  EXPECT_EQ(on_equality({1L, 2L}, {}), (rows{{1L, null}, {2L, null}}));
  EXPECT_EQ(on_equality({}, {}), rows());
  // A condition that is NULL is not true.
  EXPECT_EQ(on_equality({null, 1L}, {null, null}),
            (rows{{null, null}, {1L, null}, {null, null}, {null, null}}));
}

TEST(full_join, without_a_condition) {
  auto const cross = [](std::vector<value> const& left, std::vector<value> const& right) {
    return joined_fully(column(left), column(right), std::nullopt);
  };
  EXPECT_EQ(cross({1L, 2L}, {3L, 4L}), (rows{{1L, 3L}, {1L, 4L}, {2L, 3L}, {2L, 4L}}));
  EXPECT_EQ(cross({}, {3L, 4L}), (rows{{null, 3L}, {null, 4L}}));
  EXPECT_EQ(cross({1L, 2L}, {}), (rows{{1L, null}, {2L, null}}));
  EXPECT_EQ(cross({}, {}), rows());
}

TEST(full_join, a_condition_that_is_no_truth_value_is_an_error) {
  EXPECT_EQ(outcome::of_call([] {
              joined_fully(column({1L}), column({1L}), probe::yields(1L));
              return null;
            }),
            "error 7020");
}

// Both sides are enumerated when the join is; the right side is read once with a condition, and
// without one once per left row. It never sees the left row.
TEST(full_join, when_its_sides_are_read) {
  for (bool conditional : {true, false}) {
    literal_rows::use left;
    literal_rows::use right;
    std::optional<operator_ptr> condition;
    if (conditional) condition = probe::yields(true);
    full_join join(
        column({1L, 2L, 3L}, &left),
        correlated(
            [](evaluation_context const& context) -> rows { return {{context.bound_data.size()}}; },
            &right),
        1, 1, std::move(condition));
    evaluation_context context;
    context.bound_data = {7L, 8L};
    auto const enumerator = join.enumerate(context);
    EXPECT_EQ(left.enumerations, 1U);
    EXPECT_EQ(right.enumerations, 1U);
    EXPECT_EQ(left.pulls + right.pulls, 0U);
    for (long number : {1L, 2L, 3L}) EXPECT_EQ(enumerator->next(context), (row{number, 2UL}));
    EXPECT_EQ(enumerator->next(context), std::nullopt);
    EXPECT_EQ(enumerator->next(context), std::nullopt);
    EXPECT_EQ(right.enumerations, conditional ? 1U : 3U);
    EXPECT_EQ(context.bound_data.size(), 2U);
  }
}

// Without a condition the right side is read anew per left row, and may have fewer rows then.
TEST(full_join, a_right_side_that_shrinks) {
  unsigned enumerations = 0;
  node_ptr right = correlated([&enumerations](evaluation_context const&) -> rows {
    return ++enumerations == 2 ? rows() : rows{{9L}};
  });
  EXPECT_EQ(joined_fully(column({1L, 2L, 3L}), std::move(right), std::nullopt),
            (rows{{1L, 9L}, {3L, 9L}}));
}

// Nested loops over vectors, for all joins, with an outer row in scope.
TEST(joins, random_rows_as_nested_loops) {
  std::mt19937 random(14);
  for (unsigned round = 0; round < 3000; ++round) {
    rows left(random() % 6);
    rows right(random() % 6);
    unsigned long const left_width = random() % 3;
    unsigned long const right_width = 1 + random() % 2;
    for (rows* side : {&left, &right}) {
      for (row& content : *side) {
        for (unsigned long i = side == &left ? left_width : right_width; i > 0; --i) {
          content.push_back(random() % 4 == 0 ? null : value(static_cast<long>(random() % 3)));
        }
      }
    }
    // A left row matches where its first value, or the outer row's without one, equals the last of
    // the right row.
    short const tested_left = left_width == 0 ? 0 : 1;
    short const tested_right = static_cast<short>(left_width + right_width);
    value const outer = 1L;
    auto const matches = [&](row const& a, row const& b) {
      value const& tested = left_width == 0 ? outer : a[0];
      return !tested.is_null() && !b.back().is_null() && tested == b.back();
    };
    rows inner_rows;
    rows left_rows;
    rows full_rows;
    std::vector<bool> matched(right.size());
    for (row const& a : left) {
      bool found = false;
      for (std::size_t i = 0; i < right.size(); ++i) {
        if (!matches(a, right[i])) continue;
        found = true;
        matched[i] = true;
        inner_rows.push_back(joined(a, right[i]));
        left_rows.push_back(joined(a, right[i]));
        full_rows.push_back(joined(a, right[i]));
      }
      if (found) continue;
      left_rows.push_back(joined(a, nulls(right_width)));
      full_rows.push_back(joined(a, nulls(right_width)));
    }
    for (std::size_t i = 0; i < right.size(); ++i) {
      if (!matched[i]) full_rows.push_back(joined(nulls(left_width), right[i]));
    }

    auto const matching_right = [&]() {
      return correlated([&](evaluation_context const& context) {
        row const left_row(context.bound_data.begin() + 1, context.bound_data.end());
        rows made;
        for (row const& b : right) {
          if (matches(left_row, b)) made.push_back(b);
        }
        return made;
      });
    };
    evaluation_context context;
    context.bound_data = {outer};
    nested_loop_inner_join inner(literal_rows::of(left), matching_right());
    ASSERT_EQ(drain(inner, context), inner_rows);
    left_join outer_join(literal_rows::of(left), matching_right(), right_width);
    ASSERT_EQ(drain(outer_join, context), left_rows);
    full_join full(literal_rows::of(left), literal_rows::of(right), left_width, right_width,
                   positions_equal(tested_left, tested_right));
    ASSERT_EQ(drain(full, context), full_rows);
  }
}

}  // namespace
