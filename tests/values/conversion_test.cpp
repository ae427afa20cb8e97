#include <gtest/gtest.h>

#include <limits>
#include <optional>

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"
#include "sql_executor/exec_utils.h"
#include "support/fake_kernel.h"
#include "values/numbers.h"
#include "values/numeric_oracle.h"

namespace qd::tests {
namespace {

using db_string::dt_string;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;
using sql_executor::value;
using sql_executor::utils::converter;
using sql_executor::utils::unify_numeric_types;

// What a conversion gave: a value, or the code it raised.
struct outcome {
  std::optional<value> result;
  unsigned int code = 0;
};

template <typename T>
outcome convert(value const& source) {
  try {
    return {converter<T>()(source)};
  } catch (db_util::db_exception const& error) {
    return {std::nullopt, error.code};
  }
}

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr unsigned int out_of_range = error_handling::out_of_range;
constexpr unsigned int not_supported = error_handling::conversion_not_supported;
constexpr unsigned int wrong_kind = error_handling::wrong_operand_kind;

template <typename T>
void expect_converted(value const& source, T expected) {
  outcome const converted = convert<T>(source);
  ASSERT_TRUE(converted.result) << source << " raised " << converted.code;
  EXPECT_EQ(*converted.result, value(expected)) << source;
}

template <typename T>
void expect_refused(value const& source, unsigned int code) {
  outcome const converted = convert<T>(source);
  EXPECT_FALSE(converted.result) << source;
  EXPECT_EQ(converted.code, code) << source;
}

// A Decimal just below zero is refused as unsigned, though it would truncate to 0 as signed.
TEST(conversion, edges_of_the_decimals) {
  expect_refused<unsigned long>(Decimal{-500'000}, out_of_range);
  expect_refused<unsigned long>(Decimal{-1}, out_of_range);
  expect_converted(Decimal{-500'000}, 0L);
  expect_converted(Decimal{2'999'999}, 2L);
  expect_converted(Decimal{-2'999'999}, -2L);
  expect_converted(4'398'046'511'103UL, Decimal{4'398'046'511'103'000'000});
  expect_refused<Decimal>(4'398'046'511'104UL, out_of_range);
  expect_refused<Decimal>(~0UL, out_of_range);
  expect_converted(-4'398'046'511'103L, Decimal{-4'398'046'511'103'000'000});
  expect_refused<Decimal>(-4'398'046'511'104L, out_of_range);
  expect_converted(true, Decimal{1'000'000});
  expect_refused<Decimal>(1.0, not_supported);
  expect_refused<Decimal>(1.0F, not_supported);
  expect_converted(Decimal{1}, true);
  expect_converted(Decimal{0}, false);
}

// The millionths become a floating number first, and are divided by a million as one: twice
// rounded, which these Decimals show.
TEST(conversion, decimals_are_rounded_twice_on_the_way_to_floating_numbers) {
  expect_converted(Decimal{100'000}, 0.1);
  expect_converted(Decimal{100'000}, 0.1F);
  unsigned rounded_otherwise = 0;
  for (long scaled = 16'777'217; scaled < 16'777'217 + 2000; scaled += 2) {
    float const once = binary128(binary128(scaled) / 1'000'000).convert_to<float>();
    binary128 const millionths_as_float = binary128(scaled).convert_to<float>();
    float const twice = binary128(millionths_as_float / 1'000'000).convert_to<float>();
    expect_converted(Decimal{scaled}, twice);
    if (once != twice) ++rounded_otherwise;
  }
  EXPECT_GT(rounded_otherwise, 0U);
}

TEST(conversion, truth_of_numbers) {
  expect_converted(nan, true);
  expect_converted(std::numeric_limits<float>::quiet_NaN(), true);
  expect_converted(-0.0, false);
  expect_converted(std::numeric_limits<double>::denorm_min(), true);
  expect_converted(~0UL, true);
  expect_converted(0L, false);
}

TEST(conversion, to_floating_numbers_rounds_to_the_nearest) {
  expect_converted(~0UL, 0x1p64);
  expect_converted(~0UL, 0x1p64F);
  expect_converted(0.1F, 0.10000000149011612);
  expect_refused<float>(0.1, not_supported);
  number_source numbers(3);
  for (unsigned i = scaled_down(100'000); i > 0; --i) {
    for (unsigned kind : {2, 3}) {
      value const source = numbers.of_kind(kind);
      visit_number(
          [&](auto number) {
            expect_converted(source,
                             binary128(millionths(number) / 1'000'000).convert_to<double>());
            expect_converted(source, binary128(millionths(number) / 1'000'000).convert_to<float>());
          },
          source);
      if (HasFailure()) return;
    }
  }
}

// Against the exact number, its fraction cut off.
TEST(conversion, random_numbers_to_integers) {
  number_source numbers(4);
  auto const check = [](value const& source, auto least, auto greatest) {
    using T = decltype(least);
    visit_number(
        [&](auto number) {
          binary128 const exact = millionths(number) / 1'000'000;
          bool const negative_to_unsigned = std::is_unsigned_v<T> && exact < 0;
          if (is_nan(number) || negative_to_unsigned || trunc(exact) < binary128(least) ||
              trunc(exact) > binary128(greatest)) {
            expect_refused<T>(source, out_of_range);
          } else {
            expect_converted(source, static_cast<T>(integer(trunc(exact))));
          }
        },
        source);
  };
  for (unsigned kind : numeric_kinds) {
    std::vector<value> sources = boundary_numbers(kind);
    for (unsigned i = scaled_down(50'000); i > 0; --i) sources.push_back(numbers.of_kind(kind));
    for (value const& source : sources) {
      check(source, 0UL, ~0UL);
      check(source, std::numeric_limits<long>::min(), std::numeric_limits<long>::max());
      if (HasFailure()) return;
    }
  }
}

template <typename... T>
void expect_all_refused(value const& source, unsigned int code) {
  (expect_refused<T>(source, code), ...);
}

TEST(conversion, kinds_that_do_not_convert) {
  value const text = dt_string(u"1", false);
  value const others[] = {Binary{{1}}, QD_OBJ_REF{1, 2}, SetSpecifier{u"a"}};
  expect_all_refused<bool, unsigned long, long, Decimal, float, double>(text, not_supported);
  for (value const& other : others) {
    expect_all_refused<bool, unsigned long, long, Decimal, float, double, dt_string>(other,
                                                                                     wrong_kind);
  }
  expect_all_refused<Binary, QD_OBJ_REF>(text, wrong_kind);
  expect_all_refused<dt_string, Binary, QD_OBJ_REF, SetSpecifier>(1L, wrong_kind);
  expect_all_refused<SetSpecifier>(others[1], wrong_kind);
  EXPECT_EQ(convert<Binary>(others[0]).result, others[0]);
  EXPECT_EQ(convert<QD_OBJ_REF>(others[1]).result, others[1]);
  EXPECT_EQ(convert<SetSpecifier>(others[2]).result, others[2]);
  EXPECT_EQ(convert<dt_string>(text).result, text);
  for (outcome const& converted :
       {convert<bool>(NullValue{}), convert<dt_string>(NullValue{}), convert<Binary>(NullValue{}),
        convert<SetSpecifier>(NullValue{}), convert<NullValue>(text), convert<NullValue>(1.5)}) {
    EXPECT_TRUE(converted.result && converted.result->is_null());
  }
}

struct unification {
  value left;
  value right;
  value unified_left;
  value unified_right;
};

TEST(unification, the_higher_kind_wins) {
  value const null = NullValue{};
  value const text = dt_string(u"1", false);
  unification const cases[] = {
      {10UL, 20UL, 10L, 20L},  // Two unsigned operands become signed.
      {true, 5UL, 1UL, 5UL},      {5L, true, 5L, 1L},
      {5UL, -1L, 5L, -1L},        {2L, Decimal{1}, Decimal{2'000'000}, Decimal{1}},
      {0.5F, 1L, 0.5F, 1.0F},     {Decimal{100'000}, 0.5F, 0.1F, 0.5F},
      {0.5F, 0.25, 0.5, 0.25},    {Decimal{100'000}, 0.2, 0.1, 0.2},
      {true, false, true, false}, {text, text, text, text},
      {null, text, null, null},   {1L, null, null, null},
  };
  for (unification const& c : cases) {
    auto const [left, right] = unify_numeric_types()(c.left, c.right);
    EXPECT_EQ(left, c.unified_left) << c.left << ", " << c.right;
    EXPECT_EQ(right, c.unified_right) << c.left << ", " << c.right;
  }
}

unsigned int code_of_unifying(value const& left, value const& right) {
  try {
    unify_numeric_types()(left, right);
    return 0;
  } catch (db_util::db_exception const& error) {
    return error.code;
  }
}

TEST(unification, refusals) {
  value const text = dt_string(u"1", false);
  EXPECT_EQ(code_of_unifying(1UL << 63, 1UL), out_of_range);
  EXPECT_EQ(code_of_unifying(1UL, 1UL << 63), out_of_range);
  EXPECT_EQ(code_of_unifying(1UL << 63, 1L), out_of_range);
  EXPECT_EQ(code_of_unifying(1UL << 63, 1.0), 0U);
  EXPECT_EQ(code_of_unifying(1L << 43, Decimal{1}), out_of_range);
  EXPECT_EQ(code_of_unifying(text, 1L), wrong_kind);
  EXPECT_EQ(code_of_unifying(1.0, QD_OBJ_REF{1, 0}), wrong_kind);
  EXPECT_EQ(code_of_unifying(text, Binary{}), wrong_kind);
}

// Classes are named in the catalogue, which the fake kernel stands for.
class class_names : public testing::Test {
 protected:
  void SetUp() override { fake_kernel::reset(); }

  static value cast(char16_t const* name) {
    return converter<SetSpecifier>()(dt_string(name, false));
  }
};

// Parts end at dots, and only an empty last part is dropped.
TEST_F(class_names, are_split_at_dots) {
  for (char16_t const* name : {u"a.b", u"a.b.", u"a..b"}) {
    EXPECT_THROW(cast(name), metalayer::exceptions::BadArg);
  }
  // The fake kernel joins the parts again, the last one first.
  EXPECT_EQ(fake_kernel::current().names_asked,
            (std::vector<std::u16string>{u"b.a", u"b.a", u"b..a"}));
}

TEST_F(class_names, become_set_specifiers) {
  fake_kernel::kernel& kernel = fake_kernel::current();
  kernel.tables[u"b.a"] = {9, 0};
  // The class has no set-specifier record, then one without a text, then one with a text.
  EXPECT_THROW(cast(u"a.b"), std::logic_error);
  kernel.entries[{fake_kernel::set_specifier_type, kernel.opened.back().first}] = {{30, 4, 7}};
  EXPECT_THROW(cast(u"a.b"), std::logic_error);
  kernel.cells[{30, 3}] = std::u16string(u"\x1\x2\0\x3", 4);
  EXPECT_EQ(cast(u"a.b"), value(SetSpecifier{u"\x1\x2"}));
  EXPECT_EQ(kernel.reads.back(),
            (fake_kernel::column_read{"get_string", fake_kernel::catalogue_context, 30,
                                      4UL << 16 | 7, 3}));
  EXPECT_TRUE(kernel.open_iterators.empty());
}

}  // namespace
}  // namespace qd::tests
