// The keys that a scan builds from its bounds, byte for byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "db_util/db_exception.h"
#include "dbmetalayer/database.h"
#include "sql_executor/operators/value_from_context.h"
#include "sql_executor/scan_enumerator.h"

namespace qd::sql_executor {
namespace {

using db_string::dt_string;
using operator_library::Binary;
using operator_library::NullValue;
using op = scan::op;

struct bound {
  op relation;
  value operand;
  bool exclude_null = false;
};

// A key as hexadecimal text, without the padding behind its end mark.
std::string hexadecimal(std::vector<unsigned char> const& key) {
  EXPECT_EQ(key.size() % 8, 0U);
  std::size_t size = key.size();
  while (size > 0 && key[size - 1] == 0) --size;
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(key[i]));
    text += digits;
  }
  return text;
}

class ScanKeys : public testing::Test {
 protected:
  // The range of a scan over columns of the given types with conditions on the leading ones:
  // "[first .. last)" with round brackets for exclusive ends.
  std::string range(std::vector<scan::index_column_info> columns,
                    std::vector<std::vector<bound>> const& bounds) {
    evaluation_context context;
    context.kernel_context = snapshot_.context();
    std::vector<std::vector<scan::interval_endpoint>> endpoints;
    for (std::vector<bound> const& column_bounds : bounds) {
      endpoints.emplace_back();
      for (bound const& condition : column_bounds) {
        auto const position = static_cast<short>(context.parameters.size());
        context.parameters.push_back(condition.operand);
        endpoints.back().push_back(
            {condition.relation, condition.exclude_null, ContextSlot(parameter_index{position})});
      }
    }
    scan const node(1, std::move(columns), std::move(endpoints), true);
    KernelKeys const keys = scan_enumerator::build_kernel_keys(node, context);
    return (keys.first_inclusive ? "[" : "(") + hexadecimal(keys.first) + " .. " +
           hexadecimal(keys.last) + (keys.last_inclusive ? "]" : ")");
  }

  std::string range(value_type type, std::vector<bound> const& bounds) {
    return range({{type, true}}, {bounds});
  }

  dt_string string(char16_t const* text, bool infinite = false) {
    return dt_string(snapshot_.context(), text, infinite);
  }

  // A string's field: its densetext payload is one chunk here.
  std::string field(dt_string const& text) {
    std::vector<unsigned char> key;
    db_util::KeyWriter<std::vector<unsigned char>&> writer(key);
    writer.write_string(text);
    key.resize(writer.written());
    std::string result;
    for (unsigned char const byte : key) {
      char digits[4];
      std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(byte));
      result += digits;
    }
    return result;
  }

  embedded::database database_ = embedded::database::open_temporary();
  embedded::snapshot snapshot_ = database_.begin_snapshot();
  embedded::thread_binding binding_ = snapshot_.bind();
};

TEST_F(ScanKeys, AnUnboundedColumnGoesFromNullToItsLargestKey) {
  struct {
    value_type type;
    std::string largest;
  } const cases[] = {
      {value_type::unsigned_integer, "28FFFFFFFFFFFFFFFF"},
      {value_type::signed_integer, "28FFFFFFFFFFFFFFFF"},
      // 4398046511103 << 21 | 99 << 14 | 9999, plus 2^63.
      {value_type::decimal, "28FFFFFFFFFFF8E70F"},
      {value_type::binary, "210180"},
      {value_type::object_reference, "28FFFFFFFFFFFFFFFF"},
      {value_type::boolean, "280000000000000001"},
      {value_type::string, field(string(u"", true))},
  };
  for (auto const& [type, largest] : cases) {
    EXPECT_EQ(range({{type, true}}, {}), "[60C0 .. " + largest + "C0]");
    EXPECT_EQ(range({{type, false}}, {}), "[" + largest + "C0 .. 60C0]") << "descending";
    EXPECT_EQ(range(type, {}), "[60C0 .. " + largest + "C0]") << "bounded by nothing";
  }
}

TEST_F(ScanKeys, TheLastBoundedColumnDecidesHowTheColumnsBehindAreFilled) {
  std::string const five = "288000000000000005";
  std::string const largest = "28FFFFFFFFFFFFFFFF";
  value_type const number = value_type::signed_integer;
  struct {
    bool second_ascending;
    op relation;
    std::string expected;
  } const cases[] = {
      {true, op::equal, "[" + five + "60C0 .. " + five + largest + "C0]"},
      {true, op::greater, "(" + five + largest + "C0 .. " + largest + largest + "C0]"},
      {true, op::less, "[6060C0 .. " + five + "60C0)"},
      {false, op::equal, "[" + five + largest + "C0 .. " + five + "60C0]"},
      {false, op::greater, "(" + five + "60C0 .. " + largest + "60C0]"},
      {false, op::less, "[60" + largest + "C0 .. " + five + largest + "C0)"},
  };
  for (auto const& [second_ascending, relation, expected] : cases) {
    EXPECT_EQ(range({{number, true}, {number, second_ascending}}, {{{relation, 5L}}}), expected);
  }
  // A descending column swaps its points before they become the first and the last key.
  EXPECT_EQ(range({{number, false}}, {{{op::greater, 5L}}}),
            "[" + largest + "C0 .. " + five + "C0)");
  // An earlier bounded column gives its keys and not its flags.
  EXPECT_EQ(range({{number, true}, {number, true}}, {{{op::greater, 5L}}, {{op::equal, 5L}}}),
            "[" + five + five + "C0 .. " + largest + five + "C0]");
}

TEST_F(ScanKeys, ConditionsThatNoOrEveryKeyMeetsAreRangesAllTheSame) {
  double const nan = std::numeric_limits<double>::quiet_NaN();
  value_type const number = value_type::unsigned_integer;
  std::string const empty = "(60C0 .. 60C0)";
  EXPECT_EQ(range(number, {{op::greater, -1L}}), "[60C0 .. 28FFFFFFFFFFFFFFFFC0]");
  EXPECT_EQ(range(number, {{op::less, -1L}}), empty);
  EXPECT_EQ(range(number, {{op::equal, 2.5}}), empty);
  EXPECT_EQ(range(number, {{op::equal, NullValue(), true}}), empty);
  // NaN leaves the high point at NULL, exclusive, whatever the low point becomes.
  EXPECT_EQ(range(number, {{op::less, nan}}), empty);
  EXPECT_EQ(range(number, {{op::equal, nan}}), "[280000000000000000C0 .. 60C0)");
  // A prefix ends at the largest text that has it.
  EXPECT_EQ(range(value_type::string, {{op::starts_with, string(u"ab")}}),
            "[" + field(string(u"ab")) + "C0 .. " + field(string(u"ab", true)) + "C0)");
}

TEST_F(ScanKeys, RefusedConditions) {
  auto const code_of = [this](value_type type, bound const& condition) {
    try {
      range(type, {condition});
    } catch (db_util::db_exception const& error) {
      return error.code;
    }
    return 0U;
  };
  EXPECT_EQ(code_of(value_type::signed_integer, {op::equal, string(u"5")}), 7020U);
  EXPECT_EQ(code_of(value_type::string, {op::equal, 5L}), 7020U);
  EXPECT_EQ(code_of(value_type::object_reference, {op::equal, 5UL}), 7020U);
  EXPECT_EQ(code_of(value_type::signed_integer, {op::starts_with, 5L}), 7020U);
  EXPECT_EQ(code_of(value_type::binary, {op::starts_with, Binary{{7}}}), 7020U);

  auto const text_of = [](auto const& call) {
    try {
      call();
    } catch (std::logic_error const& error) {
      return std::string(error.what());
    }
    return std::string("nothing was raised");
  };
  EXPECT_EQ(text_of([&] {
              range(value_type::signed_integer, {{op::starts_with, 5.0}});
            }),
            "Supposedly unreachable");
  value_type const number = value_type::signed_integer;
  for (auto const& bounds : {std::vector<std::vector<bound>>{}, {{{op::equal, 1L}}}}) {
    EXPECT_EQ(text_of([&] {
                range({{number, true}, {value_type::single_float, true}}, bounds);
              }),
              "Index key of float type is not supported");
    EXPECT_EQ(text_of([&] {
                range({{number, true}, {value_type::double_float, false}}, bounds);
              }),
              "Index key of double type is not supported");
  }
  EXPECT_EQ(text_of([&] {
              range({{number, true}}, {{}, {}});
            }),
            "a scan bounds 2 columns of an index of 1");
}

}  // namespace
}  // namespace qd::sql_executor
