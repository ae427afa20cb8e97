// From plans to result columns, rows and errors, over a small database.
#include <cxxabi.h>
#include <gmock/gmock.h>

#include <boost/numeric/conversion/cast.hpp>
#include <cstdlib>
#include <memory>
#include <typeinfo>

#include "error_handling/qd_exception.h"
#include "physical_queryplan/build.h"
#include "support/query_test.h"

namespace {

namespace build = physical_queryplan::build;
using namespace operator_library;  // NOLINT: the operations
using db_string::dt_string;
using physical_queryplan::QueryPlan::Alias;
using physical_queryplan::QueryPlan::Derived;
using physical_queryplan::QueryPlan::Expression;
using physical_queryplan::QueryPlan::Operation;
using physical_queryplan::QueryPlan::PredicateVariant;
using physical_queryplan::QueryPlan::Scan;
using physical_queryplan::QueryPlan::TableVariable;
using physical_to_exec::ColumnTypeInfo;
using physical_to_exec::Plan;
using physical_to_exec::RefInfo;
using qd::embedded::column_type;
using query_test::lines_of;
using testing::ElementsAre;

template <typename T>
using type = meta_support::TypeIdentity<T>;

class plan_test : public query_test::database_test {
 protected:
  plan_test() {
    write([](qd::embedded::transaction& transaction) {
      qd::embedded::class_definition const town{
          .name = u"atlas.Town",
          .columns = {{.name = u"name", .type = column_type::string},
                      {.name = u"people", .type = column_type::unsigned_integer}}};
      qd::embedded::class_definition const city{
          .name = u"atlas.City",
          .base = u"atlas.Town",
          .columns = {{.name = u"height", .type = column_type::signed_integer},
                      {.name = u"tax", .type = column_type::decimal},
                      {.name = u"latitude", .type = column_type::double_float},
                      {.name = u"longitude", .type = column_type::single_float},
                      {.name = u"seal", .type = column_type::binary},
                      {.name = u"walled", .type = column_type::boolean},
                      {.name = u"twin",
                       .type = column_type::reference,
                       .referenced_class = u"atlas.Town"}}};
      std::vector const classes = {town, city};
      transaction.define_classes(classes);
      transaction.define_index(
          {.name = u"by_people", .class_name = u"atlas.Town", .columns = {{u"people"}}});
      auto const ulm = transaction.insert(u"atlas.Town", {{u"name", u"Ulm"}, {u"people", 126}});
      unsigned char const seal[] = {1, 2};
      transaction.insert(u"atlas.City", {{u"name", u"Linz"},
                                         {u"people", 212},
                                         {u"height", -266},
                                         {u"tax", qd::embedded::decimal{19'500'000}},
                                         {u"latitude", 48.25},
                                         {u"longitude", 14.5f},
                                         {u"seal", qd::embedded::binary_view(seal)},
                                         {u"walled", true},
                                         {u"twin", ulm}});
      transaction.insert(u"atlas.City", {{u"people", 9}});
    });
  }

  static TableVariable town() { return build::table(u"atlas.Town"); }
  static TableVariable city() { return build::table(u"atlas.City"); }
  // The towns with the fewest people first.
  static PredicateVariant towns(std::vector<Scan::ColBounds> bounds = {}) {
    return build::scan(town(), build::index(town(), u"by_people"), std::move(bounds));
  }
  static PredicateVariant cities() {
    return build::scan(city(), build::index(city(), u"atlas.City.extent"));
  }
  static Expression name() { return build::column(town(), u"name"); }
  static Expression people() { return build::column(town(), u"people"); }

  std::vector<std::string> lines(PredicateVariant plan) const { return lines_of(run(plan)); }
};

template <typename Kind>
Alias define(std::int32_t number, Expression expression) {
  return {std::move(expression), build::derived<Kind>(number)};
}

TEST_F(plan_test, columns_of_every_kind_come_with_their_types_and_contents) {
  std::vector<Expression> outputs;
  for (char16_t const* column : {u"name", u"people", u"height", u"tax", u"latitude", u"longitude",
                                 u"seal", u"walled", u"twin"}) {
    outputs.push_back(build::column(city(), column));
  }
  outputs.push_back(city());
  auto const plan = Plan(build::transform(outputs, cities()));
  EXPECT_EQ(plan.column_types, (std::vector<ColumnTypeInfo>{
                                   type<dt_string>(), type<unsigned long>(), type<long>(),
                                   type<Decimal>(), type<double>(), type<float>(), type<Binary>(),
                                   type<bool>(), RefInfo{u"atlas.Town"}, RefInfo{u"atlas.City"}}));
  outputs.pop_back();
  outputs.pop_back();
  EXPECT_THAT(lines(build::transform(outputs, cities())),
              ElementsAre("'Linz' | 212u | -266 | 19.500000 | 48.25 | 14.5f | x'0102' | TRUE",
                          "NULL | 9u | NULL | NULL | NULL | NULL | NULL | NULL"));
}

// Types of derived values are their own, but a derived reference is described by what defines it,
// through any number of Extends.
TEST_F(plan_test, types_of_derived_values) {
  auto const reference = define<QD_OBJ_REF>(2, build::column(city(), u"twin"));
  auto const renamed = define<QD_OBJ_REF>(3, build::derived<QD_OBJ_REF>(2));
  auto const literal = define<QD_OBJ_REF>(4, build::literal(QD_OBJ_REF{1, 0}));
  auto const plan = build::transform(
      {build::derived<QD_OBJ_REF>(3), build::derived<QD_OBJ_REF>(4), build::derived<bool>(5)},
      build::extend({renamed, literal, define<bool>(5, build::literal(5L))},
                    build::extend({reference}, cities())));
  EXPECT_EQ(
      Plan(plan).column_types,
      (std::vector<ColumnTypeInfo>{RefInfo{u"atlas.Town"}, type<QD_OBJ_REF>(), type<bool>()}));
}

// Set specifiers and NULLs are values of expressions but no result columns.
TEST_F(plan_test, result_columns_that_cannot_be) {
  auto const expect_refused = [](PredicateVariant plan) {
    try {
      Plan(std::move(plan));
      ADD_FAILURE();
    } catch (error_handling::QDException const& raised) {
      EXPECT_EQ(raised.code, 7022u);
      EXPECT_STREQ(raised.what(), "Unsupported return type");
    }
  };
  expect_refused(build::transform({build::column(town(), u"$set_specifier")}, towns()));
  expect_refused(build::transform({build::derived<NullValue>(1)},
                                  build::extend({define<NullValue>(1, build::null())}, towns())));
}

// The class of a node, which the library does not export.
std::string class_of(qd::sql_executor::node const& node) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> const name(
      abi::__cxa_demangle(typeid(node).name(), nullptr, nullptr, &status), std::free);
  return name.get();
}

TEST_F(plan_test, a_transform_that_changes_nothing_is_its_child) {
  auto const root_of = [](std::vector<Expression> outputs, PredicateVariant child) {
    return class_of(*Plan(build::transform(std::move(outputs), std::move(child))).root);
  };
  EXPECT_EQ(root_of({town()}, towns()), "qd::sql_executor::scan");
  PredicateVariant const computed = build::filter(
      build::literal(true), build::extend({define<long>(1, build::literal(1L))}, towns()));
  Expression const derived = build::derived<long>(1);
  EXPECT_EQ(root_of({town(), derived}, computed), "qd::sql_executor::filter");
  EXPECT_EQ(root_of({derived, town()}, computed), "qd::sql_executor::projection");
  EXPECT_EQ(root_of({town()}, computed), "qd::sql_executor::projection");
  EXPECT_EQ(get<long>(run(build::transform({derived, town()}, computed))[0][0]), 1);
  EXPECT_EQ(get<long>(run(build::transform({town(), derived}, computed))[0][1]), 1);
  // Another occurrence of the table is another variable, which nothing binds here.
  EXPECT_THROW(root_of({build::table(u"atlas.Town", 2)}, towns()), std::invalid_argument);
}

// A value that a node below computed is read from the row, not computed or fetched again.
TEST_F(plan_test, variables_of_the_row_come_first) {
  Expression const doubled =
      build::operation<PlusOperator, long>(build::derived<long>(1), build::derived<long>(1));
  PredicateVariant const plan = build::transform(
      {name(), build::derived<long>(2)},
      build::extend({define<long>(2, doubled)},
                    build::filter(build::operation<GreaterThan, long>(build::derived<long>(1),
                                                                      build::literal(100L)),
                                  build::extend({define<long>(1, people())}, towns()))));
  EXPECT_THAT(lines(plan), ElementsAre("'Ulm' | 252", "'Linz' | 424"));
  // A column under the column's own name hides the stored one.
  Alias const hiding{build::text(u"hidden"), physical_queryplan::AsPhysicalVariable(name())};
  EXPECT_THAT(lines(build::transform({name()}, build::extend({hiding}, towns()))),
              ElementsAre("'hidden'", "'hidden'", "'hidden'"));
}

TEST_F(plan_test, every_occurrence_of_a_literal_has_its_own_place) {
  Expression const one = build::literal(1L);
  auto const plan = Plan(build::transform(
      {build::derived<long>(1)},
      build::extend({define<long>(1, build::operation<PlusOperator, long>(one, one)),
                     define<QD_OBJ_REF>(2, build::literal(QD_OBJ_REF{1, 0})),
                     define<long>(3, build::parameter<long>(32767))},
                    towns({{.less = {build::bound(build::literal(1000UL))}}}))));
  // The child's first; neither references nor parameters are literals.
  EXPECT_THAT(plan.literals,
              ElementsAre(query_test::value(1000UL), query_test::value(1L), query_test::value(1L)));
  EXPECT_THAT(Plan(build::transform({people()}, towns())).literals, ElementsAre());
}

// Positions have 15 bits.
TEST_F(plan_test, positions_beyond_32767_are_refused) {
  using boost::numeric::positive_overflow;
  auto const literals = [](std::size_t count) {
    return build::filter(Operation<Concat>{{}, std::vector(count, build::null())}, towns());
  };
  EXPECT_EQ(Plan(build::transform({people()}, literals(32768))).literals.size(), 32768u);
  EXPECT_THROW(Plan(build::transform({people()}, literals(32769))), positive_overflow);

  auto const parameter = [](unsigned long number) {
    return build::transform({people()}, build::filter(build::parameter<bool>(number), towns()));
  };
  EXPECT_NO_THROW(Plan(parameter(32767)));
  EXPECT_THROW(Plan(parameter(32768)), positive_overflow);
  EXPECT_THROW(Plan(parameter(~0UL)), positive_overflow);

  // The row has the town at position 0, then the computed values.
  auto const wide_row = [](int count) {
    std::vector<Alias> aliases;
    for (int i = 1; i <= count; ++i) {
      aliases.push_back(define<bool>(i, build::parameter<bool>(0)));
    }
    return build::transform({build::derived<bool>(count)}, build::extend(aliases, towns()));
  };
  EXPECT_NO_THROW(Plan(wide_row(32767)));
  EXPECT_THROW(Plan(wide_row(32768)), positive_overflow);
}

// Which error a plan with several comes to. Each is told from the others by its type and text.
TEST_F(plan_test, the_first_error_of_a_plan) {
  Expression const incomplete = Operation<Equal>{{}, {build::null()}};
  Expression const overflow = build::parameter<bool>(32768);
  Expression const unbound = build::derived<long>(99);
  Scan::ColBounds const incomplete_bound{.less = {build::bound(incomplete)}};
  std::string const sql_error = "QDException ";
  struct row {
    char const* order;
    PredicateVariant plan;
    std::string error;
  };
  std::vector<row> const rows = {
      {"an input before what stands on it",
       build::transform({overflow}, build::filter(overflow, towns({incomplete_bound}))),
       "vector::_M_range_check: __n (which is 1) >= this->size() (which is 1)"},
      {"a condition before the root's kind", build::filter(overflow, towns()),
       boost::numeric::positive_overflow().what()},
      {"the root's kind last", towns(), sql_error + "7022 Not implemented error"},
      {"all outputs converted before any is taken for a variable",
       build::transform({build::null(), overflow}, towns()),
       boost::numeric::positive_overflow().what()},
      {"an output that is no variable before its type",
       build::transform({build::column(town(), u"$set_specifier"), build::null()}, towns()),
       sql_error + "7007 Internal error: expression is not a variable"},
      {"arguments in order",
       build::filter(build::operation<AndOperator>(unbound, overflow), towns()),
       "the plan uses a variable that nothing binds: derived value 99 0 0 0"},
      {"the range of a column in a fixed order of relations",
       towns({{.less = {build::bound(overflow)}, .greater = {build::bound(unbound)}}}),
       "the plan uses a variable that nothing binds: derived value 99 0 0 0"},
  };
  for (row const& each : rows) {
    SCOPED_TRACE(each.order);
    try {
      Plan(each.plan);
      ADD_FAILURE();
    } catch (error_handling::QDException const& raised) {
      EXPECT_EQ(sql_error + std::to_string(raised.code) + ' ' + raised.what(), each.error);
      EXPECT_EQ(raised.location.first_line, -1);
    } catch (std::exception const& raised) {
      EXPECT_EQ(raised.what(), each.error);
    }
  }
}

// Scans see the variables of enclosing nodes only, never their own table's.
TEST_F(plan_test, a_bound_cannot_use_its_own_table) {
  Scan::ColBounds const own{.less = {build::bound(people())}};
  EXPECT_THROW(Plan(build::transform({people()}, towns({own}))), std::invalid_argument);
}

TEST_F(plan_test, enumerations_of_one_plan_are_independent) {
  auto const plan = Plan(build::transform({people()}, towns()));
  auto first_context = query_test::context_for(plan, context());
  auto second_context = query_test::context_for(plan, context());
  auto const first = plan.root->enumerate(first_context);
  auto const second = plan.root->enumerate(second_context);
  EXPECT_EQ(get<unsigned long>((*first->next(first_context))[0]), 9u);
  EXPECT_EQ(get<unsigned long>((*first->next(first_context))[0]), 126u);
  EXPECT_EQ(get<unsigned long>((*second->next(second_context))[0]), 9u);
}

}  // namespace
