// The plan model: which variables are the same, the order of bounds, and plans as text.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>

#include "db_util/meta_support.h"
#include "dbmetalayer/database.h"
#include "error_handling/qd_exception.h"
#include "physical_queryplan/build.h"
#include "physical_queryplan/plan_printer.h"

namespace physical_queryplan {
namespace {

namespace embedded = qd::embedded;
namespace tags = operator_library;
using build::literal;
using operator_library::Decimal;
using QueryPlan::Expression;
using QueryPlan::PhysicalVariable;
using QueryPlan::PredicateVariant;
using QueryPlan::TableVariable;

class PlanModel : public testing::Test {
 protected:
  PlanModel() {
    using embedded::column_type;
    auto write = database_.begin_write();
    write.define_class(
        {.name = u"geo.Country", .columns = {{.name = u"name", .type = column_type::string}}});
    write.define_class({.name = u"geo.City",
                        .columns = {{.name = u"name", .type = column_type::string},
                                    {.name = u"size", .type = column_type::signed_integer},
                                    {.name = u"country",
                                     .type = column_type::reference,
                                     .referenced_class = u"geo.Country"}}});
    write.define_index({.name = u"geo.City.by_size",
                        .class_name = u"geo.City",
                        .columns = {{.name = u"size"}, {.name = u"name", .ascending = false}}});
    write.commit();
    snapshot_.emplace(database_.begin_snapshot());
    binding_.emplace(snapshot_->bind());
  }

  using embedded_database = qd::embedded::database;
  embedded_database database_ = embedded_database::open_temporary();
  std::optional<qd::embedded::snapshot> snapshot_;
  std::optional<qd::embedded::thread_binding> binding_;
};

TEST_F(PlanModel, VariablesAreTheSameByAllTheirContents) {
  TableVariable const city = build::table(u"geo.City", 1);
  TableVariable const other_city = build::table(u"geo.City", 2);
  TableVariable const country = build::through(city, u"country");
  TableVariable const other_country = build::through(other_city, u"country");
  TableVariable without_path = country;
  without_path.path.reset();
  PhysicalVariable const all[] = {
      city,
      other_city,
      country,
      other_country,
      without_path,
      build::derived<long>(1),
      build::derived<long>(2),
      build::derived<unsigned long>(1),
      AsPhysicalVariable(build::column(city, u"name")),
      AsPhysicalVariable(build::column(other_city, u"name")),
      AsPhysicalVariable(build::column(city, u"size")),
  };
  for (PhysicalVariable const& left : all) {
    for (PhysicalVariable const& right : all) {
      PhysicalVariable const copy = right;
      EXPECT_EQ(left == copy, &left == &right);
    }
    EXPECT_EQ(AsPhysicalVariable(AsExpression(left)), left);
  }
  // A handle's address is only a hint.
  TableVariable moved = city;
  moved.table.ref.address += 1;
  EXPECT_EQ(PhysicalVariable(moved), PhysicalVariable(city));
}

TEST_F(PlanModel, OnlyVariablesAreVariables) {
  Expression const sum = build::operation<tags::PlusOperator, long>(literal(1L), literal(2L));
  for (Expression const& expression : {literal(1L), build::parameter<long>(0), sum}) {
    try {
      AsPhysicalVariable(expression);
      ADD_FAILURE();
    } catch (error_handling::QDException const& error) {
      EXPECT_EQ(error.code, 7007U);
      EXPECT_STREQ(error.what(), "Internal error: expression is not a variable");
    }
  }
}

// Every two different bounds are ordered one way and not the other, a bound equals itself (a NaN
// too), and the order carries over: otherwise a set of bounds would lose or repeat some.
TEST_F(PlanModel, BoundsHaveATotalOrder) {
  TableVariable const city = build::table(u"geo.City");
  double const nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<Expression> const contents = {
      literal(true),
      build::text(u""),
      build::text(u"a"),
      build::text(u"b"),
      literal(1UL),
      literal(1L),
      literal(-1L),
      literal(Decimal{1}),
      literal(0.0),
      literal(-0.0),
      literal(nan),
      literal(1.0F),
      literal(operator_library::Binary{{1}}),
      literal(operator_library::Binary{{1, 2}}),
      literal(QD_OBJ_REF{1, 0}),
      literal(operator_library::SetSpecifier{u"a"}),
      build::null(),
      build::parameter<long>(0),
      build::parameter<long>(1),
      build::parameter<double>(0),
      build::column(city, u"name"),
      build::column(build::table(u"geo.City", 2), u"name"),
      build::column(build::through(city, u"country"), u"name"),
      city,
      build::derived<long>(1),
      build::derived<long>(2),
      build::operation<tags::PlusOperator, long>(literal(1L), literal(2L)),
      build::operation<tags::PlusOperator, long>(literal(1L), literal(3L)),
      build::operation<tags::PlusOperator, double>(literal(1L), literal(2L)),
      build::operation<tags::MinusOperator, long>(literal(1L), literal(2L)),
      QueryPlan::Operation<tags::Concat>{{}, {}},
      build::operation<tags::Concat>(build::text(u"a")),
  };
  std::vector<QueryPlan::Scan::Bound> bounds;
  for (Expression const& content : contents) {
    bounds.push_back(build::bound(content, false));
    bounds.push_back(build::bound(content, true));
  }
  for (std::size_t i = 0; i < bounds.size(); ++i) {
    for (std::size_t j = 0; j < bounds.size(); ++j) {
      EXPECT_EQ((bounds[i] < bounds[j]) + (bounds[j] < bounds[i]), i == j ? 0 : 1) << i << ' ' << j;
      for (std::size_t k = 0; k < bounds.size(); ++k) {
        if (bounds[i] < bounds[j] && bounds[j] < bounds[k]) {
          EXPECT_TRUE(bounds[i] < bounds[k]) << i << ' ' << j << ' ' << k;
        }
      }
    }
  }
  EXPECT_EQ(std::set(bounds.begin(), bounds.end()).size(), bounds.size());
}

TEST_F(PlanModel, AMissingChildIsRefusedWhenItIsReached) {
  QueryPlan::Filter filter{literal(true), build::scan(build::table(u"geo.City"), {})};
  QueryPlan::Filter const taken = std::move(filter);
  EXPECT_THROW(Print(PredicateVariant(filter)), std::logic_error);  // NOLINT: moved from on purpose
  EXPECT_NO_THROW(PredicateVariant{filter});
}

TEST_F(PlanModel, APlanPrintsAsATree) {
  TableVariable const city = build::table(u"geo.City");
  TableVariable const country = build::through(city, u"country");
  meta_data::Index const by_size = build::index(city, u"geo.City.by_size");
  meta_data::Index const extent = build::index(city, u"geo.City.extent");
  Expression const name = build::column(city, u"name");
  Expression const size = build::column(city, u"size");
  auto const doubled = build::derived<long>(7);
  auto const row_count = build::derived<long>(8);
  auto const group = build::derived<db_string::dt_string>(9);

  PredicateVariant const scan = build::scan(city, by_size,
                                            {{.less = {build::bound(literal(9L), false)},
                                              .greater = {build::bound(build::parameter<long>(0))}},
                                             {.starts_with = {build::bound(build::text(u"O'é"))}}},
                                            false);
  PredicateVariant const extended = build::extend(
      {{build::column(city, u"country"), country},
       {build::operation<tags::MultiplyOperator, long>(size, literal(2L)), doubled}},
      build::filter(build::operation<tags::OrOperator>(
                        build::operation<tags::IsNullOperator, db_string::dt_string>(name),
                        build::operation<tags::Like>(name, build::text(u"%_"))),
                    scan));
  QueryPlan::AggregateOperator<tags::CountStar> const count{{}, {}, row_count};
  PredicateVariant const grouped =
      QueryPlan::Aggregation{{count}, {{build::column(country, u"name"), group}}, extended};
  PredicateVariant const joined = QueryPlan::Join<shared_classes::Left>{
      grouped, PredicateVariant(QueryPlan::Join<shared_classes::Inner>{
                   build::scan(build::table(u"geo.City", 2), extent),
                   PredicateVariant(QueryPlan::FullJoin{
                       literal(2.5),
                       PredicateVariant(QueryPlan::GenerativeAssignment{
                           literal(Decimal{-1'500'000}), build::derived<Decimal>(10)}),
                       build::scan(build::table(u"geo.City", 3), extent)})})};
  PredicateVariant const ordered = QueryPlan::LimitOffset{
      literal(10UL), std::nullopt,
      PredicateVariant(QueryPlan::OrderBy{{{true, group}, {false, row_count}}, joined})};
  PredicateVariant const plan =
      build::transform({group, row_count}, PredicateVariant(QueryPlan::Union{ordered, ordered}));

  std::string const branch =
      "    Limit limit 10u\n"
      "      Order by d1 ascending, d2 descending\n"
      "        Join left\n"
      "          Aggregate\n"
      "            d2 := count_star()\n"
      "            by d1 := t1.name\n"
      "            Extend\n"
      "              t1 = geo.Country := t2.country\n"
      "              d3 := (t2.size * 2)\n"
      "              Filter (is_null(t2.name) OR (t2.name LIKE '%_'))\n"
      "                Scan t2 = geo.City by geo.City.by_size descending\n"
      "                  size > $0, not NULL\n"
      "                  size < 9\n"
      "                  name starts with 'O''\xC3\xA9', not NULL\n"
      "          Join inner\n"
      "            Scan t3 = geo.City by geo.City.extent ascending\n"
      "            Join full on 2.5\n"
      "              Row d4 := -1.500000\n"
      "              Scan t4 = geo.City by geo.City.extent ascending\n";
  EXPECT_EQ(Print(plan), "Transform d1, d2\n  Union all\n" + branch + branch);
}

TEST_F(PlanModel, LiteralsShowTheirKind) {
  struct {
    Expression expression;
    std::string text;
  } const cases[] = {
      {literal(true), "TRUE"},
      {literal(5UL), "5u"},
      {literal(-5L), "-5"},
      {literal(Decimal{-1}), "-0.000001"},
      {literal(Decimal{Decimal::max_scaled}), "4398046511103.999999"},
      {literal(5.0), "5.0"},
      {literal(1e300), "1e+300"},
      {literal(0.1F), "0.1f"},
      {literal(std::numeric_limits<double>::infinity()), "inf"},
      {literal(operator_library::Binary{{0, 255}}), "x'00ff'"},
      {literal(QD_OBJ_REF{7, 9}), "@7"},
      {literal(operator_library::SetSpecifier{u"a.b"}), "class 'a.b'"},
      {build::null(), "NULL"},
      {build::text(std::u16string{0xD83D, 0xDE00, 0xD83D}), "'\xF0\x9F\x98\x80\\uD83D'"},
      {build::parameter<long>(3), "$3"},
      {build::cast<Decimal, long>(literal(1L)), "to_decimal(1)"},
      {QueryPlan::Operation<tags::Equal>{{}, {literal(1L)}}, "(=)(1)"},
  };
  for (auto const& [expression, text] : cases) EXPECT_EQ(Print(expression), text);
}

}  // namespace
}  // namespace physical_queryplan
