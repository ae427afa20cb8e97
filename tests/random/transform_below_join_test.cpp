// What random plans leave out: a Transform below the right side of a join. Its outputs are
// converted against its child alone, so they count positions from the beginning of the bound data,
// where the left row stands.
#include <gtest/gtest.h>

#include "physical_queryplan/build.h"
#include "physical_to_exec/plan.h"
#include "sql_executor/evaluation_context.h"
#include "support/kinds_database.h"

namespace {

namespace build = physical_queryplan::build;
namespace plan = physical_queryplan::QueryPlan;

qd::embedded::database two_things() {
  auto database = qd::embedded::database::open_temporary({.capacity_bytes = 1UL << 26});
  auto write = database.begin_write();
  kinds_database::define(write);
  write.insert(kinds_database::thing, {{u"name", u"A"}});
  write.insert(kinds_database::thing, {{u"name", u"B"}});
  write.commit();
  return database;
}

class TransformBelowJoin : public testing::Test {
 protected:
  static plan::PredicateVariant scan(plan::TableVariable const& variable) {
    return build::scan(variable, build::index(variable, u"kinds.Thing.extent"));
  }

  // The two names of each row of the join, the left row's first.
  template <typename Kind>
  std::u16string names(plan::PredicateVariant const& right) {
    auto const executable = physical_to_exec::Plan(
        build::transform({build::column(left_, u"name"), build::column(right_, u"name")},
                         plan::Join<Kind>{scan(left_), right}));
    qd::sql_executor::evaluation_context context{.literals = executable.literals,
                                                 .parameters = {},
                                                 .bound_data = {},
                                                 .kernel_context = snapshot_.context()};
    auto const rows = executable.root->enumerate(context);
    std::u16string all;
    while (auto const row = rows->next(context)) {
      for (auto const& column : *row) all += get<db_string::dt_string>(column).string();
      all += u' ';
    }
    return all;
  }

  qd::embedded::database database_ = two_things();
  qd::embedded::snapshot snapshot_ = database_.begin_snapshot();
  qd::embedded::thread_binding binding_ = snapshot_.bind();
  plan::TableVariable const left_ = build::table(kinds_database::thing, 1);
  plan::TableVariable const right_ = build::table(kinds_database::thing, 2);
};

TEST_F(TransformBelowJoin, ReadsTheLeftRow) {
  auto const right = build::transform({build::column(right_, u"name")}, scan(right_));
  EXPECT_EQ(names<shared_classes::Inner>(right), u"AA AA BB BB ");
  EXPECT_EQ(names<shared_classes::Left>(right), u"AA AA BB BB ");
}

TEST_F(TransformBelowJoin, OfTheSameVariablesChangesNothing) {
  auto const right = build::transform({right_}, scan(right_));
  EXPECT_EQ(names<shared_classes::Inner>(right), u"AA AB BA BB ");
  EXPECT_EQ(names<shared_classes::Left>(right), u"AA AB BA BB ");
}

}  // namespace
