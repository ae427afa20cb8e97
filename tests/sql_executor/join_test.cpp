#include <gtest/gtest.h>

#include "sql_executor/full_join.h"
#include "sql_executor/left_join.h"
#include "sql_executor/nested_loop_inner_join.h"
#include "support/literal_rows.h"
#include "support/probe.h"

namespace {

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
using qd::sql_executor::operators::operator_ptr;

using node_ptr = std::unique_ptr<node>;
using rows = std::vector<row>;

value const null = NullValue{};

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
  full_join join(column({1L, 2L, 3L}), std::move(right), 1, 1, std::nullopt);
  EXPECT_EQ(drain(join), (rows{{1L, 9L}, {3L, 9L}}));
}

}  // namespace
