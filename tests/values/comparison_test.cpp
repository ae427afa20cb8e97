#include "sql_executor/operators/comparison.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>

#include "values/numbers.h"
#include "values/numeric_oracle.h"

namespace qd::tests {
namespace {

using operator_library::Decimal;
using sql_executor::value;
using namespace sql_executor::utils;

// The relations that hold, as a text of the signs "=", "!", "<", ">", "[" for <= and "]" for >=.
std::string relations(value const& left, value const& right) {
  std::string holding;
  if (compare<relation::equal>(left, right)) holding += '=';
  if (compare<relation::not_equal>(left, right)) holding += '!';
  if (compare<relation::less_than>(left, right)) holding += '<';
  if (compare<relation::greater_than>(left, right)) holding += '>';
  if (compare<relation::less_than_or_equal>(left, right)) holding += '[';
  if (compare<relation::greater_than_or_equal>(left, right)) holding += ']';
  return holding;
}

std::string const less = "!<[";
std::string const equal = "=[]";
std::string const greater = "!>]";
std::string const only_not_equal = "!";
std::string const no_relation = "";

// -1, 0 or 1 for numbers that are not NaN.
template <typename L, typename R>
int exact_sign(L left, R right) {
  binary128 const left_number = millionths(left);
  binary128 const right_number = millionths(right);
  return left_number < right_number ? -1 : left_number > right_number ? 1 : 0;
}

template <typename L, typename R>
std::string const& expected_relations(L left, R right) {
  if (is_nan(left) || is_nan(right)) {
    // On the left of another kind it makes even not_equal false; on the right it does not.
    bool const same_kind = std::is_same_v<L, R>;
    return is_nan(left) && !same_kind ? no_relation : only_not_equal;
  }
  int const sign = exact_sign(left, right);
  return sign < 0 ? less : sign > 0 ? greater : equal;
}

void check_pair(value const& left, value const& right) {
  visit_number(
      [&](auto left_number) {
        visit_number(
            [&](auto right_number) {
              ASSERT_EQ(relations(left, right), expected_relations(left_number, right_number))
                  << left << " against " << right;
            },
            right);
      },
      left);
}

TEST(comparison, boundary_numbers_of_every_pair_of_kinds) {
  for (unsigned left_kind : numeric_kinds) {
    for (unsigned right_kind : numeric_kinds) {
      for (value const& left : boundary_numbers(left_kind)) {
        for (value const& right : boundary_numbers(right_kind)) check_pair(left, right);
      }
    }
  }
}

// Half of the right operands lie at or next to the left one, where only an exact comparison is
// right.
TEST(comparison, random_pairs_of_every_pair_of_kinds) {
  number_source numbers(20261122);
  for (unsigned left_kind : numeric_kinds) {
    for (unsigned right_kind : numeric_kinds) {
      for (unsigned i = scaled_down(1'000'000); i > 0; --i) {
        value const left = numbers.of_kind(left_kind);
        value const right =
            i % 2 == 0 ? numbers.of_kind(right_kind) : numbers.near(left, right_kind);
        check_pair(left, right);
        if (HasFatalFailure()) return;
      }
    }
  }
}

// The second oracle: the same signs from exact rationals.
TEST(comparison, the_oracle_agrees_with_rationals) {
  number_source numbers(7);
  for (unsigned i = scaled_down(200'000); i > 0; --i) {
    value const left = numbers.of_kind(numeric_kinds[numbers.below(6)]);
    value const right = numbers.near(left, numeric_kinds[numbers.below(6)]);
    visit_number(
        [&](auto left_number) {
          visit_number(
              [&](auto right_number) {
                double const widest =
                    std::max(std::abs(static_cast<double>(millionths(left_number))),
                             std::abs(static_cast<double>(millionths(right_number))));
                if (!(widest <= std::numeric_limits<double>::max())) return;
                rational const difference = exact(left_number) - exact(right_number);
                ASSERT_EQ(exact_sign(left_number, right_number), difference.sign())
                    << left << " against " << right;
              },
              right);
        },
        left);
    if (HasFatalFailure()) return;
  }
}

long next_number(long number) {
  return number + 1;
}
unsigned long next_number(unsigned long number) {
  return number + 1;
}
Decimal next_number(Decimal number) {
  return {number.scaled + 1};
}
template <typename F>
F next_number(F number) {
  return std::nextafter(number, std::numeric_limits<F>::infinity());
}

template <typename T>
void check_place(Comparison<T> const& place, value const& number, T least, T greatest) {
  visit_number(
      [&](auto content) {
        SCOPED_TRACE(testing::Message() << number << " among kind " << value(T{}).index());
        ASSERT_EQ(place.nan, is_nan(content));
        if (place.nan) return;
        ASSERT_EQ(place.below, exact_sign(content, least) < 0);
        ASSERT_EQ(place.above, exact_sign(content, greatest) > 0);
        if constexpr (!std::is_floating_point_v<T>) {
          if (place.below || place.above) {
            T const limit = place.below ? least : greatest;
            ASSERT_TRUE(place.ceil == limit && place.floor == limit);
            return;
          }
        }
        int const against_floor = exact_sign(content, place.floor);
        int const against_ceil = exact_sign(content, place.ceil);
        if (place.ceil == place.floor) {
          ASSERT_TRUE(against_floor == 0);
        } else {
          ASSERT_TRUE(against_floor > 0 && against_ceil < 0);
          ASSERT_TRUE(next_number(place.floor) == place.ceil);
        }
      },
      number);
}

// The least number below v and the greatest above it are neighbours, or both are v.
TEST(comparison, places_among_another_kind_are_the_exact_neighbours) {
  number_source numbers(42);
  constexpr Decimal greatest{Decimal::max_scaled};
  constexpr Decimal least{-Decimal::max_scaled};
  auto const check = [&](value const& number) {
    check_place(place_among<unsigned long>(number), number, 0UL, ~0UL);
    check_place(place_among<long>(number), number, std::numeric_limits<long>::min(),
                std::numeric_limits<long>::max());
    check_place(place_among<Decimal>(number), number, least, greatest);
    visit_number(
        [&]<typename U>(U content) {
          if constexpr (!std::is_same_v<U, double>) {
            constexpr double most = std::numeric_limits<double>::max();
            check_place(Detail::CompareImpl(meta_support::TypeIdentity<double>{}, content), number,
                        -most, most);
          }
          if constexpr (!std::is_same_v<U, float>) {
            constexpr float most = std::numeric_limits<float>::max();
            check_place(Detail::CompareImpl(meta_support::TypeIdentity<float>{}, content), number,
                        -most, most);
          }
        },
        number);
  };
  for (unsigned kind : numeric_kinds) {
    for (value const& number : boundary_numbers(kind)) check(number);
    for (unsigned i = scaled_down(200'000); i > 0; --i) {
      value const other = numbers.of_kind(numeric_kinds[numbers.below(6)]);
      check(i % 2 == 0 ? numbers.of_kind(kind) : numbers.near(other, kind));
      if (HasFatalFailure()) return;
    }
  }
}

TEST(comparison, only_numbers_have_a_place) {
  for (value const& other : {value(operator_library::NullValue{}), value(QD_OBJ_REF{1, 0})}) {
    try {
      place_among<long>(other);
      FAIL() << "no exception";
    } catch (db_util::db_exception const& error) {
      EXPECT_EQ(error.code, error_handling::wrong_operand_kind);
    }
  }
}

}  // namespace
}  // namespace qd::tests
