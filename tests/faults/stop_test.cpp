// A query that would run for minutes ends soon after another thread asks its context to stop.
#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "faults/abandoned_run.h"
#include "faults/sample_plans.h"

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds longest_wait = 100ms;

std::chrono::nanoseconds now(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

TEST(Stop, EndsARunningQuery) {
  auto sample = sample_plans::make_database();
  sample_plans::add_many_objects(sample.database);
  auto snapshot = sample.database.begin_snapshot();
  auto const binding = snapshot.bind();
  // Time as the query's own thread spends it: a busy machine does not count against it.
  clockid_t clock{};
  ASSERT_EQ(pthread_getcpuclockid(pthread_self(), &clock), 0);
  for (auto const& query : sample_plans::long_running()) {
    SCOPED_TRACE(query.name);
    std::chrono::nanoseconds asked{};
    std::jthread stopper([&] {
      std::this_thread::sleep_for(50ms);
      asked = now(clock);
      snapshot.request_stop();
    });
    auto const ending =
        abandoned_run::of(query.plan, snapshot.context(), sample_plans::parameters());
    auto const ended = now(clock);
    stopper.join();
    EXPECT_EQ(ending.error, "error 5002");
    EXPECT_LT(ended - asked, longest_wait);
    snapshot.clear_stop();
  }
  // The same context serves the next query.
  for (auto const& query : sample_plans::all(sample.an_object)) {
    if (query.name == "one row" || query.name == "every column") {
      EXPECT_EQ(abandoned_run::of(query.plan, snapshot.context(), sample_plans::parameters()).error,
                "");
    }
  }
}

}  // namespace
