// What the nodes that keep rows cost without storage: sorting, grouping, joining rows made in
// memory.
#include <benchmark/benchmark.h>

#include <random>

#include "sql_executor/aggregator.h"
#include "sql_executor/full_join.h"
#include "sql_executor/nested_loop_inner_join.h"
#include "sql_executor/operators/comparison_operators.h"
#include "sql_executor/order_by.h"
#include "sql_executor/row_source.h"

namespace {

using namespace qd::sql_executor;
using operator_library::Decimal;
using operators::operator_ptr;

operator_ptr column(short position) {
  return std::make_unique<operators::value_from_context const>(bound_data_index{position});
}

// Rows of three columns made on the way: a random number below `range`, a text of 12 bytes with
// that number's digits in it, the row's number.
class made_rows final : public node {
 public:
  made_rows(long rows, long values) : count(rows), range(values) {}

  std::unique_ptr<enumerator> enumerate(evaluation_context&) override {
    return std::make_unique<made_rows_enumerator>(count, range);
  }

 private:
  class made_rows_enumerator final : public row_source {
   public:
    made_rows_enumerator(long rows, long values) : count(rows), range(values) {}

    bool append_next(evaluation_context& context) override {
      if (number == count) return false;
      long const made = static_cast<long>(random() % static_cast<unsigned long>(range));
      unsigned char text[12] = {0x80, 'k', 'e', 'y', ' '};
      long digits = made;
      for (int i = 11; i > 4; --i, digits /= 10)
        text[i] = static_cast<unsigned char>('0' + digits % 10);
      context.bound_data.push_back(made);
      context.bound_data.push_back(db_string::dt_string(text, sizeof text));
      context.bound_data.push_back(number);
      ++number;
      return true;
    }

   private:
    std::mt19937_64 random{1};
    long count;
    long range;
    long number = 0;
  };

  long count;
  long range;
};

long drain(node& plan) {
  evaluation_context context;
  std::unique_ptr<enumerator> const rows = plan.enumerate(context);
  long count = 0;
  while (std::optional<row> const next = rows->next(context)) {
    benchmark::DoNotOptimize(next->data());
    ++count;
  }
  return count;
}

// The rows themselves, to be taken off the figures below.
void make_rows(benchmark::State& state) {
  made_rows plan(state.range(0), 1'000'000);
  for (auto _ : state) benchmark::DoNotOptimize(drain(plan));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(make_rows)->Arg(100'000)->Unit(benchmark::kMillisecond);

// ORDER BY a number, a text, or a number that repeats and then, downwards, a text.
void sort_rows(benchmark::State& state, std::vector<short> const& positions, long range) {
  std::vector<operator_ptr> keys;
  std::vector<bool> ascending;
  for (short position : positions) {
    keys.push_back(column(position));
    ascending.push_back(ascending.empty());
  }
  order_by plan(std::make_unique<made_rows>(state.range(0), range), std::move(keys),
                std::move(ascending));
  for (auto _ : state) benchmark::DoNotOptimize(drain(plan));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK_CAPTURE(sort_rows, by_number, {0}, 1'000'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(sort_rows, by_text, {1}, 1'000'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(sort_rows, by_number_and_text, {0, 1}, 1'000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond);

// GROUP BY with a count, a sum and a greatest value, into as many groups as the argument says.
void group_rows(benchmark::State& state, short position) {
  constexpr long row_count = 100'000;
  std::vector<operator_ptr> keys;
  keys.push_back(column(position));
  std::vector<aggregate_variant> aggregates;
  aggregates.emplace_back(aggregators::count_star());
  aggregates.emplace_back(aggregators::sum(column(2)));
  aggregates.emplace_back(aggregators::max(column(2)));
  aggregator plan(std::make_unique<made_rows>(row_count, state.range(0)), std::move(keys),
                  std::move(aggregates));
  for (auto _ : state) benchmark::DoNotOptimize(drain(plan));
  state.SetItemsProcessed(state.iterations() * row_count);
}
BENCHMARK_CAPTURE(group_rows, by_number, 0)
    ->ArgName("groups")
    ->Arg(100)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(group_rows, by_text, 1)
    ->ArgName("groups")
    ->Arg(100)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond);

// FULL JOIN on equal numbers, which no index serves: every pair is tested.
void full_join_rows(benchmark::State& state) {
  constexpr long rows_per_side = 1'000;
  full_join plan(std::make_unique<made_rows>(rows_per_side, 1'000),
                 std::make_unique<made_rows>(rows_per_side, 1'000), 3, 3,
                 std::make_unique<operators::equal const>(column(0), column(3)));
  for (auto _ : state) benchmark::DoNotOptimize(drain(plan));
  state.SetItemsProcessed(state.iterations() * rows_per_side * rows_per_side);
}
BENCHMARK(full_join_rows)->Unit(benchmark::kMillisecond);

// An inner join whose right side yields one row per left row.
void inner_join_rows(benchmark::State& state) {
  constexpr long row_count = 100'000;
  nested_loop_inner_join plan(std::make_unique<made_rows>(row_count, 1'000),
                              std::make_unique<made_rows>(1, 1'000));
  for (auto _ : state) benchmark::DoNotOptimize(drain(plan));
  state.SetItemsProcessed(state.iterations() * row_count);
}
BENCHMARK(inner_join_rows)->Unit(benchmark::kMillisecond);

}  // namespace
