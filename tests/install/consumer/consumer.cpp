// Uses an installed library from outside: plans, runs, and catches what the library throws, which
// has its own copy of the exceptions' code.
#include <iostream>

#include "db_util/db_exception.h"
#include "dbmetalayer/database.h"
#include "error_handling/qd_exception.h"
#include "physical_queryplan/build.h"
#include "physical_queryplan/plan_printer.h"
#include "physical_to_exec/plan.h"

namespace {

namespace build = physical_queryplan::build;
using physical_queryplan::QueryPlan::Expression;
using physical_queryplan::QueryPlan::PredicateVariant;

void run(PredicateVariant plan, unsigned long kernel_context) {
  std::cout << physical_queryplan::Print(plan);
  try {
    auto const executable = physical_to_exec::Plan(plan);
    qd::sql_executor::evaluation_context context;
    context.literals = executable.literals;
    context.kernel_context = kernel_context;
    auto const rows = executable.root->enumerate(context);
    while (auto const row = rows->next(context)) {
      std::cout << get<unsigned long>((*row)[0]) << '\n';
    }
  } catch (db_util::db_exception const& raised) {
    std::cout << "db_exception " << raised.code << '\n';
  } catch (error_handling::QDException const& raised) {
    std::cout << "QDException " << raised.code << ' ' << raised.what() << '\n';
  }
}

}  // namespace

int main() {
  auto data = qd::embedded::database::open_temporary();
  auto write = data.begin_write();
  write.define_class(
      {.name = u"shop.Item",
       .columns = {{.name = u"price", .type = qd::embedded::column_type::unsigned_integer}}});
  write.insert(u"shop.Item", {{u"price", 5}});
  write.insert(u"shop.Item", {{u"price", 70}});
  write.commit();
  auto snapshot = data.begin_snapshot();
  auto const binding = snapshot.bind();

  auto const item = build::table(u"shop.Item");
  Expression const price = build::column(item, u"price");
  PredicateVariant const scan = build::scan(item, build::index(item, u"shop.Item.extent"));
  auto const priced = [&](Expression condition) {
    return build::transform({price}, build::filter(condition, scan));
  };
  run(priced(
          build::operation<operator_library::LessThan, unsigned long>(price, build::literal(9UL))),
      snapshot.context());
  run(priced(price), snapshot.context());
  run(scan, snapshot.context());
}
