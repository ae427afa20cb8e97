// Scans narrowed by bounds, over indexes on every kind of column, against a filter over the same
// objects in memory that compares with exact rationals.
#include <gmock/gmock.h>

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <sstream>

#include "db_util/db_exception.h"
#include "physical_queryplan/build.h"
#include "physical_queryplan/plan_printer.h"
#include "support/query_test.h"

namespace {

namespace build = physical_queryplan::build;
using boost::multiprecision::cpp_rational;
using db_string::dt_string;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;
using physical_queryplan::QueryPlan::Expression;
using physical_queryplan::QueryPlan::Scan;
using qd::embedded::column_type;
using query_test::row;
using query_test::value;

value text(char16_t const* content) {
  return dt_string(content, false);
}
value binary(std::vector<unsigned char> bytes) {
  return Binary{std::move(bytes)};
}

constexpr unsigned long max_unsigned = std::numeric_limits<unsigned long>::max();
constexpr long max_signed = std::numeric_limits<long>::max();
constexpr long min_signed = std::numeric_limits<long>::min();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

// One indexed column: its values in the database, to which NULL is added, and what to compare it
// with beside its values.
struct tested_column {
  std::u16string name;
  column_type type;
  std::vector<value> values;
  std::vector<value> operands;
};

std::vector<value> numeric_operands() {
  return {true,         0UL,
          3UL,          1UL << 63,
          max_unsigned, -1L,
          2L,           max_signed,
          min_signed,   Decimal{2'500'000},
          Decimal{-1},  Decimal{Decimal::max_scaled},
          2.5,          -2.5,
          1.0000005,    0x1p63,
          0x1p64,       -0x1p63,
          0.5f,         infinity,
          -infinity,    not_a_number};
}

std::vector<tested_column> tested_columns() {
  return {
      {u"natural",
       column_type::unsigned_integer,
       {0UL, 1UL, 2UL, 3UL, 5UL, (1UL << 63) - 1, 1UL << 63, max_unsigned},
       numeric_operands()},
      {u"whole",
       column_type::signed_integer,
       {min_signed, -3L, -2L, -1L, 0L, 2L, 3L, max_signed},
       numeric_operands()},
      {u"fixed",
       column_type::decimal,
       {Decimal{-Decimal::max_scaled}, Decimal{-1}, Decimal{0}, Decimal{1'000'000},
        Decimal{1'000'001}, Decimal{2'500'000}, Decimal{3'000'000}, Decimal{Decimal::max_scaled}},
       numeric_operands()},
      {u"flag", column_type::boolean, {false, true}, numeric_operands()},
      {u"text",
       column_type::string,
       {text(u""), text(u"a"), text(u"ab"), text(u"abc"), text(u"ab\x7f"), text(u"ab\u00e9"),
        text(u"ab\U00010330"), text(u"ac"), text(u"b"), text(u"\ufffd"), text(u"\U0001f600")},
       {text(u"aa"), text(u"ab\u0080")}},
      {u"bytes",
       column_type::binary,
       {binary({}), binary({0}), binary({0, 0}), binary({1}), binary({1, 255}), binary({255}),
        binary(std::vector<unsigned char>(40, 255))},
       {binary({1, 0}), binary(std::vector<unsigned char>(31, 1))}},
  };
}

// -1, 0 or 1; empty when one is NaN.
std::optional<int> compare_numbers(value const& left, value const& right) {
  auto const floating = [](value const& source) -> double {
    if (auto const* number = get_if<double>(&source)) return *number;
    if (auto const* number = get_if<float>(&source)) return *number;
    return 0;
  };
  double const left_floating = floating(left);
  double const right_floating = floating(right);
  if (std::isnan(left_floating) || std::isnan(right_floating)) return std::nullopt;
  if (std::isinf(left_floating) || std::isinf(right_floating)) {
    return left_floating < right_floating ? -1 : left_floating > right_floating ? 1 : 0;
  }
  auto const rational = [](value const& source) {
    return visit(
        []<typename T>(T const& content) -> cpp_rational {
          if constexpr (std::is_same_v<T, Decimal>) {
            return cpp_rational(content.scaled, Decimal::scale);
          } else if constexpr (std::is_same_v<T, bool>) {
            return content ? 1 : 0;
          } else if constexpr (std::is_arithmetic_v<T>) {
            return cpp_rational(content);
          } else {
            throw std::logic_error("no number");
          }
        },
        source);
  };
  return rational(left).compare(rational(right));
}

// How the values of a column are ordered, NULL below all others; empty when NaN is in it.
std::optional<int> compare(value const& left, value const& right) {
  if (left.is_null() || right.is_null()) return right.is_null() - left.is_null();
  if (auto const* bytes = get_if<Binary>(&left)) {
    auto const& other = get<Binary>(right);
    return bytes->bytes < other.bytes ? -1 : bytes->bytes != other.bytes;
  }
  if (auto const* units = get_if<dt_string>(&left)) {
    return units->string().compare(get<dt_string>(right).string());
  }
  return compare_numbers(left, right);
}

enum class relation { equal, less, less_or_equal, greater, greater_or_equal, starts_with };

struct condition {
  relation is;
  value operand;
  bool exclude_null = true;
};

// Whether the scan is to yield an object with this value. Where NULLs are not excluded they are
// ordinary values below all others.
bool satisfies(value const& column, condition const& wanted) {
  if (wanted.exclude_null && (column.is_null() || wanted.operand.is_null())) return false;
  if (wanted.is == relation::starts_with) {
    return get<dt_string>(column).string().starts_with(get<dt_string>(wanted.operand).string());
  }
  std::optional<int> const order = compare(column, wanted.operand);
  if (!order) return false;
  switch (wanted.is) {
    case relation::equal:
      return *order == 0;
    case relation::less:
      return *order < 0;
    case relation::less_or_equal:
      return *order <= 0;
    case relation::greater:
      return *order > 0;
    default:
      return *order >= 0;
  }
}

Expression literal(value const& source) {
  return visit([](auto const& content) { return build::literal(content); }, source);
}

Scan::ColBounds bounds_of(std::vector<condition> const& conditions) {
  Scan::ColBounds bounds;
  for (condition const& each : conditions) {
    std::set<Scan::Bound>* const sets[] = {&bounds.equal,
                                           &bounds.less,
                                           &bounds.less_or_equal,
                                           &bounds.greater,
                                           &bounds.greater_or_equal,
                                           &bounds.starts_with};
    sets[static_cast<int>(each.is)]->insert(build::bound(literal(each.operand), each.exclude_null));
  }
  return bounds;
}

qd::embedded::value stored(value const& source, std::u16string& keep) {
  return visit(
      [&]<typename T>(T const& content) -> qd::embedded::value {
        if constexpr (std::is_same_v<T, NullValue>) {
          return {};
        } else if constexpr (std::is_same_v<T, dt_string>) {
          keep = content.string();
          return keep;
        } else if constexpr (std::is_same_v<T, Binary>) {
          return qd::embedded::binary_view(content.bytes);
        } else if constexpr (std::is_same_v<T, Decimal>) {
          return qd::embedded::decimal{content.scaled};
        } else if constexpr (std::is_arithmetic_v<T>) {
          return content;
        } else {
          throw std::logic_error("not a column of these tests");
        }
      },
      source);
}

// An index over a tested column: at which position, and in which direction each column goes. The
// group column has few values and stands beside the tested one.
struct index_shape {
  std::u16string suffix;
  bool group_first;
  bool group_behind;
  bool column_ascending;
  bool group_ascending;
};

std::vector<index_shape> const index_shapes = {
    {u"ascending", false, false, true, true}, {u"descending", false, false, false, true},
    {u"leading", false, true, true, false},   {u"leading_descending", false, true, false, true},
    {u"trailing", true, false, true, false},  {u"trailing_descending", true, false, false, true},
};
constexpr unsigned long group_count = 3;

std::u16string index_name(tested_column const& column, index_shape const& shape) {
  return u"range." + column.name + u"." + shape.suffix;
}

struct stored_object {
  unsigned long oid;
  unsigned long group;
  std::map<std::u16string, value> columns;
};

class scan_range_test : public query_test::database_test {
 protected:
  scan_range_test() {
    write([this](qd::embedded::transaction& transaction) {
      define(transaction);
      fill(transaction);
    });
  }

  void define(qd::embedded::transaction& transaction) {
    qd::embedded::class_definition definition{
        .name = u"range.Item",
        .columns = {
            {.name = u"group", .type = column_type::unsigned_integer},
            {.name = u"approximate", .type = column_type::double_float},
            {.name = u"single", .type = column_type::single_float},
            {.name = u"next", .type = column_type::reference, .referenced_class = u"range.Item"}}};
    for (tested_column const& column : columns) {
      definition.columns.push_back({.name = column.name, .type = column.type});
    }
    transaction.define_class(definition);
    transaction.define_class({.name = u"range.SpecialItem", .base = u"range.Item"});
    for (tested_column const& column : columns) {
      for (index_shape const& shape : index_shapes) {
        qd::embedded::index_definition index{.name = index_name(column, shape),
                                             .class_name = u"range.Item",
                                             .columns = {{column.name, shape.column_ascending}}};
        auto const group = shape.group_first ? index.columns.begin() : index.columns.end();
        if (shape.group_first || shape.group_behind) {
          index.columns.insert(group, {u"group", shape.group_ascending});
        }
        transaction.define_index(index);
      }
    }
  }

  // Every value of every column at least once, and NULLs.
  void fill(qd::embedded::transaction& transaction) {
    std::mt19937 random(20261122);
    for (std::size_t i = 0; i < 60; ++i) {
      stored_object object{0, random() % group_count, {}};
      std::vector<qd::embedded::column_value> written = {{u"group", object.group}};
      std::vector<std::u16string> texts(columns.size());
      for (std::size_t c = 0; c < columns.size(); ++c) {
        std::size_t const count = columns[c].values.size();
        std::size_t const chosen = i <= count ? i : random() % (count + 1);
        value& held = object.columns[columns[c].name];
        held = chosen == count ? value(NullValue()) : columns[c].values[chosen];
        written.push_back({columns[c].name, stored(held, texts[c])});
      }
      object.oid =
          transaction.insert(i % 5 == 0 ? u"range.SpecialItem" : u"range.Item", written).oid;
      objects.push_back(std::move(object));
    }
  }

  std::vector<unsigned long> scanned(std::u16string const& index,
                                     std::vector<Scan::ColBounds> const& bounds, bool ascending) {
    auto const item = build::table(u"range.Item");
    auto const rows = run(
        build::transform({item}, build::scan(item, build::index(item, index), bounds, ascending)));
    std::vector<unsigned long> oids;
    for (row const& each : rows) oids.push_back(get<QD_OBJ_REF>(each[0]).oid);
    return oids;
  }

  // Compares the scans of all indexes on the column with the filtered objects: which they are, the
  // order of their keys, and that a descending scan is the ascending one backwards.
  void check(tested_column const& column, std::vector<condition> const& conditions) {
    std::ostringstream what;
    for (condition const& each : conditions) {
      what << "relation " << static_cast<int>(each.is) << " to "
           << query_test::text_of(each.operand) << (each.exclude_null ? ", not NULL; " : "; ");
    }
    SCOPED_TRACE(what.str());
    for (index_shape const& shape : index_shapes) {
      std::u16string const index = index_name(column, shape);
      SCOPED_TRACE(std::string(index.begin(), index.end()));
      std::vector<Scan::ColBounds> bounds = {bounds_of(conditions)};
      unsigned long const group = 1;
      if (shape.group_first) {
        bounds.insert(bounds.begin(), {.equal = {build::bound(build::literal(group))}});
      }
      std::vector<unsigned long> expected;
      for (stored_object const& object : objects) {
        if (shape.group_first && object.group != group) continue;
        bool const wanted = std::all_of(
            conditions.begin(), conditions.end(),
            [&](condition const& each) { return satisfies(object.columns.at(column.name), each); });
        if (wanted) expected.push_back(object.oid);
      }
      std::vector<unsigned long> found = scanned(index, bounds, true);
      EXPECT_THAT(found, testing::UnorderedElementsAreArray(expected));
      expect_key_order(column, shape, found);
      std::reverse(found.begin(), found.end());
      EXPECT_EQ(scanned(index, bounds, false), found);
    }
  }

  void expect_key_order(tested_column const& column, index_shape const& shape,
                        std::vector<unsigned long> const& oids) {
    auto const held = [&](unsigned long oid) -> value const& {
      return object_with(oid).columns.at(column.name);
    };
    for (std::size_t i = 1; i < oids.size(); ++i) {
      int const order = compare(held(oids[i - 1]), held(oids[i])).value();
      EXPECT_LE(shape.column_ascending ? order : -order, 0);
      if (order != 0 || !shape.group_behind) continue;
      unsigned long const before = object_with(oids[i - 1]).group;
      unsigned long const after = object_with(oids[i]).group;
      EXPECT_TRUE(shape.group_ascending ? before <= after : before >= after);
    }
  }

  stored_object const& object_with(unsigned long oid) const {
    return *std::find_if(objects.begin(), objects.end(),
                         [&](stored_object const& object) { return object.oid == oid; });
  }

  std::vector<tested_column> const columns = tested_columns();
  std::vector<stored_object> objects;
};

std::vector<value> operands_of(tested_column const& column) {
  std::vector<value> operands = column.values;
  operands.insert(operands.end(), column.operands.begin(), column.operands.end());
  operands.push_back(NullValue());
  return operands;
}

constexpr relation orderings[] = {relation::equal, relation::less, relation::less_or_equal,
                                  relation::greater, relation::greater_or_equal};

TEST_F(scan_range_test, each_relation_to_each_operand) {
  for (tested_column const& column : columns) {
    check(column, {});
    for (value const& operand : operands_of(column)) {
      for (relation const each : orderings) check(column, {{each, operand}});
    }
  }
}

TEST_F(scan_range_test, two_conditions_narrow_in_either_order_and_may_exclude_each_other) {
  std::mt19937 random(7);
  for (tested_column const& column : columns) {
    std::vector<value> const operands = operands_of(column);
    for (int i = 0; i < 60; ++i) {
      relation const first = orderings[random() % std::size(orderings)];
      relation const second = orderings[random() % std::size(orderings)];
      value const& first_operand = operands[random() % operands.size()];
      value const& second_operand = operands[random() % operands.size()];
      check(column, {{first, first_operand}, {second, second_operand}});
    }
  }
}

TEST_F(scan_range_test, nulls_that_are_not_excluded_lie_below_all_values) {
  for (tested_column const& column : columns) {
    for (relation const each : orderings) {
      check(column, {{each, NullValue(), false}});
      check(column, {{each, column.values[1], false}});
      check(column, {{each, column.values[1], false}, {relation::greater_or_equal, NullValue()}});
    }
  }
}

TEST_F(scan_range_test, prefixes_of_texts) {
  tested_column const& texts = columns[4];
  for (char16_t const* prefix : {u"", u"a", u"ab", u"ab\u00e9", u"ab\U00010330", u"abcd", u"z"}) {
    check(texts, {{relation::starts_with, text(prefix)}});
    check(texts, {{relation::starts_with, text(prefix)}, {relation::less, text(u"ab\u0080")}});
  }
  check(texts, {{relation::starts_with, NullValue()}});
}

// The keys of references are their oids, those of the set-specifier column its place in the class
// hierarchy, so that a prefix of it selects the objects of a class.
TEST_F(scan_range_test, references_and_set_specifiers) {
  write([&](qd::embedded::transaction& transaction) {
    for (std::size_t i = 0; i < objects.size(); ++i) {
      qd::embedded::object_id const target{objects[i / 2].oid};
      transaction.update({objects[i].oid}, {{u"next", target}});
    }
    transaction.define_index(
        {.name = u"range.by_next", .class_name = u"range.Item", .columns = {{u"next", false}}});
    transaction.define_index(
        {.name = u"range.by_set_specifier",
         .class_name = u"range.Item",
         .columns = {{std::u16string(qd::embedded::set_specifier_name)}, {u"group"}}});
  });
  QD_OBJ_REF const third{objects[3].oid, 0};
  EXPECT_THAT(scanned(u"range.by_next", {bounds_of({{relation::equal, third}})}, true),
              testing::UnorderedElementsAre(objects[6].oid, objects[7].oid));
  std::vector<unsigned long> referring_below;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    if (objects[i / 2].oid < third.oid) referring_below.push_back(objects[i].oid);
  }
  EXPECT_THAT(scanned(u"range.by_next", {bounds_of({{relation::less, third}})}, true),
              testing::UnorderedElementsAreArray(referring_below));

  auto const objects_of = [&](char16_t const* class_name) {
    Expression const set = build::cast<SetSpecifier, dt_string>(build::text(class_name));
    Scan::ColBounds const members{.starts_with = {build::bound(set)}};
    return scanned(u"range.by_set_specifier", {members}, true).size();
  };
  EXPECT_EQ(objects_of(u"range.Item"), objects.size());
  EXPECT_EQ(objects_of(u"range.SpecialItem"), objects.size() / 5);
}

// Bounds see the parameters that stand in the context when the enumeration starts.
TEST_F(scan_range_test, a_plan_takes_its_bounds_anew_at_each_enumeration) {
  auto const item = build::table(u"range.Item");
  auto const index = build::index(item, u"range.natural.ascending");
  Scan::ColBounds const above{.greater = {build::bound(build::parameter<unsigned long>(0))}};
  auto const plan = physical_to_exec::Plan(
      build::transform({build::column(item, u"natural")}, build::scan(item, index, {above})));
  auto context = query_test::context_for(plan, this->context(), {max_unsigned - 1});
  std::size_t const few = query_test::drain(plan, context).size();
  auto const paused = plan.root->enumerate(context);
  context.parameters = {2UL};
  std::size_t const many = query_test::drain(plan, context).size();
  EXPECT_LT(few, many);
  std::size_t rest = 0;
  while (paused->next(context)) ++rest;
  EXPECT_EQ(rest, few);
}

TEST_F(scan_range_test, operands_that_a_column_cannot_be_compared_with_are_refused) {
  struct refused {
    char16_t const* index;
    condition wanted;
  };
  for (refused const& each : std::initializer_list<refused>{
           {u"range.natural.ascending", {relation::equal, text(u"1")}},
           {u"range.natural.ascending", {relation::starts_with, 1UL}},
           {u"range.flag.ascending", {relation::equal, binary({1})}},
           {u"range.text.ascending", {relation::equal, 1L}},
           {u"range.text.ascending", {relation::starts_with, binary({1})}},
           {u"range.bytes.ascending", {relation::starts_with, binary({1})}},
           {u"range.bytes.ascending", {relation::less, text(u"a")}}}) {
    try {
      scanned(each.index, {bounds_of({each.wanted})}, true);
      ADD_FAILURE() << query_test::text_of(each.wanted.operand);
    } catch (db_util::db_exception const& raised) {
      EXPECT_EQ(raised.code, 7020u) << query_test::text_of(each.wanted.operand);
    }
  }
}

// Keys of floating kinds do not exist, not even as the fields behind the bounded ones.
TEST_F(scan_range_test, indexes_on_floating_columns_are_refused) {
  write([](qd::embedded::transaction& transaction) {
    transaction.define_index({.name = u"range.by_approximate",
                              .class_name = u"range.Item",
                              .columns = {{u"group"}, {u"approximate"}}});
    transaction.define_index(
        {.name = u"range.by_single", .class_name = u"range.Item", .columns = {{u"single"}}});
  });
  auto const expect_refused = [&](char16_t const* index, std::vector<Scan::ColBounds> bounds,
                                  char const* message) {
    try {
      scanned(index, bounds, true);
      ADD_FAILURE() << message;
    } catch (std::logic_error const& raised) {
      EXPECT_STREQ(raised.what(), message);
    }
  };
  expect_refused(u"range.by_approximate", {bounds_of({{relation::equal, 1UL}})},
                 "Index key of double type is not supported");
  expect_refused(u"range.by_single", {bounds_of({{relation::greater, 1.0f}})},
                 "Index key of float type is not supported");
}

}  // namespace
