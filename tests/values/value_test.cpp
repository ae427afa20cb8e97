#include "sql_executor/value.h"

#include <gtest/gtest.h>

#include <boost/container_hash/hash.hpp>
#include <limits>
#include <variant>

#include "values/numbers.h"

namespace qd::tests {
namespace {

using db_string::dt_string;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;
using sql_executor::value;

// What `value` stands for, written plainly.
using plain_variant = std::variant<bool, dt_string, unsigned long, long, Decimal, double, float,
                                   Binary, QD_OBJ_REF, SetSpecifier, NullValue>;

dt_string text_of_size(unsigned long size) {
  std::vector<unsigned char> const bytes(size, 0x80);
  return dt_string(bytes.data(), bytes.size());
}

// At least two contents of each kind but NULL; some own memory.
std::vector<plain_variant> samples() {
  return {false,
          true,
          text_of_size(0),
          text_of_size(15),
          text_of_size(40),
          0UL,
          ~0UL,
          0L,
          -1L,
          Decimal{0},
          Decimal{1'500'000},
          0.0,
          -0.0,
          1.5,
          0.0F,
          1.5F,
          Binary{},
          Binary{{1, 2, 3}},
          QD_OBJ_REF{1, 2},
          QD_OBJ_REF{3, 2},
          SetSpecifier{},
          SetSpecifier{u"a longer set specifier"},
          NullValue{}};
}

value to_value(plain_variant const& sample) {
  return std::visit([](auto const& content) { return value(content); }, sample);
}

TEST(value, hashes_and_compares_like_a_variant) {
  for (plain_variant const& sample : samples()) {
    value const source = to_value(sample);
    EXPECT_EQ(source.index(), sample.index());
    EXPECT_EQ(hash_value(source), boost::hash<plain_variant>()(sample)) << sample.index();
    for (plain_variant const& other : samples()) {
      EXPECT_EQ(source == to_value(other), sample == other)
          << sample.index() << ", " << other.index();
    }
  }
  value const nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(nan == nan);
  // References are the same object whatever their address hint.
  EXPECT_EQ(value(QD_OBJ_REF{1, 2}), value(QD_OBJ_REF{1, 3}));
  EXPECT_EQ(hash_value(value(QD_OBJ_REF{1, 2})), hash_value(value(QD_OBJ_REF{1, 3})));
}

// Every kind over every kind: nothing is shared, lost or freed twice.
TEST(value, copies_and_moves_between_all_kinds) {
  for (plain_variant const& from : samples()) {
    for (plain_variant const& to : samples()) {
      value const source = to_value(from);
      value copied = to_value(to);
      copied = source;
      EXPECT_EQ(copied, source);

      value moved = to_value(to);
      moved = std::move(copied);
      EXPECT_EQ(moved, source);
      EXPECT_EQ(copied, value(false));  // NOLINT: a moved-from value is valid
      copied = moved;
      EXPECT_EQ(copied, source);

      value& itself = moved;
      moved = itself;
      moved = std::move(itself);
      EXPECT_EQ(moved, source);
    }
  }
  value original = Binary{{1, 2, 3}};
  value const copy = original;
  get<Binary>(original).bytes[0] = 9;
  EXPECT_EQ(get<Binary>(copy).bytes[0], 1);
}

TEST(value, reading_another_alternative_is_reported) {
  for (plain_variant const& sample : samples()) {
    value const source = to_value(sample);
    bool const is_long = holds_alternative<long>(source);
    EXPECT_EQ(get_if<long>(&source) != nullptr, is_long);
    if (is_long) continue;
    try {
      get<long>(source);
      ADD_FAILURE() << "read a long from kind " << sample.index();
    } catch (std::bad_variant_access const& error) {
      EXPECT_STREQ(error.what(), "Unexpected index");
    }
  }
}

}  // namespace
}  // namespace qd::tests
