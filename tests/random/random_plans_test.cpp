// Random plans over random data, through the engine and through the reference evaluator.
//
// QD_RANDOM_PLANS sets how many, QD_RANDOM_SEED where they begin. A plan on which the two differ is
// made smaller and printed as a tree with the objects of its database.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <iostream>

#include "physical_queryplan/plan_printer.h"
#include "random/comparison.h"
#include "random/plan_contents.h"

namespace {

using namespace random_plans;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(NDEBUG)
constexpr std::uint64_t default_count = 4'000;
#else
constexpr std::uint64_t default_count = 100'000;
#endif
constexpr std::uint64_t plans_per_database = 500;
constexpr std::size_t shrinking_attempts = 4'000;

std::uint64_t setting(char const* name, std::uint64_t otherwise) {
  char const* const text = std::getenv(name);
  return text ? std::stoull(text) : otherwise;
}

constexpr std::array<char const*, 12> alternative_names{
    "inner join", "left join", "full join", "scan",     "filter",       "transform",
    "assignment", "extend",    "aggregate", "order by", "limit offset", "union"};

struct statistics {
  std::uint64_t plans = 0;
  std::uint64_t with_rows = 0;
  std::uint64_t with_errors = 0;
  std::uint64_t unspecified = 0;
  std::array<std::uint64_t, alternative_names.size()> with_alternative{};
  std::array<std::uint64_t, plan_contents{}.expressions.size()> with_expression{};

  void add(PredicateVariant const& plan, comparison const& outcome) {
    ++plans;
    with_rows += outcome.yields_rows;
    with_errors += outcome.fails;
    unspecified += outcome.unspecified;
    // The root is always a Transform, so it does not count.
    auto const& root = std::get<physical_queryplan::QueryPlan::Transform>(plan.variant);
    plan_contents const found = contents_of(*root.child);
    for (std::size_t i = 0; i < found.nodes.size(); ++i) with_alternative[i] += found.nodes[i];
    for (std::size_t i = 0; i < found.expressions.size(); ++i) {
      with_expression[i] += found.expressions[i];
    }
  }
  double share(std::uint64_t of) const {
    return 100.0 * static_cast<double>(of) / static_cast<double>(plans);
  }
  void print() const {
    std::cout << plans << " plans; with rows " << share(with_rows) << " %, with an error "
              << share(with_errors) << " %, not compared " << share(unspecified) << " %\n";
    for (std::size_t i = 0; i < alternative_names.size(); ++i) {
      std::cout << "  " << alternative_names[i] << " in " << share(with_alternative[i]) << " %\n";
    }
    std::cout << "  expressions, by alternative, in %:";
    for (std::uint64_t const each : with_expression) std::cout << ' ' << share(each);
    std::cout << '\n';
  }
};

std::string describe_objects(reference::database const& data) {
  std::string text;
  for (auto const& each : data.objects) {
    text += "  " + std::string(each.class_name.begin(), each.class_name.end()) + " " +
            reference::text_of(each.columns) + "\n";
  }
  return text;
}

// The smallest plan found on which the two differ as well, and how.
std::string describe_difference(plan_generator const& generator, choices const& failing,
                                reference::database const& data, unsigned long kernel_context) {
  auto const outcome_of = [&](std::vector<std::uint32_t> const& made) {
    choices again(made);
    return compare(generator.make(again), data, kernel_context);
  };
  std::vector<std::uint32_t> const smallest =
      shrink(failing.made(), shrinking_attempts,
             [&](auto const& made) { return !outcome_of(made).difference.empty(); });
  choices again(smallest);
  generated_plan const query = generator.make(again);
  return physical_queryplan::Print(query.plan) + "\nparameters " +
         reference::text_of(query.parameters) + "\n" + outcome_of(smallest).difference +
         "objects:\n" + describe_objects(data);
}

TEST(RandomPlans, AgreeWithTheReference) {
  std::uint64_t const count = setting("QD_RANDOM_PLANS", default_count);
  std::uint64_t const seed = setting("QD_RANDOM_SEED", 20'261'122);
  std::cout << "QD_RANDOM_SEED=" << seed << " QD_RANDOM_PLANS=" << count << std::endl;
  statistics seen;
  for (std::uint64_t first = 0; first < count; first += plans_per_database) {
    choices objects(seed + first);
    random_database database = make_database(objects);
    auto snapshot = database.storage.begin_snapshot();
    auto const binding = snapshot.bind();
    plan_generator const generator(database.model);
    for (std::uint64_t i = first; i < std::min(count, first + plans_per_database); ++i) {
      choices pick((seed + i) * 0x9E3779B97F4A7C15U);
      generated_plan const query = generator.make(pick);
      comparison const outcome = compare(query, database.model, snapshot.context());
      seen.add(query.plan, outcome);
      ASSERT_EQ(outcome.difference, "")
          << "plan " << i << " of seed " << seed << "; made smaller:\n"
          << describe_difference(generator, pick, database.model, snapshot.context());
    }
  }
  seen.print();
  if (count < 4'000) return;  // Too few to say anything about shares.
  EXPECT_GE(seen.share(seen.with_rows), 60);
  EXPECT_LE(seen.share(seen.unspecified), 5);
  for (std::size_t i = 0; i < alternative_names.size(); ++i) {
    EXPECT_GE(seen.share(seen.with_alternative[i]), 5) << alternative_names[i];
  }
  for (std::size_t i = 0; i < seen.with_expression.size(); ++i) {
    EXPECT_GT(seen.with_expression[i], 0u) << "expressions of alternative " << i;
  }
}

}  // namespace
