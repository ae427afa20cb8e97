// Rows that take over one another's keys, in random orders, against a table that holds the keys.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <set>

#include "sql/run/update_order.h"

namespace {

using qd::sql::key_change;
using qd::sql::order_updates;
using qd::sql::update_step;
using qd::sql::value;

constexpr int no_key = -1;  // NULL.

value as_value(int key) {
  return key == no_key ? value(operator_library::NullValue()) : value(long{key});
}

// Plays the steps: every row finds its key free, is written once, and steps aside at most once.
void play(std::vector<std::vector<int>> const& before, std::vector<std::vector<int>> const& after,
          std::vector<update_step> const& steps) {
  std::size_t const rows = before.front().size();
  std::vector<std::set<int>> taken(before.size());
  for (std::size_t index = 0; index < before.size(); ++index) {
    for (int const key : before[index]) {
      if (key != no_key) taken[index].insert(key);
    }
  }
  enum class state { old_keys, aside, new_keys };
  std::vector<state> states(rows, state::old_keys);
  for (update_step const& step : steps) {
    ASSERT_NE(states[step.row], state::new_keys);
    for (std::size_t index = 0; index < before.size(); ++index) {
      if (states[step.row] == state::old_keys) taken[index].erase(before[index][step.row]);
      int const key = after[index][step.row];
      if (step.step_aside || key == no_key) continue;
      ASSERT_TRUE(taken[index].insert(key).second) << "row " << step.row << " takes " << key;
    }
    if (step.step_aside) {
      ASSERT_EQ(states[step.row], state::old_keys);
    }
    states[step.row] = step.step_aside ? state::aside : state::new_keys;
  }
  EXPECT_EQ(std::count(states.begin(), states.end(), state::new_keys),
            static_cast<std::ptrdiff_t>(rows));
}

TEST(UpdateOrder, LeavesEveryKeyFree) {
  std::mt19937 random(20261123);
  auto const up_to = [&](int most) { return std::uniform_int_distribution(0, most)(random); };
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    auto const rows = static_cast<std::size_t>(1 + up_to(12));
    auto const indexes = static_cast<std::size_t>(1 + up_to(1));
    std::vector<std::vector<int>> before(indexes), after(indexes);
    std::vector<std::vector<key_change>> changes(indexes);
    for (std::size_t index = 0; index < indexes; ++index) {
      for (std::vector<int>* keys : {&before[index], &after[index]}) {
        keys->resize(rows + 3);
        std::iota(keys->begin(), keys->end(), 0);
        std::shuffle(keys->begin(), keys->end(), random);
        keys->resize(rows);
        for (int& key : *keys) {
          if (up_to(9) == 0) key = no_key;
        }
      }
      for (std::size_t row = 0; row < rows; ++row) {
        changes[index].push_back({{as_value(before[index][row])}, {as_value(after[index][row])}});
      }
    }
    play(before, after, order_updates(rows, changes));
    if (HasFatalFailure()) return;
  }
}

TEST(UpdateOrder, TakesLongChainsAndMovesNothingInVain) {
  constexpr std::size_t rows = 200'000;
  std::vector<std::vector<key_change>> changes(1);
  for (long row = 0; row < static_cast<long>(rows); ++row) {
    changes[0].push_back({{value(row)}, {value(row + 1)}});
  }
  auto const steps = order_updates(rows, changes);
  EXPECT_EQ(steps.size(), rows);
  EXPECT_EQ(steps.front().row, rows - 1);
}

}  // namespace
