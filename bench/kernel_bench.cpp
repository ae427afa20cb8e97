// The embedded kernel's hot paths: what a query spends below the engine.
//
// OBJECT_COUNT in the environment sets how many objects there are (20,000 without it; figures to
// quote want 1,000,000, which do not fit into the processor's caches).
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "coredb/database.h"
#include "coredb/text_codec.h"
#include "dbmetalayer/database.h"
#include "kernel/vela.h"

namespace {

using namespace qd::coredb;
using kind = column_kind;

std::uint64_t object_count() {
  char const* const text = std::getenv("OBJECT_COUNT");
  std::uint64_t const count = text ? std::strtoull(text, nullptr, 10) : 20'000;
  if (count == 0) throw std::invalid_argument("OBJECT_COUNT must be a number above 0");
  return count;
}

// Numbers that come in no order, as keys that are not given by the time of insertion do.
std::uint64_t scrambled(std::uint64_t number) {
  return (number + 1) * 0x9E3779B97F4A7C15 >> 20;
}

struct sample {
  std::shared_ptr<qd::coredb::database> database;
  std::uint16_t layout = 0;
  std::uint64_t by_number = 0, by_scrambled = 0, extent = 0;
};

// Objects of a number, a scrambled number, a name and a NULL. `indexes`: 0 to 2 of them.
sample make_sample(std::uint64_t count, int indexes) {
  sample made{.database = qd::coredb::database::open_temporary()};
  auto const transaction = made.database->begin_write();
  made.layout = transaction->create_layout(
      {0,
       0,
       0,
       u"A",
       {kind::unsigned_integer, kind::unsigned_integer, kind::string, kind::signed_integer}});
  made.extent = transaction->create_index(
      {0, made.layout, {{own_reference_column, kind::reference, true}}, false, true});
  if (indexes > 0) {
    made.by_scrambled = transaction->create_index(
        {0, made.layout, {{4, kind::unsigned_integer, true}}, false, false});
  }
  if (indexes > 1) {
    made.by_number = transaction->create_index(
        {0, made.layout, {{3, kind::unsigned_integer, true}}, false, false});
  }
  std::string const name = to_densetext(u"LATIN SMALL LETTER A WITH ACUTE");
  std::span<unsigned char const> const name_bytes{
      reinterpret_cast<unsigned char const*>(name.data()), name.size()};
  for (std::uint64_t i = 0; i < count; ++i) {
    field const fields[] = {field::of_unsigned(i), field::of_unsigned(scrambled(i)),
                            field::of_string(name_bytes), field::of_null(kind::signed_integer)};
    transaction->insert(made.layout, fields);
  }
  transaction->commit();
  return made;
}

sample const& shared_sample() {
  static sample const made = make_sample(object_count(), 2);
  return made;
}

void check(unsigned int status) {
  if (status != 0) throw std::runtime_error("kernel status " + std::to_string(status));
}

// Walks an index to its end and gives each object to `visit`.
template <typename Visit>
void walk(unsigned long context, std::uint64_t index, Visit const& visit) {
  unsigned char const whole[8] = {0xC0};
  unsigned long iterator = 0;
  check(vela_context_create_iterator(context, index,
                                     VELA_ITERATE_FIRST_INCLUSIVE | VELA_ITERATE_LAST_INCLUSIVE,
                                     whole, whole, &iterator));
  VELA_RECORD record{};
  for (;;) {
    check(vela_iterator_next(iterator, &record));
    if (record.oid == 0) break;
    visit(record);
  }
  check(vela_iterator_free(iterator));
}

std::uint64_t index_of(sample const& sample, std::int64_t which) {
  return which == 0 ? sample.extent : which == 1 ? sample.by_number : sample.by_scrambled;
}

void name_walk(benchmark::State& state) {
  char const* const labels[] = {"extent", "index, objects in order", "index, objects in no order"};
  state.SetLabel(labels[state.range(0)]);
}

// One column of one object: what stays when everything is in the cache.
void getter(benchmark::State& state) {
  sample const& sample = shared_sample();
  auto const snapshot = sample.database->begin_snapshot();
  unsigned long const context = snapshot->handle();
  VELA_RECORD first{};
  walk(context, sample.extent, [&](VELA_RECORD const& record) {
    if (first.oid == 0) first = record;
  });
  unsigned long number = 0;
  for (auto _ : state) {
    check(
        vela_context_get_ulong(context, first.oid, first.address << 16 | first.layout, 4, &number));
    benchmark::DoNotOptimize(number);
  }
}
BENCHMARK(getter);

// A name as the engine reads it: its packed bytes.
void text_getter(benchmark::State& state) {
  sample const& sample = shared_sample();
  auto const snapshot = sample.database->begin_snapshot();
  unsigned long const context = snapshot->handle();
  VELA_VALUE value{};
  VELA_RECORD first{};
  walk(context, sample.extent, [&](VELA_RECORD const& record) {
    if (first.oid == 0) first = record;
  });
  for (auto _ : state) {
    check(vela_context_get_binary(context, first.oid, first.layout, 5, &value));
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(text_getter);

// A scan that reads no column.
void index_next(benchmark::State& state) {
  sample const& sample = shared_sample();
  auto const snapshot = sample.database->begin_snapshot();
  std::int64_t steps = 0;
  for (auto _ : state) {
    walk(snapshot->handle(), index_of(sample, state.range(0)),
         [&](VELA_RECORD const&) { ++steps; });
  }
  state.SetItemsProcessed(steps);
  name_walk(state);
}
BENCHMARK(index_next)->DenseRange(0, 2);

// A scan that reads a number of every object.
void index_next_and_getter(benchmark::State& state) {
  sample const& sample = shared_sample();
  auto const snapshot = sample.database->begin_snapshot();
  unsigned long const context = snapshot->handle();
  std::int64_t steps = 0;
  std::uint64_t sum = 0;
  for (auto _ : state) {
    walk(context, index_of(sample, state.range(0)), [&](VELA_RECORD const& record) {
      unsigned long number = 0;
      check(vela_context_get_ulong(context, record.oid, record.address << 16 | record.layout, 4,
                                   &number));
      sum += number;
      ++steps;
    });
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(steps);
  name_walk(state);
}
BENCHMARK(index_next_and_getter)->DenseRange(0, 2);

// One object found by its key: what a join pays for each left row.
void point_lookup(benchmark::State& state) {
  sample const& sample = shared_sample();
  auto const snapshot = sample.database->begin_snapshot();
  std::uint64_t const count = object_count();
  std::mt19937_64 random(1);
  for (auto _ : state) {
    std::uint64_t const number = scrambled(random() % count);
    unsigned char key[16] = {0x28};
    for (int i = 0; i < 8; ++i) key[1 + i] = static_cast<unsigned char>(number >> (56 - 8 * i));
    key[9] = 0xC0;
    unsigned long iterator = 0;
    check(vela_context_create_iterator(snapshot->handle(), sample.by_scrambled,
                                       VELA_ITERATE_FIRST_INCLUSIVE | VELA_ITERATE_LAST_INCLUSIVE,
                                       key, key, &iterator));
    VELA_RECORD record{};
    check(vela_iterator_next(iterator, &record));
    if (record.oid == 0) throw std::runtime_error("an object is missing");
    check(vela_iterator_free(iterator));
  }
}
BENCHMARK(point_lookup);

void begin_snapshot(benchmark::State& state) {
  sample const& sample = shared_sample();
  for (auto _ : state) benchmark::DoNotOptimize(sample.database->begin_snapshot()->handle());
}
BENCHMARK(begin_snapshot);

// What a statement pays to read what is committed, when nothing was since the last one.
void begin_and_bind_snapshot(benchmark::State& state) {
  auto database = qd::embedded::database::open_temporary();
  for (auto _ : state) {
    auto snapshot = database.begin_snapshot();
    auto const binding = snapshot.bind();
    benchmark::DoNotOptimize(snapshot.context());
  }
}
BENCHMARK(begin_and_bind_snapshot);

// Loading a new database in one transaction, with as many indexes as the argument says.
void load(benchmark::State& state) {
  std::uint64_t const count = object_count();
  for (auto _ : state) make_sample(count, static_cast<int>(state.range(0)));
  state.SetItemsProcessed(static_cast<std::int64_t>(count) * state.iterations());
}
BENCHMARK(load)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

// Loading a class of ten columns, four of them texts, with one index on random numbers, through the
// interface that loaders use: row by row, and in bulk.
void load_rows(benchmark::State& state) {
  using qd::embedded::column_type;
  bool const in_bulk = state.range(0) != 0;
  std::uint64_t const count = object_count();
  for (auto _ : state) {
    auto database = qd::embedded::database::open_temporary();
    auto write = database.begin_write();
    write.define_class({.name = u"Row",
                        .columns = {{u"id", column_type::signed_integer, false},
                                    {u"number", column_type::signed_integer},
                                    {u"group", column_type::signed_integer},
                                    {u"price", column_type::decimal},
                                    {u"discount", column_type::decimal},
                                    {u"ratio", column_type::double_float},
                                    {u"name", column_type::string},
                                    {u"note", column_type::string},
                                    {u"city", column_type::string},
                                    {u"code", column_type::string}}});
    write.define_index({.name = u"by_number", .class_name = u"Row", .columns = {{u"number"}}});
    std::u16string const note = u"a few words that somebody left about it";
    auto const insert_all = [&](qd::embedded::inserter& rows) {
      for (std::uint64_t i = 0; i < count; ++i) {
        std::uint64_t const random = scrambled(i);
        std::u16string_view const text(note);
        rows.insert({i, random, random % 1000,
                     qd::embedded::decimal{std::int64_t(random % 100'000'000)},
                     qd::embedded::decimal{100'000}, static_cast<double>(random),
                     text.substr(random % 8, 6 + random % 14), text.substr(0, 20 + random % 19),
                     text.substr(3, 9), text.substr(random % 20, 5)});
      }
    };
    if (in_bulk) {
      auto rows = write.prepare_bulk_insert(u"Row");
      insert_all(rows);
      rows.finish();
    } else {
      auto rows = write.prepare_insert(u"Row");
      insert_all(rows);
    }
    write.commit();
  }
  state.SetLabel(in_bulk ? "in bulk" : "row by row");
  state.SetItemsProcessed(static_cast<std::int64_t>(count) * state.iterations());
}
BENCHMARK(load_rows)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);

}  // namespace
