#include "relational_queries.h"

#include "physical_queryplan/build.h"

namespace unicode_demo {

namespace {

namespace build = physical_queryplan::build;
using namespace operator_library;  // NOLINT: the operations
using db_string::dt_string;
using physical_queryplan::QueryPlan::Expression;
using physical_queryplan::QueryPlan::PredicateVariant;
using physical_queryplan::QueryPlan::Scan;
using physical_queryplan::QueryPlan::TableVariable;

PredicateVariant scan_by(TableVariable const& variable, std::u16string_view index,
                         std::vector<Scan::ColBounds> bounds = {}) {
  return build::scan(variable, build::index(variable, index), std::move(bounds));
}

PredicateVariant numbers_per_block_and_category() {
  TableVariable const point = build::table(u"unicode.code_point");
  TableVariable const block = build::through(point, u"block");
  auto const block_name = build::derived<dt_string>(1);
  auto const category = build::derived<dt_string>(2);
  auto const count = build::derived<long>(3);
  auto const least = build::derived<Decimal>(4);
  auto const greatest = build::derived<Decimal>(5);
  auto const average = build::derived<Decimal>(6);
  Expression const number = build::column(point, u"numeric_value");
  // Every object with a value: from the first key that is not NULL on.
  Scan::ColBounds const present{.greater = {build::bound(build::null(), false)}};
  PredicateVariant const rows =
      build::extend({{build::column(point, u"block"), block}},
                    scan_by(point, u"unicode.code_point.by_numeric_value", {present}));
  PredicateVariant const groups = build::aggregation(
      {build::aggregate<CountStar>(count), build::aggregate<Min, Decimal>(least, number),
       build::aggregate<Max, Decimal>(greatest, number),
       build::aggregate<Avg, Decimal>(average, number)},
      {{build::column(block, u"name"), block_name}, {build::column(point, u"category"), category}},
      rows);
  return build::transform(
      {block_name, category, count, least, greatest, average},
      build::limit(
          build::literal(12UL), std::nullopt,
          build::order_by({{false, count}, {true, block_name}, {true, category}}, groups)));
}

PredicateVariant fractions_by_value_and_name() {
  TableVariable const point = build::table(u"unicode.code_point");
  auto const column = [&](std::u16string_view name) { return build::column(point, name); };
  Scan::ColBounds const fractions{.less_or_equal = {build::bound(build::literal(0x215EUL))},
                                  .greater_or_equal = {build::bound(build::literal(0x2150UL))}};
  return build::transform(
      {column(u"numeric_value"), column(u"name"), column(u"code")},
      build::order_by({{true, column(u"numeric_value")}, {false, column(u"name")}},
                      scan_by(point, u"unicode.code_point.by_code", {fractions})));
}

PredicateVariant code_points_of_blocks() {
  TableVariable const block = build::table(u"unicode.block", 1);
  TableVariable const point = build::table(u"unicode.code_point", 2);
  auto const count = build::derived<long>(1);
  auto const block_name = build::derived<dt_string>(2);
  auto const first_code = build::derived<unsigned long>(3);
  Scan::ColBounds const first_blocks{.less = {build::bound(build::parameter<unsigned long>(0))}};
  Scan::ColBounds const of_the_block{
      .less_or_equal = {build::bound(build::column(block, u"last"))},
      .greater_or_equal = {build::bound(build::column(block, u"first"))}};
  PredicateVariant const joined =
      build::inner_join(scan_by(block, u"unicode.block.by_first", {first_blocks}),
                        scan_by(point, u"unicode.code_point.by_code", {of_the_block}));
  return build::transform(
      {first_code, block_name, count},
      build::order_by({{true, first_code}},
                      build::aggregation({build::aggregate<CountStar>(count)},
                                         {{build::column(block, u"first"), first_code},
                                          {build::column(block, u"name"), block_name}},
                                         joined)));
}

PredicateVariant case_partners() {
  TableVariable const point = build::table(u"unicode.code_point", 1);
  TableVariable const partner = build::table(u"unicode.code_point", 2);
  auto const column = [](TableVariable const& of, std::u16string_view name) {
    return build::column(of, name);
  };
  Scan::ColBounds const range{.less_or_equal = {build::bound(build::literal(0x1F80UL))},
                              .greater_or_equal = {build::bound(build::literal(0x1F70UL))}};
  // The partner is found in the extent by its reference; without one, the bound is NULL and the
  // range is empty.
  Scan::ColBounds const that_one{.equal = {build::bound(column(point, u"uppercase"))}};
  return build::transform(
      {column(point, u"code"), column(point, u"character"), column(partner, u"code"),
       column(partner, u"character"), column(partner, u"name")},
      build::left_join(scan_by(point, u"unicode.code_point.by_code", {range}),
                       scan_by(partner, u"unicode.code_point.extent", {that_one})));
}

PredicateVariant letters_of_two_scripts() {
  TableVariable const hebrew = build::table(u"unicode.code_point", 1);
  TableVariable const phoenician = build::table(u"unicode.code_point", 2);
  auto const codes = [](TableVariable const& variable, unsigned long first, unsigned long last) {
    return scan_by(variable, u"unicode.code_point.by_code",
                   {{.less_or_equal = {build::bound(build::literal(last))},
                     .greater_or_equal = {build::bound(build::literal(first))}}});
  };
  // The place of a letter in its alphabet.
  auto const place = [](TableVariable const& letter, unsigned long first) {
    return build::operation<MinusOperator, long>(build::column(letter, u"code"),
                                                 build::literal(first));
  };
  Expression const same_place =
      build::operation<Equal, long>(place(hebrew, 0x5D0), place(phoenician, 0x10900));
  return build::transform(
      {build::column(hebrew, u"character"), build::column(hebrew, u"name"),
       build::column(phoenician, u"character"), build::column(phoenician, u"name")},
      build::full_join(same_place, codes(hebrew, 0x5D0, 0x5D6),
                       codes(phoenician, 0x10903, 0x10909)));
}

PredicateVariant ends_of_the_code_space() {
  TableVariable const point = build::table(u"unicode.code_point");
  auto const side = [&](Scan::ColBounds const& bounds) {
    return scan_by(point, u"unicode.code_point.by_code", {bounds});
  };
  return build::transform(
      {build::column(point, u"code"), build::column(point, u"category"),
       build::column(point, u"name")},
      build::union_all(side({.less = {build::bound(build::literal(3UL))}}),
                       side({.greater = {build::bound(build::literal(0xE01EEUL))}})));
}

PredicateVariant a_page_of_names() {
  TableVariable const point = build::table(u"unicode.code_point");
  return build::transform(
      {build::column(point, u"name"), build::column(point, u"code")},
      build::limit(build::parameter<unsigned long>(0), build::parameter<unsigned long>(1),
                   scan_by(point, u"unicode.code_point.by_name")));
}

PredicateVariant distinct_counts() {
  TableVariable const point = build::table(u"unicode.code_point");
  auto const rows = build::derived<long>(1);
  auto const valued = build::derived<long>(2);
  auto const categories = build::derived<unsigned long>(3);
  auto const values = build::derived<unsigned long>(4);
  auto const pairs = build::derived<unsigned long>(5);
  Expression const category = build::column(point, u"category");
  Expression const number = build::column(point, u"numeric_value");
  return build::transform(
      {rows, valued, categories, values, pairs},
      build::aggregation(
          {build::aggregate<CountStar>(rows), build::aggregate<Count, Decimal>(valued, number),
           build::aggregate<CountDistinctSingle, dt_string>(categories, category),
           build::aggregate<CountDistinctSingle, Decimal>(values, number),
           build::aggregate<CountDistinctVariadric>(
               pairs, {category, build::column(point, u"bidi_class")})},
          {}, scan_by(point, u"unicode.code_point.extent")));
}

}  // namespace

std::vector<example_query> relational_queries() {
  return {
      {"Numbers per block and category: count, least, greatest and exact average",
       "SELECT block.name, category, count(*), min(numeric_value), max(numeric_value),\n"
       "       avg(numeric_value)\n"
       "  FROM unicode.code_point WHERE numeric_value IS NOT NULL\n"
       " GROUP BY block.name, category ORDER BY count(*) DESC, block.name, category LIMIT 12",
       {{"block"}, {"category"}, {"count"}, {"min"}, {"max"}, {"avg"}},
       {},
       numbers_per_block_and_category},
      {"Two sort keys in opposite directions; NULLs first",
       "SELECT numeric_value, name, code FROM unicode.code_point\n"
       " WHERE code BETWEEN 8528 AND 8542 ORDER BY numeric_value, name DESC",
       {{"numeric_value"}, {"name"}, {"code", true}},
       {},
       fractions_by_value_and_name},
      {"A join whose right side takes its key range from the left row",
       "SELECT b.first, b.name, count(*) FROM unicode.block b\n"
       "  JOIN unicode.code_point p ON p.code BETWEEN b.first AND b.last\n"
       " WHERE b.first < $0 GROUP BY b.first, b.name ORDER BY b.first",
       {{"first", true}, {"block"}, {"code points"}},
       {0x0700UL},
       code_points_of_blocks},
      {"A left join through a reference: small letters and their capitals, where they have one",
       "SELECT p.code, p.character, q.code, q.character, q.name FROM unicode.code_point p\n"
       "  LEFT JOIN unicode.code_point q ON q = p.uppercase\n"
       " WHERE p.code BETWEEN 8048 AND 8064",
       {{"code", true}, {"character"}, {"capital", true}, {"character"}, {"name"}},
       {},
       case_partners},
      {"A full join of two alphabets' letters on a condition that no index serves",
       "SELECT h.character, h.name, p.character, p.name\n"
       "  FROM hebrew h FULL JOIN phoenician p ON h.code - 1488 = p.code - 67840\n"
       " WHERE h.code BETWEEN 1488 AND 1494 AND p.code BETWEEN 67843 AND 67849 (before the join)",
       {{"hebrew"}, {"name"}, {"phoenician"}, {"name"}},
       {},
       letters_of_two_scripts},
      {"The two ends of the code space: a union of two ranges",
       "SELECT code, category, name FROM unicode.code_point WHERE code < 3\n"
       " UNION ALL SELECT code, category, name FROM unicode.code_point WHERE code > 917998",
       {{"code", true}, {"category"}, {"name"}},
       {},
       ends_of_the_code_space},
      {"A page of names: limit with offset",
       "SELECT name, code FROM unicode.code_point ORDER BY name LIMIT $0 OFFSET $1",
       {{"name"}, {"code", true}},
       {5UL, 10'000UL},
       a_page_of_names},
      {"Counts, and counts of distinct values and pairs; a NULL counts once",
       "SELECT count(*), count(numeric_value), count(DISTINCT category),\n"
       "       count(DISTINCT numeric_value), count(DISTINCT category, bidi_class)\n"
       "  FROM unicode.code_point",
       {{"rows"}, {"numbers"}, {"categories"}, {"distinct numbers"}, {"pairs"}},
       {},
       distinct_counts},
  };
}

}  // namespace unicode_demo
