// Random queries over random tables, through the engine and through SQLite.
//
// QD_RANDOM_QUERIES sets how many, QD_RANDOM_SEED where they begin. A query on which the two differ
// is made smaller and printed with its plan and the statements that make its database.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

#include "sql_random/two_engines.h"

namespace {

using namespace sql_random;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(NDEBUG)
constexpr std::uint64_t default_count = 2'000;
#else
constexpr std::uint64_t default_count = 20'000;
#endif
constexpr std::uint64_t queries_per_database = 100;
constexpr std::size_t shrinking_attempts = 2'000;

std::uint64_t setting(char const* name, std::uint64_t otherwise) {
  char const* const text = std::getenv(name);
  return text ? std::stoull(text) : otherwise;
}

// A query and what its parameters are, from the same choices.
struct drawn {
  generated_query query;
  parameters given;
};

drawn draw_query(choices& draw) {
  drawn result;
  std::uint32_t const number = draw.below(8);
  if (number > 0) result.given.number = static_cast<long>(number) - 2;
  if (draw.below(5) > 0) result.given.text = draw.below(2) == 1 ? "ab" : "b";
  result.query = make_query(draw);
  return result;
}

// What distinguishes the engine's answer from both of SQLite's; empty when it is one of them.
std::string differs(two_engines& engines, drawn const& of, bool& has_rows) {
  answer const tested = engines.tested(of.query.text, of.given);
  has_rows = !tested.rows.empty();
  std::string const found =
      difference(tested, engines.sqlite(of.query.text, of.given), of.query.ordered);
  if (found.empty()) return {};
  return difference(tested, engines.sqlite(of.query.text, of.given, false), of.query.ordered);
}

void report(two_engines& engines, sample_database const& content,
            std::vector<std::uint32_t> const& failing, std::uint64_t seed) {
  auto const made_of = [](std::vector<std::uint32_t> const& made) {
    choices replayed(made);
    return draw_query(replayed);
  };
  std::vector<std::uint32_t> const smallest = random_plans::shrink(
      failing, shrinking_attempts, [&](std::vector<std::uint32_t> const& made) {
        bool has_rows = false;
        return !differs(engines, made_of(made), has_rows).empty();
      });
  drawn const shown = made_of(smallest);
  std::string statements;
  for (std::string const& each : content.tables) statements += each + ";\n";
  for (std::string const& each : content.indexes) statements += each + ";\n";
  std::string plan;
  try {
    plan = engines.plan_of(shown.query.text);
  } catch (qd::sql::error const& refused) {
    plan = refused.what();
  }
  bool has_rows = false;
  ADD_FAILURE() << "seed " << seed << "\n"
                << statements << shown.query.text
                << ";\n$1 = " << (shown.given.number ? std::to_string(*shown.given.number) : "NULL")
                << ", $2 = " << shown.given.text.value_or("NULL") << "\n"
                << plan << differs(engines, shown, has_rows);
}

TEST(RandomQueries, AnswersAreThoseOfSqlite) {
  std::uint64_t const count = setting("QD_RANDOM_QUERIES", default_count);
  std::uint64_t const first_seed = setting("QD_RANDOM_SEED", 1);
  std::uint64_t with_joins = 0;
  std::uint64_t with_rows = 0;
  std::uint64_t done = 0;
  constexpr int most_failures = 3;
  int failures = 0;
  for (std::uint64_t base = 0; base < count && failures < most_failures;
       base += queries_per_database) {
    choices for_database(first_seed + base);
    sample_database const content = make_database(for_database);
    two_engines engines(content);
    for (std::uint64_t i = 0; i < queries_per_database && failures < most_failures; ++i) {
      std::uint64_t const seed = first_seed + base + i;
      choices draw(seed);
      drawn const made = draw_query(draw);
      ++done;
      with_joins += made.query.joins >= 2;
      bool has_rows = false;
      std::string const found = differs(engines, made, has_rows);
      with_rows += has_rows;
      if (found.empty()) continue;
      ++failures;
      report(engines, content, draw.made(), seed);
    }
  }
  std::cout << done << " queries from seed " << first_seed << ", " << 100 * with_joins / done
            << " % with two or more joins, " << 100 * with_rows / done << " % with rows\n";
  // A generator that has gone astray proves nothing.
  EXPECT_GE(2 * with_joins, done);
  EXPECT_GE(5 * with_rows, 2 * done);
}

}  // namespace
