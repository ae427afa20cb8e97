// A database, a plan and its rows: SELECT name, population FROM atlas.City WHERE population > $0
#include <iostream>

#include "db_string/string_encoder.h"
#include "dbmetalayer/database.h"
#include "physical_queryplan/build.h"
#include "physical_to_exec/plan.h"

int main() {
  // A class, an index over it, and some objects.
  using qd::embedded::column_type;
  auto data = qd::embedded::database::open_temporary();
  auto write = data.begin_write();
  write.define_class({.name = u"atlas.City",
                      .columns = {{.name = u"name", .type = column_type::string},
                                  {.name = u"population", .type = column_type::unsigned_integer}}});
  write.define_index({.name = u"atlas.City.by_population",
                      .class_name = u"atlas.City",
                      .columns = {{.name = u"population"}}});
  write.insert(u"atlas.City", {{u"name", u"Reykjavík"}, {u"population", 139'875}});
  write.insert(u"atlas.City", {{u"name", u"Hamburg"}, {u"population", 1'892'122}});
  write.insert(u"atlas.City", {{u"name", u"東京"}, {u"population", 14'047'594}});
  write.insert(u"atlas.City", {{u"name", u"Atlantis"}});
  write.commit();

  // What was committed, bound to this thread, which now can plan and read.
  auto snapshot = data.begin_snapshot();
  auto binding = snapshot.bind();

  // The plan: a range of the index, from a parameter on; of each object, two columns.
  namespace build = physical_queryplan::build;
  auto const city = build::table(u"atlas.City");
  auto const name = build::column(city, u"name");
  auto const population = build::column(city, u"population");
  auto const index = build::index(city, u"atlas.City.by_population");
  auto const scan =
      build::scan(city, index, {{.greater = {build::bound(build::parameter<unsigned long>(0))}}});
  auto plan = physical_to_exec::Plan(build::transform({name, population}, scan));

  // The run: parameter 0 is 500,000. Rows come one by one.
  qd::sql_executor::evaluation_context context;
  context.literals = plan.literals;
  context.parameters = {500'000UL};
  context.kernel_context = snapshot.context();
  auto rows = plan.root->enumerate(context);
  while (auto row = rows->next(context)) {
    std::u16string const city_name = get<db_string::dt_string>((*row)[0]).string();
    std::cout << encoder::utf16_to_utf8(city_name) << ' ' << get<unsigned long>((*row)[1]) << '\n';
  }
}
