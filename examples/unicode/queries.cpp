#include "queries.h"

#include <iterator>
#include <utility>

#include "physical_queryplan/build.h"
#include "relational_queries.h"

namespace unicode_demo {

namespace {

namespace build = physical_queryplan::build;
using namespace operator_library;  // NOLINT: the operations
using db_string::dt_string;
using physical_queryplan::QueryPlan::Derived;
using physical_queryplan::QueryPlan::Expression;
using physical_queryplan::QueryPlan::PredicateVariant;
using physical_queryplan::QueryPlan::Scan;
using physical_queryplan::QueryPlan::TableVariable;

Expression whole(long number) {
  return build::literal(Decimal{number * Decimal::scale});
}

Expression code(unsigned long number) {
  return build::literal(number);
}

PredicateVariant scan_index(TableVariable const& variable, std::u16string_view index,
                            std::vector<Scan::ColBounds> bounds, bool ascending = true) {
  return build::scan(variable, build::index(variable, index), std::move(bounds), ascending);
}

// Every object of the variable's class.
PredicateVariant scan_extent(TableVariable const& variable) {
  return scan_index(variable, variable.table.FullName() + u".extent", {});
}

PredicateVariant large_numbers() {
  TableVariable const point = build::table(u"unicode.code_point");
  auto const column = [&](std::u16string_view name) { return build::column(point, name); };
  Scan::ColBounds const value{.greater_or_equal = {build::bound(build::parameter<Decimal>(0))}};
  return build::transform(
      {column(u"code"), column(u"character"), column(u"numeric_value"), column(u"name")},
      scan_index(point, u"unicode.code_point.by_numeric_value", {value}));
}

PredicateVariant capitals_beyond_the_basic_plane() {
  TableVariable const point = build::table(u"unicode.code_point");
  auto const column = [&](std::u16string_view name) { return build::column(point, name); };
  Scan::ColBounds const category{.equal = {build::bound(build::text(u"Lu"))}};
  Scan::ColBounds const beyond{.greater = {build::bound(build::parameter<unsigned long>(0))}};
  return build::transform({column(u"code"), column(u"character"), column(u"name")},
                          scan_index(point, u"unicode.code_point.by_category", {category, beyond}));
}

PredicateVariant names_with_a_prefix() {
  TableVariable const point = build::table(u"unicode.code_point");
  auto const column = [&](std::u16string_view name) { return build::column(point, name); };
  Scan::ColBounds const prefix{
      .starts_with = {build::bound(build::text(u"GREEK SMALL LETTER ALPHA"))}};
  return build::transform(
      {column(u"code"), column(u"character"), column(u"name"), column(u"decomposition")},
      scan_index(point, u"unicode.code_point.by_name", {prefix}));
}

PredicateVariant one_character_of_two_units() {
  TableVariable const number = build::table(u"unicode.number");
  auto const column = [&](std::u16string_view name) { return build::column(number, name); };
  auto const like = [&](char16_t const* pattern) {
    return build::operation<Like>(column(u"character"), build::text(pattern));
  };
  Expression const beyond =
      build::operation<GreaterThan, unsigned long>(column(u"code"), code(0xFFFF));
  Expression const one_and_not_two =
      build::operation<AndOperator>(like(u"_"), build::operation<NotOperator>(like(u"__")));
  return build::transform(
      {column(u"code"), column(u"character"), column(u"digit"), column(u"name")},
      build::filter(build::operation<AndOperator>(beyond, one_and_not_two), scan_extent(number)));
}

PredicateVariant paths_through_references() {
  TableVariable const point = build::table(u"unicode.code_point");
  TableVariable const block = build::through(point, u"block");
  TableVariable const script = build::through(point, u"script");
  TableVariable const capital = build::through(point, u"uppercase");
  TableVariable const capital_block = build::through(capital, u"block");
  Scan::ColBounds const prefix{.starts_with = {build::bound(build::text(u"LATIN SMALL LETTER Y"))}};
  // A row gets the referenced objects beside it; only the columns that are read are fetched.
  PredicateVariant const followed =
      build::extend({{build::column(point, u"block"), block},
                     {build::column(point, u"script"), script},
                     {build::column(point, u"uppercase"), capital}},
                    scan_index(point, u"unicode.code_point.by_name", {prefix}));
  return build::transform(
      {build::column(point, u"code"), build::column(point, u"character"),
       build::column(script, u"name"), build::column(block, u"name"),
       build::column(capital, u"character"), build::column(capital_block, u"name")},
      build::extend({{build::column(capital, u"block"), capital_block}}, followed));
}

PredicateVariant numbers_of_a_range() {
  TableVariable const point = build::table(u"unicode.code_point");
  auto const column = [&](std::u16string_view name) { return build::column(point, name); };
  Scan::ColBounds const range{.less_or_equal = {build::bound(code(0x24FF))},
                              .greater_or_equal = {build::bound(code(0x2460))}};
  Expression const number_type =
      build::cast<SetSpecifier, dt_string>(build::text(u"unicode.number"));
  return build::transform(
      {column(u"code"), column(u"character"), column(u"category"), column(u"numeric_value")},
      build::filter(build::operation<Is>(Expression(point), number_type),
                    scan_index(point, u"unicode.code_point.by_code", {range})));
}

PredicateVariant objects_of_a_derived_class() {
  TableVariable const letter = build::table(u"unicode.titlecase_letter");
  auto const column = [&](std::u16string_view name) { return build::column(letter, name); };
  return build::transform(
      {column(u"code"), column(u"character"), column(u"decomposition"), column(u"name")},
      scan_extent(letter));
}

PredicateVariant last_code_points() {
  TableVariable const point = build::table(u"unicode.code_point");
  auto const column = [&](std::u16string_view name) { return build::column(point, name); };
  Scan::ColBounds const high{.greater = {build::bound(build::parameter<unsigned long>(0))}};
  return build::transform(
      {column(u"code"), column(u"category"), column(u"name")},
      scan_index(point, u"unicode.code_point.by_code", {high}, /*ascending=*/false));
}

PredicateVariant inexact_fractions() {
  TableVariable const point = build::table(u"unicode.code_point");
  auto const column = [&](std::u16string_view name) { return build::column(point, name); };
  // The scan finds the NULL keys: the bound is NULL and does not exclude them.
  Scan::ColBounds const absent{.equal = {build::bound(build::null(), /*exclude_null=*/false)}};
  return build::transform(
      {column(u"code"), column(u"character"), column(u"numeric_text"), column(u"name")},
      build::filter(build::operation<IsNotNullOperator, dt_string>(column(u"numeric_text")),
                    scan_index(point, u"unicode.code_point.by_numeric_value", {absent})));
}

PredicateVariant arithmetic_on_fractions() {
  TableVariable const point = build::table(u"unicode.code_point");
  auto const column = [&](std::u16string_view name) { return build::column(point, name); };
  Derived<Decimal> const percent = build::derived<Decimal>(1);
  Derived<Decimal> const rest = build::derived<Decimal>(2);
  Derived<Decimal> const inverse = build::derived<Decimal>(3);
  Expression const number = column(u"numeric_value");
  Scan::ColBounds const between{.less = {build::bound(whole(1))},
                                .greater = {build::bound(whole(0))}};
  return build::transform(
      {column(u"code"), column(u"character"), number, percent, rest, inverse},
      build::extend({{build::operation<MultiplyOperator, Decimal>(number, whole(100)), percent},
                     {build::operation<MinusOperator, Decimal>(whole(1), number), rest},
                     {build::operation<DivideOperator, Decimal>(whole(1), number), inverse}},
                    scan_index(point, u"unicode.code_point.by_numeric_value", {between})));
}

}  // namespace

std::vector<example_query> example_queries() {
  std::vector<example_query> queries = object_queries();
  std::vector<example_query> relational = relational_queries();
  std::move(relational.begin(), relational.end(), std::back_inserter(queries));
  return queries;
}

std::vector<example_query> object_queries() {
  output_column const code_column{"code", true};
  return {
      {"Numbers from a million on: a key range on the first of two index columns",
       "SELECT code, character, numeric_value, name FROM unicode.code_point\n"
       " WHERE numeric_value >= $0 ORDER BY numeric_value, code",
       {code_column, {"character"}, {"numeric_value"}, {"name"}},
       {Decimal{1'000'000 * Decimal::scale}},
       large_numbers},
      {"Capitals outside the Basic Multilingual Plane: both columns of an index, one descending",
       "SELECT code, character, name FROM unicode.code_point\n"
       " WHERE category = 'Lu' AND code > $0 ORDER BY code DESC",
       {code_column, {"character"}, {"name"}},
       {0xFFFFUL},
       capitals_beyond_the_basic_plane},
      {"Names with a prefix: a prefix range of an index on text",
       "SELECT code, character, name, decomposition FROM unicode.code_point\n"
       " WHERE name STARTS WITH 'GREEK SMALL LETTER ALPHA' ORDER BY name",
       {code_column, {"character"}, {"name"}, {"decomposition"}},
       {},
       names_with_a_prefix},
      {"One character, two UTF-16 units: '_' matches it, '__' does not",
       "SELECT code, character, digit, name FROM unicode.number\n"
       " WHERE code > 65535 AND character LIKE '_' AND NOT character LIKE '__'",
       {code_column, {"character"}, {"digit"}, {"name"}},
       {},
       one_character_of_two_units},
      {"Paths through references, without a join; a NULL reference gives NULLs",
       "SELECT code, character, script.name, block.name, uppercase.character,\n"
       "       uppercase.block.name\n"
       "  FROM unicode.code_point WHERE name STARTS WITH 'LATIN SMALL LETTER Y' ORDER BY name",
       {code_column, {"character"}, {"script"}, {"block"}, {"uppercase"}, {"block of uppercase"}},
       {},
       paths_through_references},
      {"Class membership: the numbers among the enclosed alphanumerics",
       "SELECT code, character, category, numeric_value FROM unicode.code_point p\n"
       " WHERE code BETWEEN 9312 AND 9471 AND p IS unicode.number ORDER BY code",
       {code_column, {"character"}, {"category"}, {"numeric_value"}},
       {},
       numbers_of_a_range},
      {"The objects of a derived class, with columns of its base",
       "SELECT code, character, decomposition, name FROM unicode.titlecase_letter",
       {code_column, {"character"}, {"decomposition"}, {"name"}},
       {},
       objects_of_a_derived_class},
      {"The last code points: an index read backwards",
       "SELECT code, category, name FROM unicode.code_point WHERE code > $0 ORDER BY code DESC",
       {code_column, {"category"}, {"name"}},
       {0xE0000UL},
       last_code_points},
      {"Numbers that six decimal places do not hold: NULL keys and NULL tests",
       "SELECT code, character, numeric_text, name FROM unicode.code_point\n"
       " WHERE numeric_value IS NULL AND numeric_text IS NOT NULL ORDER BY code",
       {code_column, {"character"}, {"numeric_text"}, {"name"}},
       {},
       inexact_fractions},
      {"Arithmetic on Decimals: percentages, remainders and reciprocals of fractions",
       "SELECT code, character, numeric_value, numeric_value * 100, 1 - numeric_value,\n"
       "       1 / numeric_value FROM unicode.code_point\n"
       " WHERE numeric_value > 0 AND numeric_value < 1 ORDER BY numeric_value, code",
       {code_column, {"character"}, {"numeric_value"}, {"percent"}, {"rest"}, {"reciprocal"}},
       {},
       arithmetic_on_fractions},
  };
}

}  // namespace unicode_demo
