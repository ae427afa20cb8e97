// Every allocation of planning and running fails once, the kernel's own included. What must come of
// it: std::bad_alloc, nothing kept, and a kernel that serves the same plan afterwards.
#include <gtest/gtest.h>

#include "faults/abandoned_run.h"
#include "faults/sample_plans.h"
#include "support/failing_allocations.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t stride = 7;
#else
constexpr std::size_t stride = 1;
#endif

TEST(AllocationFaults, EveryOneComesOut) {
  auto sample = sample_plans::make_database();
  auto snapshot = sample.database.begin_snapshot();
  auto const binding = snapshot.bind();
  auto const parameters = sample_plans::parameters();
  for (auto const& query : sample_plans::all(sample.an_object)) {
    SCOPED_TRACE(query.name);
    auto const run = [&] {
      return abandoned_run::values_of(query.plan, snapshot.context(), parameters);
    };
    auto const expected = abandoned_run::as_texts(run());
    run();  // What the kernel keeps for good it has by now.
    long const live = failing_allocations::live_blocks();
    bool failed = true;
    for (std::size_t number = 1; failed; number += stride) {
      SCOPED_TRACE("allocation " + std::to_string(number));
      {
        failing_allocations::arm(number);
        abandoned_run::values const ending = run();
        failed = failing_allocations::disarm() >= number;
        if (failed) {
          EXPECT_EQ(ending.error, "bad_alloc");
        }
      }
      EXPECT_EQ(failing_allocations::live_blocks(), live);
      if (number % 16 == 1) {
        EXPECT_EQ(abandoned_run::as_texts(run()), expected);
      }
      if (HasFailure()) return;
    }
    EXPECT_EQ(abandoned_run::as_texts(run()), expected);
  }
}

}  // namespace
