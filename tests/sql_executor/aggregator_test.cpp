#include "sql_executor/aggregator.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <random>

#include "support/literal_rows.h"
#include "support/outcome.h"
#include "support/probe.h"

namespace {

namespace aggregators = qd::sql_executor::aggregators;
using literal_rows::bound;
using operator_library::Decimal;
using operator_library::NullValue;
using qd::sql_executor::aggregate_variant;
using qd::sql_executor::aggregator;
using qd::sql_executor::evaluation_context;
using qd::sql_executor::row;
using qd::sql_executor::value;
using qd::sql_executor::operators::operator_ptr;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr long greatest = std::numeric_limits<long>::max();
value const null = NullValue{};

template <typename... T>
std::vector<operator_ptr> expressions(T&&... expression) {
  std::vector<operator_ptr> list;
  (list.push_back(std::move(expression)), ...);
  return list;
}

template <typename... T>
std::vector<aggregate_variant> aggregates(T&&... description) {
  std::vector<aggregate_variant> list;
  (list.push_back(std::move(description)), ...);
  return list;
}

// The outcome of one aggregate function of one column, all rows being one group.
template <typename Aggregate>
std::string result_of(std::vector<value> const& column) {
  return outcome::of_call([&column] {
    aggregator node(literal_rows::column(column), {}, aggregates(Aggregate(bound(0))));
    return literal_rows::drain(node).at(0).at(0);
  });
}

struct aggregate_case {
  std::string (*function)(std::vector<value> const&);
  std::vector<value> column;
  char const* result;
};

// Where an overflow shows depends on the order of the rows, which plans do not fix.
TEST(aggregates, overflow_in_the_order_of_the_rows) {
  auto const sum = result_of<aggregators::sum>;
  auto const exact_avg = result_of<aggregators::exact_avg>;
  Decimal const largest{Decimal::max_scaled};
  aggregate_case const cases[] = {
      {sum, {greatest, 1L}, "error 7041"},
      {sum, {greatest, 1L, -1L}, "error 7041"},
      {sum, {greatest, -1L, 1L}, "signed 9223372036854775807"},
      {sum, {1UL << 63}, "error 7041"},
      {sum, {largest, Decimal{1}}, "error 7041"},
      {exact_avg, {largest, Decimal{1}, Decimal{-1}}, "decimal 1466015503701333333"},
      {exact_avg, {largest, Decimal{1}}, "error 7041"},
      {exact_avg, {largest, largest, largest}, "error 7041"},
      {exact_avg, {1L << 42}, "error 7041"},
  };
  for (aggregate_case const& c : cases) {
    std::string inputs;
    for (value const& input : c.column) inputs += outcome::of(input) + ", ";
    EXPECT_EQ(c.function(c.column), c.result) << inputs;
  }
}

TEST(aggregator, without_grouping_there_is_one_row) {
  literal_rows::use child;
  aggregator node(literal_rows::column({}, &child), {},
                  aggregates(aggregators::sum(bound(0)), aggregators::count_star()));
  evaluation_context context;
  std::unique_ptr<qd::sql_executor::enumerator> const enumerator = node.enumerate(context);
  EXPECT_EQ(child.pulls, 0U);
  EXPECT_EQ(enumerator->next(context), (row{null, 0L}));
  EXPECT_EQ(child.open, 0U);
  EXPECT_EQ(enumerator->next(context), std::nullopt);
  EXPECT_EQ(child.pulls, 1U);
}

// All NaN keys hash alike and equal nothing: in one hash table, each would meet every other one.
TEST(aggregator, many_nan_keys_take_no_quadratic_time) {
  constexpr std::size_t row_count = 300'000;
  std::vector<value> const column(row_count, value(nan));
  aggregator node(literal_rows::column(column), expressions(bound(0)),
                  aggregates(aggregators::count_distinct_single(bound(0))));
  EXPECT_EQ(literal_rows::drain(node).size(), row_count);
}

// Against a map over the printed keys.
TEST(aggregator, random_groups) {
  std::mt19937 random(13);
  std::vector<row> rows;
  std::map<std::pair<std::string, std::string>, std::pair<long, long>> expected;
  for (unsigned i = 0; i < 20'000; ++i) {
    long const small = random() % 50;
    value const first = small == 0 ? null : small % 2 == 0 ? value(small) : value(0.5 * small);
    value const second = Decimal{static_cast<long>(random() % 40)};
    long const addend = static_cast<long>(random() % 100);
    rows.push_back({first, second, addend});
    auto& [count, sum] = expected[{outcome::of(first), outcome::of(second)}];
    ++count;
    sum += addend;
  }
  aggregator node(literal_rows::of(rows), expressions(bound(0), bound(1)),
                  aggregates(aggregators::count_star(), aggregators::sum(bound(2))));
  std::vector<row> const groups = literal_rows::drain(node);
  EXPECT_EQ(groups.size(), expected.size());
  for (row const& group : groups) {
    auto const [count, sum] = expected[{outcome::of(group[2]), outcome::of(group[3])}];
    ASSERT_EQ(group[0], value(count));
    ASSERT_EQ(group[1], value(sum));
  }
}

// Keys before arguments, each in order; the row stands behind those of the enclosing nodes.
TEST(aggregator, expressions_are_evaluated_in_order_with_the_row_bound) {
  literal_rows::use child;
  std::string log;
  aggregator node(
      literal_rows::column({3L, 4L}, &child),
      expressions(probe::yields(1L, 'a', &log), probe::yields(2L, 'b', &log)),
      aggregates(aggregators::count(probe::yields(1L, 'c', &log)), aggregators::max(bound(1))));
  evaluation_context context;
  context.bound_data = {7L};
  std::unique_ptr<qd::sql_executor::enumerator> const enumerator = node.enumerate(context);
  EXPECT_EQ(child.pulls, 0U);
  EXPECT_EQ(enumerator->next(context), (row{2L, 4L, 1L, 2L}));
  EXPECT_EQ(log, "abcabc");
  EXPECT_EQ(enumerator->next(context), std::nullopt);
  EXPECT_EQ(child.pulls, 3U);
}

}  // namespace
