// Plans as deep as is allowed, and deeper.
#include <gmock/gmock.h>

#include <stdexcept>

#include "physical_queryplan/build.h"
#include "support/query_test.h"

namespace {

namespace build = physical_queryplan::build;
using operator_library::NotOperator;
using operator_library::PlusOperator;
using physical_queryplan::QueryPlan::Expression;
using physical_queryplan::QueryPlan::PredicateVariant;
using physical_queryplan::QueryPlan::TableVariable;
using physical_to_exec::max_nesting;
using physical_to_exec::Plan;

class nesting_test : public query_test::database_test {
 protected:
  nesting_test() {
    write([](qd::embedded::transaction& transaction) {
      transaction.define_class(
          {.name = u"deep.Item",
           .columns = {{.name = u"number", .type = qd::embedded::column_type::signed_integer}}});
      transaction.insert(u"deep.Item", {{u"number", 7}});
    });
  }

  static PredicateVariant items() {
    TableVariable const item = build::table(u"deep.Item");
    return build::scan(item, build::index(item, u"deep.Item.extent"));
  }

  // The numbers of the items, through nodes, each above the next.
  static PredicateVariant nodes(int depth) {
    PredicateVariant plan = items();
    for (int i = 0; i < depth; ++i) {
      plan = build::filter(build::literal(true), std::move(plan));
    }
    return build::transform({build::column(build::table(u"deep.Item"), u"number")},
                            std::move(plan));
  }

  // The number and what `operations`, each an argument of the next, make of it.
  static PredicateVariant expression(int operations) {
    Expression number = build::column(build::table(u"deep.Item"), u"number");
    for (int i = 0; i < operations; ++i) {
      number = build::operation<PlusOperator, long>(std::move(number), build::literal(1L));
    }
    auto const result = build::derived<long>(1);
    return build::transform({result}, build::extend({{std::move(number), result}}, items()));
  }

  static PredicateVariant condition(int operations) {
    Expression truth = build::literal(true);
    for (int i = 0; i < operations; ++i) {
      truth = build::operation<NotOperator>(std::move(truth));
    }
    return build::transform({build::column(build::table(u"deep.Item"), u"number")},
                            build::filter(std::move(truth), items()));
  }

  long number_of(PredicateVariant plan) const {
    auto const rows = run(std::move(plan));
    return rows.size() == 1 ? get<long>(rows[0][0]) : -1;
  }
};

// Levels that the plans below have beside what is nested in them: the Transform and what it reads.
constexpr int other_levels = 4;

TEST_F(nesting_test, plans_up_to_the_limit_run) {
  for (int const depth : {1000, max_nesting - other_levels}) {
    EXPECT_EQ(number_of(nodes(depth)), 7);
    EXPECT_EQ(number_of(expression(depth)), 7 + depth);
    EXPECT_EQ(number_of(condition(depth)), depth % 2 == 0 ? 7 : -1);
  }
}

TEST_F(nesting_test, deeper_plans_are_refused) {
  std::string const message =
      "the plan is nested deeper than " + std::to_string(max_nesting) + " levels";
  for (int const depth : {max_nesting + 1, 2 * max_nesting}) {
    for (auto const& plan : {nodes, expression, condition}) {
      try {
        Plan(plan(depth));
        ADD_FAILURE() << depth;
      } catch (std::length_error const& raised) {
        EXPECT_EQ(raised.what(), message);
      }
    }
  }
}

}  // namespace
