#include "sql_executor/order_by.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"
#include "sql_executor/operators/value_order.h"
#include "support/literal_rows.h"
#include "support/outcome.h"
#include "support/probe.h"

namespace {

using db_string::dt_string;
using literal_rows::bound;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;
using qd::sql_executor::evaluation_context;
using qd::sql_executor::order_by;
using qd::sql_executor::row;
using qd::sql_executor::value;
using qd::sql_executor::operators::operator_ptr;
using qd::sql_executor::utils::three_way_key_comparator;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
value const null = NullValue{};

// The rows sorted by their first columns, one per direction.
std::vector<row> sorted(std::vector<row> rows, std::vector<bool> ascending) {
  std::vector<operator_ptr> keys;
  for (std::size_t i = 0; i < ascending.size(); ++i) keys.push_back(bound(static_cast<short>(i)));
  order_by node(literal_rows::of(std::move(rows)), std::move(keys), std::move(ascending));
  return literal_rows::drain(node);
}

// Values of a kind, close together and around the edges of their encoding.
value random_value(unsigned kind, std::mt19937& random) {
  long const small = static_cast<long>(random() % 5) - 2;
  bool const extreme = random() % 8 == 0;
  auto const bytes = [&random](unsigned limit) {
    std::vector<unsigned char> content(random() % limit);
    for (unsigned char& byte : content)
      byte = static_cast<unsigned char>(
          "\0\0\1\xFF"
          "a"[random() % 5]);
    return content;
  };
  switch (kind) {
    case 0:
      return small > 0;
    case 1: {
      std::vector<unsigned char> densetext = bytes(random() % 4 == 0 ? 30 : 5);
      densetext.insert(densetext.begin(), static_cast<unsigned char>(0x80 | random() % 8));
      if (random() % 9 == 0) densetext.clear();
      return dt_string(densetext.data(), densetext.size());
    }
    case 2:
      return extreme ? ~0UL : static_cast<unsigned long>(small + 2);
    case 3:
      return extreme ? std::numeric_limits<long>::min() : small;
    case 4:
      return Decimal{extreme ? -Decimal::max_scaled : small};
    case 5:
      return extreme      ? -HUGE_VAL
             : small == 0 ? (random() % 2 == 0 ? 0.0 : -0.0)
                          : static_cast<double>(small) * 1e-310;
    case 6:
      return extreme      ? HUGE_VALF
             : small == 0 ? (random() % 2 == 0 ? 0.0F : -0.0F)
                          : static_cast<float>(small) * 0.5F;
    case 7:
      return Binary{bytes(random() % 4 == 0 ? 30 : 4)};
    case 8:
      return QD_OBJ_REF{static_cast<unsigned long>(small + 2), random()};
    default: {
      SetSpecifier content;
      for (unsigned char unit : bytes(4)) {
        content.specifier.push_back(static_cast<char16_t>(unit * 0x101U));
      }
      return content;
    }
  }
}

// Sorts rows whose last value is their number, and expects that each comes out once, unchanged, and
// none behind one with a greater key.
void expect_sorted(std::vector<row> const& rows, std::vector<bool> const& ascending) {
  three_way_key_comparator const compare(0);
  std::vector<row> const result = sorted(rows, ascending);
  ASSERT_EQ(result.size(), rows.size());
  std::vector<bool> seen(rows.size());
  for (std::size_t i = 0; i < result.size(); ++i) {
    std::size_t const number = get<unsigned long>(result[i].back());
    ASSERT_FALSE(seen[number]);
    seen[number] = true;
    ASSERT_EQ(result[i], rows[number]);
    if (i == 0) continue;
    for (std::size_t key = 0; key < ascending.size(); ++key) {
      long const order = compare(result[i - 1][key], result[i][key]);
      if (order == 0) continue;
      ASSERT_EQ(order < 0, ascending[key])
          << outcome::of(result[i - 1][key]) << " before " << outcome::of(result[i][key]);
      break;
    }
  }
}

TEST(order_by, random_keys_of_every_kind) {
  std::mt19937 random(11);
  for (unsigned round = 0; round < 3000; ++round) {
    std::vector<bool> ascending(1 + random() % 3);
    std::vector<unsigned> kinds;
    for (std::size_t i = 0; i < ascending.size(); ++i) {
      ascending[i] = random() % 2 == 0;
      kinds.push_back(random() % 10);
    }
    std::vector<row> rows(round % 100 == 0 ? 3000 : random() % 40);
    for (std::size_t number = 0; number < rows.size(); ++number) {
      for (unsigned kind : kinds) {
        rows[number].push_back(random() % 6 == 0 ? null : random_value(kind, random));
      }
      rows[number].push_back(number);
    }
    expect_sorted(rows, ascending);
    if (HasFatalFailure()) return;
  }
}

// Only where such values meet is there an error: a lone one, one beside NULLs, or one that an
// earlier key keeps apart is sorted like any other.
TEST(order_by, nan_and_mixed_kinds_matter_only_where_they_meet) {
  EXPECT_TRUE(std::isnan(get<double>(sorted({{nan}}, {true})[0][0])));
  EXPECT_EQ(sorted({{nan}, {null}}, {true})[0], row{null});
  EXPECT_EQ(sorted({{1.5}, {null}, {null}}, {false})[0], row{1.5});
  EXPECT_EQ(sorted({{2L, 1L}, {1L, 1.0}, {3L, true}}, {true, true}),
            (std::vector<row>{{1L, 1.0}, {2L, 1L}, {3L, true}}));

  // Values of all kinds as the second key, each kind apart from the others by the first.
  std::mt19937 random(12);
  for (bool ascending : {true, false}) {
    std::vector<row> rows;
    for (unsigned long number = 0; number < 5000; ++number) {
      unsigned const kind = random() % 10;
      rows.push_back({static_cast<long>(kind), random_value(kind, random), number});
    }
    expect_sorted(rows, {true, ascending});
  }
}

std::string outcome_of_sorting(std::vector<row> rows) {
  return outcome::of_call([&rows] {
    sorted(std::move(rows), {true});
    return null;
  });
}

TEST(order_by, nan_and_mixed_kinds_that_meet_are_errors) {
  EXPECT_EQ(outcome_of_sorting({{1L}, {2.0}}), "exception: incompatible types");
  EXPECT_EQ(outcome_of_sorting({{1L}, {null}, {1UL}}), "exception: incompatible types");
  EXPECT_EQ(outcome_of_sorting({{1.0}, {nan}}), "error 7041");
  EXPECT_EQ(outcome_of_sorting({{nan}, {nan}}), "error 7041");
}

// The keys see the rows of the enclosing nodes before the row; all work is done by `enumerate`.
TEST(order_by, keys_are_evaluated_once_per_row_with_the_row_bound) {
  literal_rows::use child;
  std::string log;
  std::vector<operator_ptr> keys;
  keys.push_back(probe::yields(1L, 'a', &log));
  keys.push_back(bound(0));
  keys.push_back(bound(2));
  keys.push_back(probe::yields(1L, 'b', &log));
  order_by node(literal_rows::of({{1L, 2L}, {1L, 1L}}, &child), std::move(keys),
                {true, true, true, true});
  evaluation_context context;
  context.bound_data = {7L};
  std::unique_ptr<qd::sql_executor::enumerator> const enumerator = node.enumerate(context);
  EXPECT_EQ(log, "abab");
  EXPECT_EQ(child.pulls, 3U);
  EXPECT_EQ(child.open, 0U);
  EXPECT_EQ(context.bound_data.size(), 1U);
  EXPECT_EQ(enumerator->next(context), (row{1L, 1L}));
  EXPECT_EQ(enumerator->next(context), (row{1L, 2L}));
  EXPECT_EQ(enumerator->next(context), std::nullopt);
  EXPECT_EQ(enumerator->next(context), std::nullopt);
  EXPECT_EQ(literal_rows::drain(node, context).size(), 2U);
}

TEST(order_by, a_failing_key_leaves_nothing_open) {
  literal_rows::use child;
  std::vector<operator_ptr> keys;
  keys.push_back(probe::fails());
  order_by node(literal_rows::column({1L}, &child), std::move(keys), {true});
  EXPECT_THROW(literal_rows::drain(node), probe::failure);
  EXPECT_EQ(child.open, 0U);
}

}  // namespace
