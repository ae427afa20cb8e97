#include "sql_executor/operators/value_order.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>

#include "db_string/densetext.h"
#include "values/numbers.h"

namespace qd::tests {
namespace {

using db_string::dt_string;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;
using sql_executor::value;
using sql_executor::utils::three_way_key_comparator;

long compare_texts(std::string const& left, std::string const& right) {
  return DenseText4Compare(reinterpret_cast<unsigned char const*>(left.data()), left.size(),
                           reinterpret_cast<unsigned char const*>(right.data()), right.size());
}

dt_string text_of(std::string const& bytes) {
  return dt_string(reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size());
}

struct text_case {
  std::string left;
  std::string right;
  long expected;
};

TEST(densetext_order, headers_and_magnitudes) {
  using namespace std::string_literals;
  text_case const cases[] = {
      {"", "", 0},
      {"\x80", "", 0},  // No bits and no bytes are level.
      {"", "\x80"s + "a", -1},
      {"\x80"s + "a", "", 1},
      {"\x80"s + "ab", "\x80"s + "ac", -2},
      {"\x80"s + "b", "\x80"s + "ab", 1},
      {"\x80"s + "ab", "\x80"s + "abc", -3},
      {"\x84"s + "a", "\x80"s + "a", -2},   // 4 bits of the same byte.
      {"\x84"s + "a", "\x80"s + "`", 1},    // The last byte counts with its unused bits.
      {"\0\x80"s + "a", "\x80"s + "a", 0},  // A header of two bytes.
      {"\x01\x80"s + std::string(17, 'x'), "\x80"s + "x", 0},  // 128 unused bits of 136.
      {"\x88"s + "a", "", 0},                                  // All of the payload is unused,
      {"\xFF"s + "a", "\x80", 0},                              // or more than all of it.
      {"\x01\x02", "\x80", 0},                                 // The header does not end.
  };
  for (text_case const& c : cases) {
    EXPECT_EQ(compare_texts(c.left, c.right), c.expected)
        << testing::PrintToString(c.left) << ", " << testing::PrintToString(c.right);
  }
}

// Differences at every position around whole words, against a comparison byte by byte.
TEST(densetext_order, random_texts_byte_by_byte) {
  std::mt19937 random(8);
  for (unsigned i = scaled_down(300'000); i > 0; --i) {
    std::string left(random() % 24, 'x');
    std::string right(random() % 24, 'x');
    for (std::string* text : {&left, &right}) {
      if (!text->empty() && random() % 2 == 0) (*text)[random() % text->size()] ^= random() & 0xFF;
    }
    long const common = static_cast<long>(std::min(left.size(), right.size()));
    long expected = left.size() == right.size() ? 0 : common + 1;
    if (left.size() < right.size()) expected = -expected;
    for (long position = common - 1; position >= 0; --position) {
      unsigned char const a =
          static_cast<unsigned char>(left[static_cast<unsigned long>(position)]);
      unsigned char const b =
          static_cast<unsigned char>(right[static_cast<unsigned long>(position)]);
      if (a != b) expected = a < b ? -position - 1 : position + 1;
    }
    ASSERT_EQ(compare_texts("\x80" + left, "\x80" + right), expected)
        << testing::PrintToString(left) << ", " << testing::PrintToString(right);
  }
}

int sign(long number) {
  return number < 0 ? -1 : number > 0;
}

// Every list is in order, each element before all that follow it.
TEST(value_order, every_kind_after_null) {
  value const null = NullValue{};
  std::vector<std::vector<value>> const lists = {
      {null, false, true},
      {null, 0UL, 1UL, ~0UL},
      {null, std::numeric_limits<long>::min(), -1L, 0L, 1L},
      {null, Decimal{-1}, Decimal{0}, Decimal{Decimal::max_scaled}},
      {null, -HUGE_VAL, -1.0, -0.0, 1e-320, HUGE_VAL},
      {null, -1.0F, 0.0F, 1.0F},
      {null, text_of(""),
       text_of("\x80"
               "a"),
       text_of("\x80"
               "ab"),
       text_of("\x80"
               "b")},
      {null, Binary{}, Binary{{1}}, Binary{{1, 0}}, Binary{{2}}, Binary{{0x80}}},
      {null, QD_OBJ_REF{1, 9}, QD_OBJ_REF{2, 3}, QD_OBJ_REF{~0UL, 0}},
      {null, SetSpecifier{}, SetSpecifier{u"a"}, SetSpecifier{u"ab"}, SetSpecifier{u"\xD800"}},
  };
  three_way_key_comparator const comparator(1);
  for (std::vector<value> const& list : lists) {
    for (int i = 0; i < static_cast<int>(list.size()); ++i) {
      for (int j = 0; j < static_cast<int>(list.size()); ++j) {
        value const& a = list[static_cast<std::size_t>(i)];
        value const& b = list[static_cast<std::size_t>(j)];
        EXPECT_EQ(sign(comparator(a, b)), sign(i - j)) << a << " at " << i << ", " << j;
        EXPECT_EQ(sign(visit(comparator, a, b)), sign(i - j)) << a << " at " << i << ", " << j;
      }
    }
  }
  EXPECT_EQ(comparator(QD_OBJ_REF{5, 1}, QD_OBJ_REF{5, 2}), 0);
  EXPECT_EQ(comparator(-0.0, 0.0), 0);
}

TEST(value_order, refusals) {
  three_way_key_comparator const comparator(1);
  value const nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_LT(comparator(value(NullValue{}), nan), 0);
  for (value const& other : {nan, value(1.0)}) {
    for (auto const& [a, b] : {std::pair(nan, other), std::pair(other, nan)}) {
      try {
        comparator(a, b);
        ADD_FAILURE() << "a NaN was ordered";
      } catch (db_util::db_exception const& error) {
        EXPECT_EQ(error.code, error_handling::out_of_range);
      }
    }
  }
  try {
    comparator(value(1L), value(1UL));
    ADD_FAILURE() << "two kinds were ordered";
  } catch (std::logic_error const& error) {
    EXPECT_STREQ(error.what(), "incompatible types");
  }
}

}  // namespace
}  // namespace qd::tests
