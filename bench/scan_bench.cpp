// Whole queries over the embedded database, beside SQLite in memory on the same rows in the same
// process; and loading. QD_BENCH_ROWS sets the number of rows, 1,000,000 if it is not set.
#include <benchmark/benchmark.h>
#include <memory>
#include <string>

#include "dbmetalayer/database.h"
#include "physical_queryplan/build.h"
#include "physical_to_exec/plan.h"
#include "sql_executor/evaluation_context.h"
#include "sqlite_peer.h"

namespace {

using namespace bench;  // NOLINT: the peer and the size
namespace build = physical_queryplan::build;
using qd::sql_executor::value;

// The condition: quantity > least_quantity and weight < weight_limit. A given percentage of the rows
// meets it; two thirds of them meet its second half.
constexpr long quantity_range = 1'000'000;
constexpr double weight_limit = 2.0 / 3;

long least_quantity(benchmark::State const& state) {
  return quantity_range - quantity_range * state.range(0) * 3 / 200;
}

struct item {
  std::string name;
  long quantity;
  double weight;
};

// Row number `number` of the table.
item make_item(long number) {
  auto const scattered = static_cast<unsigned long>(number) * 0x9E3779B97F4A7C15UL;
  return {"item number " + std::to_string(number),
          static_cast<long>((scattered >> 20) % quantity_range),
          static_cast<double>(scattered >> 40) / (1 << 24)};
}

// Creates the class with an index and inserts the rows.
void load(qd::embedded::database& database, long count) {
  using qd::embedded::column_type;
  auto write = database.begin_write();
  write.define_class({.name = u"bench.Item",
                      .columns = {{.name = u"name", .type = column_type::string},
                                  {.name = u"quantity", .type = column_type::signed_integer},
                                  {.name = u"weight", .type = column_type::double_float}}});
  write.define_index({.name = u"bench.Item.by_quantity",
                      .class_name = u"bench.Item",
                      .columns = {{.name = u"quantity"}}});
  auto insert = write.prepare_insert(u"bench.Item");
  for (long number = 0; number < count; ++number) {
    item const next = make_item(number);
    std::u16string const name(next.name.begin(), next.name.end());
    insert.insert({name, next.quantity, next.weight});
  }
  write.commit();
}

qd::embedded::database& loaded_database() {
  static qd::embedded::database database = [] {
    auto fresh = qd::embedded::database::open_temporary();
    load(fresh, row_count());
    return fresh;
  }();
  return database;
}

sqlite3* loaded_sqlite() {
  static sqlite_database const database = [] {
    sqlite_database fresh = open_in_memory();
    sqlite3* const opened = fresh.get();
    char const* const schema =
        "CREATE TABLE item (name TEXT, quantity INTEGER, weight REAL);"
        "CREATE INDEX by_quantity ON item (quantity); BEGIN";
    check(sqlite3_exec(opened, schema, nullptr, nullptr, nullptr));
    sqlite_statement const insert = prepare(opened, "INSERT INTO item VALUES (?, ?, ?)");
    for (long number = 0; number < row_count(); ++number) {
      item const next = make_item(number);
      sqlite3_bind_text(insert.get(), 1, next.name.c_str(), -1, SQLITE_TRANSIENT);
      sqlite3_bind_int64(insert.get(), 2, next.quantity);
      sqlite3_bind_double(insert.get(), 3, next.weight);
      check(sqlite3_step(insert.get()), SQLITE_DONE);
      check(sqlite3_reset(insert.get()));
    }
    check(sqlite3_exec(opened, "COMMIT", nullptr, nullptr, nullptr));
    return fresh;
  }();
  return database.get();
}

// SELECT name, quantity, weight FROM item WHERE quantity > ? AND weight < ?, without an index.
void scan_filter_project(benchmark::State& state) {
  auto snapshot = loaded_database().begin_snapshot();
  auto const binding = snapshot.bind();
  auto const items = build::table(u"bench.Item");
  auto const name = build::column(items, u"name");
  auto const quantity = build::column(items, u"quantity");
  auto const weight = build::column(items, u"weight");
  auto const condition = build::operation<operator_library::AndOperator>(
      build::operation<operator_library::GreaterThan, long>(quantity, build::parameter<long>(0)),
      build::operation<operator_library::LessThan, double>(weight, build::parameter<double>(1)));
  auto const plan = physical_to_exec::Plan(build::transform(
      {name, quantity, weight},
      build::filter(condition, build::scan(items, build::index(items, u"bench.Item.extent")))));
  long rows = 0;
  for (auto _ : state) {
    qd::sql_executor::evaluation_context context{
        .literals = plan.literals,
        .parameters = {least_quantity(state), weight_limit},
        .bound_data = {},
        .kernel_context = snapshot.context()};
    auto const enumerator = plan.root->enumerate(context);
    rows = 0;
    while (auto const row = enumerator->next(context)) {
      benchmark::DoNotOptimize(get<db_string::dt_string>((*row)[0]).data());
      benchmark::DoNotOptimize(get<long>((*row)[1]));
      benchmark::DoNotOptimize(get<double>((*row)[2]));
      ++rows;
    }
  }
  state.SetItemsProcessed(state.iterations() * row_count());
  state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(scan_filter_project)->ArgName("percent")->Arg(10)->Arg(50)->Unit(benchmark::kMillisecond);

void scan_filter_project_sqlite(benchmark::State& state) {
  sqlite_statement const query = prepare(
      loaded_sqlite(),
      "SELECT name, quantity, weight FROM item NOT INDEXED WHERE quantity > ? AND weight < ?");
  sqlite3_bind_int64(query.get(), 1, least_quantity(state));
  sqlite3_bind_double(query.get(), 2, weight_limit);
  long rows = 0;
  for (auto _ : state) {
    rows = 0;
    while (sqlite3_step(query.get()) == SQLITE_ROW) {
      benchmark::DoNotOptimize(sqlite3_column_text(query.get(), 0));
      benchmark::DoNotOptimize(sqlite3_column_int64(query.get(), 1));
      benchmark::DoNotOptimize(sqlite3_column_double(query.get(), 2));
      ++rows;
    }
    check(sqlite3_reset(query.get()));
  }
  state.SetItemsProcessed(state.iterations() * row_count());
  state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(scan_filter_project_sqlite)
    ->ArgName("percent")
    ->Arg(10)
    ->Arg(50)
    ->Unit(benchmark::kMillisecond);

// The plan of SELECT name, quantity FROM item WHERE quantity = ?, through the index.
physical_queryplan::QueryPlan::PredicateVariant lookup_plan() {
  auto const items = build::table(u"bench.Item");
  auto const quantity = build::column(items, u"quantity");
  physical_queryplan::QueryPlan::Scan::ColBounds bounds;
  bounds.equal.insert({.value = build::parameter<long>(0), .exclude_null = true});
  return build::transform(
      {build::column(items, u"name"), quantity},
      build::scan(items, build::index(items, u"bench.Item.by_quantity"), {std::move(bounds)}));
}

// Making it executable. The copy that Plan takes is not timed.
void plan_lookup(benchmark::State& state) {
  auto snapshot = loaded_database().begin_snapshot();
  auto const binding = snapshot.bind();
  auto const plan = lookup_plan();
  std::vector<physical_queryplan::QueryPlan::PredicateVariant> copies;
  for (auto _ : state) {
    if (copies.empty()) {
      state.PauseTiming();
      copies.resize(1000, plan);
      state.ResumeTiming();
    }
    auto const executable = physical_to_exec::Plan(std::move(copies.back()));
    benchmark::DoNotOptimize(executable.root.get());
    copies.pop_back();
  }
}
BENCHMARK(plan_lookup);

// What Plan reads of the catalogue for it.
void plan_lookup_catalogue_reads(benchmark::State& state) {
  auto snapshot = loaded_database().begin_snapshot();
  auto const binding = snapshot.bind();
  auto const items = build::table(u"bench.Item");
  auto const index = build::index(items, u"bench.Item.by_quantity");
  auto const columns = items.table.GetUserColumns();
  for (auto _ : state) {
    benchmark::DoNotOptimize(index.Id());
    for (meta_data::IndexColumn const& each : index.GetColumns()) {
      benchmark::DoNotOptimize(each.ToColumn().Type());
      benchmark::DoNotOptimize(each.Ascending());
    }
    for (std::size_t i = 0; i < 2; ++i) {
      benchmark::DoNotOptimize(columns[i].InTable().LayoutId());
      benchmark::DoNotOptimize(columns[i].Index());
      benchmark::DoNotOptimize(columns[i].Type());
    }
  }
}
BENCHMARK(plan_lookup_catalogue_reads);

// Opening a database, loading it with one index, and committing.
void load_with_one_index(benchmark::State& state) {
  for (auto _ : state) {
    auto database = qd::embedded::database::open_temporary();
    load(database, row_count());
  }
  state.SetItemsProcessed(state.iterations() * row_count());
}
BENCHMARK(load_with_one_index)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
