// Sorting, grouping and joining whole tables over the embedded database, beside SQLite in memory on the
// same rows in the same process. QD_BENCH_ROWS sets the number of sales.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "dbmetalayer/database.h"
#include "physical_queryplan/build.h"
#include "physical_to_exec/plan.h"
#include "sql_executor/evaluation_context.h"
#include "sqlite_peer.h"

namespace {

using namespace bench;             // NOLINT: the peer and the size
using namespace operator_library;  // NOLINT: the operations
namespace build = physical_queryplan::build;
using physical_queryplan::QueryPlan::PredicateVariant;
using physical_queryplan::QueryPlan::Scan;

struct sale {
  long id;
  long k;            // Random, nearly all different.
  long grp;          // One of 1,000.
  std::string name;  // 6 to 20 letters; one in 20 is NULL, here empty.
  double ratio;
  long label;  // Half of them name a label.
};

long label_count() {
  return row_count() / 10;
}

sale make_sale(long id) {
  unsigned long bits = static_cast<unsigned long>(id + 1) * 0x9E3779B97F4A7C15UL;
  bits ^= bits >> 29;
  bits *= 0xBF58476D1CE4E5B9UL;
  bits ^= bits >> 32;
  sale made{id,
            static_cast<long>(bits % static_cast<unsigned long>(row_count())),
            static_cast<long>((bits >> 20) % 1000),
            {},
            static_cast<double>(bits >> 40) / (1 << 24),
            static_cast<long>((bits >> 7) % static_cast<unsigned long>(2 * label_count() + 1))};
  if (id % 20 != 0) {
    std::size_t const length = 6 + (bits >> 50) % 15;
    for (std::size_t i = 0; i < length; ++i) {
      made.name += static_cast<char>('a' + (bits >> (i % 12) * 5 & 31) % 26);
    }
  }
  return made;
}

qd::embedded::database load() {
  using qd::embedded::column_type;
  auto database = qd::embedded::database::open_temporary();
  auto write = database.begin_write();
  write.define_class({.name = u"bench.Sale",
                      .columns = {{.name = u"id", .type = column_type::signed_integer},
                                  {.name = u"k", .type = column_type::signed_integer},
                                  {.name = u"grp", .type = column_type::signed_integer},
                                  {.name = u"name", .type = column_type::string},
                                  {.name = u"ratio", .type = column_type::double_float},
                                  {.name = u"label", .type = column_type::signed_integer}}});
  write.define_class({.name = u"bench.Label",
                      .columns = {{.name = u"id", .type = column_type::signed_integer},
                                  {.name = u"text", .type = column_type::string}}});
  write.define_index(
      {.name = u"bench.Sale.by_id", .class_name = u"bench.Sale", .columns = {{.name = u"id"}}});
  write.define_index(
      {.name = u"bench.Label.by_id", .class_name = u"bench.Label", .columns = {{.name = u"id"}}});
  auto sales = write.prepare_bulk_insert(u"bench.Sale");
  for (long id = 0; id < row_count(); ++id) {
    sale const next = make_sale(id);
    std::u16string const name(next.name.begin(), next.name.end());
    qd::embedded::value const name_or_null =
        name.empty() ? qd::embedded::value() : qd::embedded::value(name);
    sales.insert({next.id, next.k, next.grp, name_or_null, next.ratio, next.label});
  }
  sales.finish();
  auto labels = write.prepare_bulk_insert(u"bench.Label");
  for (long id = 0; id < label_count(); ++id) {
    std::string const text = "label " + std::to_string(id);
    labels.insert({id, std::u16string(text.begin(), text.end())});
  }
  labels.finish();
  write.commit();
  return database;
}

qd::embedded::database& loaded_database() {
  static qd::embedded::database database = load();
  return database;
}

sqlite3* loaded_sqlite() {
  static sqlite_database const database = [] {
    sqlite_database fresh = open_in_memory();
    check(
        sqlite3_exec(fresh.get(),
                     "CREATE TABLE sale (id INTEGER, k INTEGER, grp INTEGER, name TEXT, ratio REAL,"
                     " label INTEGER); CREATE TABLE label (id INTEGER, text TEXT);"
                     "CREATE INDEX sale_by_id ON sale (id);"
                     "CREATE INDEX label_by_id ON label (id); BEGIN",
                     nullptr, nullptr, nullptr));
    sqlite_statement const sales =
        prepare(fresh.get(), "INSERT INTO sale VALUES (?, ?, ?, ?, ?, ?)");
    for (long id = 0; id < row_count(); ++id) {
      sale const next = make_sale(id);
      sqlite3_bind_int64(sales.get(), 1, next.id);
      sqlite3_bind_int64(sales.get(), 2, next.k);
      sqlite3_bind_int64(sales.get(), 3, next.grp);
      if (next.name.empty()) {
        sqlite3_bind_null(sales.get(), 4);
      } else {
        sqlite3_bind_text(sales.get(), 4, next.name.c_str(), -1, SQLITE_TRANSIENT);
      }
      sqlite3_bind_double(sales.get(), 5, next.ratio);
      sqlite3_bind_int64(sales.get(), 6, next.label);
      check(sqlite3_step(sales.get()), SQLITE_DONE);
      check(sqlite3_reset(sales.get()));
    }
    sqlite_statement const labels = prepare(fresh.get(), "INSERT INTO label VALUES (?, ?)");
    for (long id = 0; id < label_count(); ++id) {
      std::string const text = "label " + std::to_string(id);
      sqlite3_bind_int64(labels.get(), 1, id);
      sqlite3_bind_text(labels.get(), 2, text.c_str(), -1, SQLITE_TRANSIENT);
      check(sqlite3_step(labels.get()), SQLITE_DONE);
      check(sqlite3_reset(labels.get()));
    }
    check(sqlite3_exec(fresh.get(), "COMMIT", nullptr, nullptr, nullptr));
    return fresh;
  }();
  return database.get();
}

PredicateVariant scan_by(physical_queryplan::QueryPlan::TableVariable const& table,
                         std::u16string_view index, std::vector<Scan::ColBounds> bounds = {}) {
  return build::scan(table, build::index(table, index), std::move(bounds));
}

// All ids in the order of two keys.
PredicateVariant sort_plan() {
  auto const table = build::table(u"bench.Sale");
  return build::transform(
      {build::column(table, u"id")},
      build::order_by({{true, build::column(table, u"name")}, {false, build::column(table, u"k")}},
                      scan_by(table, u"bench.Sale.extent")));
}

// Count, sum, least and greatest of the groups by a column.
PredicateVariant group_by(physical_queryplan::QueryPlan::TableVariable const& table,
                          std::u16string_view column, std::u16string_view summed,
                          PredicateVariant rows) {
  auto const group = build::derived<long>(1);
  auto const count = build::derived<long>(2);
  auto const sum = build::derived<long>(3);
  auto const least = build::derived<db_string::dt_string>(4);
  auto const greatest = build::derived<double>(5);
  return build::transform(
      {group, count, sum, least, greatest},
      build::aggregation(
          {build::aggregate<CountStar>(count),
           build::aggregate<Sum, long>(sum, build::column(table, summed)),
           build::aggregate<Min, db_string::dt_string>(least, build::column(table, u"name")),
           build::aggregate<Max, double>(greatest, build::column(table, u"ratio"))},
          {{build::column(table, column), group}}, std::move(rows)));
}

PredicateVariant group_plan() {
  auto const table = build::table(u"bench.Sale");
  return group_by(table, u"grp", u"k", scan_by(table, u"bench.Sale.extent"));
}

// The first tenth of the sales.
PredicateVariant tenth_of(physical_queryplan::QueryPlan::TableVariable const& table) {
  Scan::ColBounds const tenth{.less = {build::bound(build::literal(label_count()))}};
  return scan_by(table, u"bench.Sale.by_id", {tenth});
}

// Nearly as many groups as rows: 95,000 of 100,000.
PredicateVariant group_many_plan() {
  auto const table = build::table(u"bench.Sale");
  return group_by(table, u"k", u"grp", tenth_of(table));
}

// A tenth of the sales with their labels, found through the index; half of them have one.
PredicateVariant join_plan() {
  auto const left = build::table(u"bench.Sale", 1);
  auto const right = build::table(u"bench.Label", 2);
  Scan::ColBounds const its_label{.equal = {build::bound(build::column(left, u"label"))}};
  return build::transform(
      {build::column(left, u"id"), build::column(right, u"text")},
      build::inner_join(tenth_of(left), scan_by(right, u"bench.Label.by_id", {its_label})));
}

void run_plan(benchmark::State& state, PredicateVariant (*make_plan)()) {
  auto snapshot = loaded_database().begin_snapshot();
  auto const binding = snapshot.bind();
  auto const plan = physical_to_exec::Plan(make_plan());
  long rows = 0;
  for (auto _ : state) {
    qd::sql_executor::evaluation_context context{.literals = plan.literals,
                                                 .parameters = {},
                                                 .bound_data = {},
                                                 .kernel_context = snapshot.context()};
    auto const enumerator = plan.root->enumerate(context);
    rows = 0;
    while (auto const row = enumerator->next(context)) {
      for (qd::sql_executor::value const& each : *row) benchmark::DoNotOptimize(&each);
      ++rows;
    }
  }
  state.counters["rows"] = static_cast<double>(rows);
}

void run_sqlite(benchmark::State& state, char const* text) {
  sqlite_statement const query = prepare(loaded_sqlite(), text);
  int const columns = sqlite3_column_count(query.get());
  long rows = 0;
  for (auto _ : state) {
    rows = 0;
    while (sqlite3_step(query.get()) == SQLITE_ROW) {
      for (int column = 0; column < columns; ++column) {
        if (sqlite3_column_type(query.get(), column) == SQLITE_TEXT) {
          benchmark::DoNotOptimize(sqlite3_column_text(query.get(), column));
        } else {
          benchmark::DoNotOptimize(sqlite3_column_int64(query.get(), column));
        }
      }
      ++rows;
    }
    check(sqlite3_reset(query.get()));
  }
  state.counters["rows"] = static_cast<double>(rows);
}

void sort(benchmark::State& state) {
  run_plan(state, sort_plan);
}
void sort_sqlite(benchmark::State& state) {
  run_sqlite(state, "SELECT id FROM sale NOT INDEXED ORDER BY name, k DESC");
}
void group(benchmark::State& state) {
  run_plan(state, group_plan);
}
void group_sqlite(benchmark::State& state) {
  run_sqlite(
      state,
      "SELECT grp, count(*), sum(k), min(name), max(ratio) FROM sale NOT INDEXED GROUP BY grp");
}
void group_many(benchmark::State& state) {
  run_plan(state, group_many_plan);
}
void group_many_sqlite(benchmark::State& state) {
  std::string const query =
      "SELECT k, count(*), sum(grp), min(name), max(ratio) FROM sale INDEXED BY sale_by_id"
      " WHERE id < " +
      std::to_string(label_count()) + " GROUP BY k";
  run_sqlite(state, query.c_str());
}
void join(benchmark::State& state) {
  run_plan(state, join_plan);
}
void join_sqlite(benchmark::State& state) {
  std::string const query =
      "SELECT s.id, l.text FROM sale s INDEXED BY sale_by_id CROSS JOIN label l INDEXED BY "
      "label_by_id"
      " WHERE l.id = s.label AND s.id < " +
      std::to_string(label_count());
  run_sqlite(state, query.c_str());
}

BENCHMARK(sort)->Unit(benchmark::kMillisecond);
BENCHMARK(sort_sqlite)->Unit(benchmark::kMillisecond);
BENCHMARK(group)->Unit(benchmark::kMillisecond);
BENCHMARK(group_sqlite)->Unit(benchmark::kMillisecond);
BENCHMARK(group_many)->Unit(benchmark::kMillisecond);
BENCHMARK(group_many_sqlite)->Unit(benchmark::kMillisecond);
BENCHMARK(join)->Unit(benchmark::kMillisecond);
BENCHMARK(join_sqlite)->Unit(benchmark::kMillisecond);

}  // namespace
