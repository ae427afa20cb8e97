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
using db_string::dt_string;
using literal_rows::bound;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;
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

TEST(aggregates, results) {
  value const text = dt_string(reinterpret_cast<unsigned char const*>("\x80"
                                                                      "a"),
                               2);
  auto const sum = result_of<aggregators::sum>;
  auto const count = result_of<aggregators::count>;
  auto const max = result_of<aggregators::max>;
  auto const min = result_of<aggregators::min>;
  auto const avg = result_of<aggregators::avg>;
  auto const exact_avg = result_of<aggregators::exact_avg>;
  auto const distinct = result_of<aggregators::count_distinct_single>;
  Decimal const largest{Decimal::max_scaled};
  aggregate_case const cases[] = {
      {count, {1L, null, 2L}, "signed 2"},
      {count, {null}, "signed 0"},

      {sum, {1UL, null, 2UL}, "signed 3"},
      {sum, {0.5F, 0.25F}, "float 0.75"},
      {sum, {Decimal{5}, Decimal{-7}}, "decimal -2"},
      {sum, {null, null}, "null"},
      {sum, {greatest, 1L}, "error 7041"},
      {sum, {greatest, 1L, -1L}, "error 7041"},
      {sum, {1UL << 63}, "error 7041"},
      {sum, {largest, Decimal{1}}, "error 7041"},
      {sum, {true}, "true"},  // One value stays what it is; only adding another is an error.
      {sum, {true, true}, "error 7020"},
      {sum, {text}, "string 80 61"},
      {sum, {text, text}, "error 7020"},
      {sum, {1L, 1.0}, "exception: Unexpected index"},
      {sum, {true, 1L}, "exception: Unexpected index"},

      {max, {null, 3L, null, 7L, 5L}, "signed 7"},
      {min, {null, 3L, null, 7L, 5L}, "signed 3"},
      {max, {QD_OBJ_REF{5, 1}, QD_OBJ_REF{5, 2}}, "reference 5@1"},  // The earlier of equal ones.
      {min, {QD_OBJ_REF{5, 1}, QD_OBJ_REF{5, 2}}, "reference 5@1"},
      {max, {null}, "null"},
      {min, {}, "null"},
      {max, {1L, 2.0}, "exception: incompatible types"},
      {min, {1L, 2.0}, "exception: incompatible types"},
      {max, {1.0, nan}, "error 7041"},
      {min, {nan, 1.0}, "error 7041"},

      {avg, {1L, 2L, null}, "double 1.5"},
      {avg, {true, Decimal{500'000}}, "double 0.75"},
      {avg, {null}, "null"},
      {avg, {text}, "error 1027"},
      {avg, {Binary{}}, "error 7020"},

      {exact_avg, {1L, 2L, 2L}, "decimal 1666667"},
      {exact_avg, {Decimal{1}, Decimal{2}, null}, "decimal 2"},  // Halves go away from zero.
      {exact_avg, {Decimal{-1}, Decimal{-2}}, "decimal -2"},
      {exact_avg, {true, 0UL}, "decimal 500000"},
      {exact_avg, {largest, Decimal{1}, Decimal{-1}}, "decimal 1466015503701333333"},
      {exact_avg, {largest, Decimal{1}}, "error 7041"},
      {exact_avg, {largest, largest, largest}, "error 7041"},
      {exact_avg, {1L << 42}, "error 7041"},
      {exact_avg, {1.0}, "error 1027"},
      {exact_avg, {text}, "error 1027"},
      {exact_avg, {SetSpecifier{}}, "error 7020"},
      {exact_avg, {null}, "null"},

      {distinct, {1L, null, 1L, null}, "unsigned 2"},
      {distinct, {1L, 1UL, 1.0, Decimal{1'000'000}, true}, "unsigned 5"},
      {distinct, {0.0, -0.0, nan, nan}, "unsigned 3"},
      {distinct, {QD_OBJ_REF{5, 1}, QD_OBJ_REF{5, 2}}, "unsigned 1"},
      {distinct, {}, "unsigned 0"},
  };
  for (aggregate_case const& c : cases) {
    std::string inputs;
    for (value const& input : c.column) inputs += outcome::of(input) + ", ";
    EXPECT_EQ(c.function(c.column), c.result) << inputs;
  }
}

TEST(aggregates, distinct_rows) {
  std::vector<row> const rows = {{1L, 2L},   {2L, 1L},    {1L, 2L},   {null, 1L},
                                 {null, 1L}, {null, nan}, {null, nan}};
  aggregator node(literal_rows::of(rows), {},
                  aggregates(aggregators::count_distinct_variadric(expressions(bound(0), bound(1))),
                             aggregators::count_star()));
  EXPECT_EQ(literal_rows::drain(node), (std::vector<row>{{5UL, 7L}}));
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

// The outcomes of the rows of each group, as a set.
std::multiset<std::string> groups_of(std::vector<value> const& column) {
  aggregator node(literal_rows::column(column), expressions(bound(0)),
                  aggregates(aggregators::count_star()));
  std::multiset<std::string> groups;
  for (row const& group : literal_rows::drain(node)) {
    EXPECT_EQ(group.size(), 2U);
    groups.insert(outcome::of(group[0]) + " of " + outcome::of(group[1]));
  }
  return groups;
}

TEST(aggregator, which_keys_are_equal) {
  using groups = std::multiset<std::string>;
  EXPECT_EQ(groups_of({}), groups());
  EXPECT_EQ(groups_of({1L, 1UL, 1.0, 1.0F, Decimal{1'000'000}, true, 1L}),
            (groups{"signed 2 of signed 1", "signed 1 of unsigned 1", "signed 1 of double 1",
                    "signed 1 of float 1", "signed 1 of decimal 1000000", "signed 1 of true"}));
  EXPECT_EQ(groups_of({null, 1L, null}), (groups{"signed 2 of null", "signed 1 of signed 1"}));
  EXPECT_EQ(groups_of({0.0, -0.0}), groups{"signed 2 of double 0"});
  EXPECT_EQ(groups_of({nan, nan}).size(), 2U);
  EXPECT_EQ(groups_of({QD_OBJ_REF{5, 1}, QD_OBJ_REF{5, 2}}), groups{"signed 2 of reference 5@1"});
  EXPECT_EQ(groups_of({SetSpecifier{u"a"}, SetSpecifier{u"ab"}, SetSpecifier{u"a"}}).size(), 2U);
  EXPECT_EQ(groups_of({Binary{{1}}, Binary{{1, 0}}, Binary{{1}}}).size(), 2U);
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

TEST(aggregator, only_keys) {
  aggregator node(literal_rows::column({3L, 4L, 3L}), expressions(bound(0)), {});
  std::vector<row> groups = literal_rows::drain(node);
  EXPECT_EQ(groups.size(), 2U);
  EXPECT_EQ(get<long>(groups.at(0).at(0)) + get<long>(groups.at(1).at(0)), 7);
}

}  // namespace
