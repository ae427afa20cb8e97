// Every call that the library makes to the kernel fails once, in the middle of planning and running
// plans that use everything. What must come of it: the status as the error, unless it means NULL;
// every iterator freed; and the same plan runs afterwards.
#include <gtest/gtest.h>

#include <csignal>

#include "faults/abandoned_run.h"
#include "faults/sample_plans.h"
#include "support/faulty_kernel.h"

namespace {

using abandoned_run::ending;
using sample_plans::sample;

constexpr unsigned int some_status = 9876;

class KernelFaults : public testing::Test {
 protected:
  ending run(sample const& query) {
    return abandoned_run::of(query.plan, snapshot_.context(), parameters_);
  }

  // The ending when call `number` fails.
  ending run_failing(sample const& query, std::size_t number, unsigned int status) {
    faulty_kernel::arm(number, status);
    ending const result = run(query);
    std::size_t const made = faulty_kernel::disarm().size();
    EXPECT_GE(made, number) << "the call was never made";
    EXPECT_EQ(faulty_kernel::open_iterators(), 0u);
    return result;
  }

  // The calls that planning alone makes, or planning and running.
  std::vector<faulty_kernel::call> calls_of_planning(sample const& query) {
    faulty_kernel::arm();
    physical_to_exec::Plan(query.plan);
    return faulty_kernel::disarm();
  }
  std::vector<faulty_kernel::call> calls_of(sample const& query) {
    faulty_kernel::arm();
    run(query);
    return faulty_kernel::disarm();
  }

  sample_plans::sample_database sample_ = sample_plans::make_database();
  qd::embedded::snapshot snapshot_ = sample_.database.begin_snapshot();
  qd::embedded::thread_binding binding_ = snapshot_.bind();
  std::vector<sample> const queries_ = sample_plans::all(sample_.an_object);
  std::vector<qd::sql_executor::value> const parameters_ = sample_plans::parameters();
};

TEST_F(KernelFaults, NothingLentIsReadAfterTheNextCall) {
  for (sample const& query : queries_) {
    SCOPED_TRACE(query.name);
    ending const expected = run(query);
    EXPECT_EQ(expected.error, "");
    EXPECT_FALSE(expected.rows.empty());
    faulty_kernel::arm();
    EXPECT_EQ(run(query), expected);
    EXPECT_FALSE(faulty_kernel::disarm().empty());
    EXPECT_EQ(faulty_kernel::open_iterators(), 0u);
  }
}

TEST_F(KernelFaults, EveryStatusComesOut) {
  for (sample const& query : queries_) {
    SCOPED_TRACE(query.name);
    ending const expected = run(query);
    std::vector<faulty_kernel::call> const calls = calls_of(query);
    for (std::size_t number = 1; number <= calls.size(); ++number) {
      faulty_kernel::call const& failing = calls[number - 1];
      SCOPED_TRACE("call " + std::to_string(number) + ", " + failing.function);
      bool const frees = failing.function == "iterator_free";
      if (frees && failing.of_catalogue) continue;  // Ends the process, see below.
      ending const result = run_failing(query, number, some_status);
      if (frees) {
        EXPECT_EQ(result, expected) << "a scan's failed release is ignored";
      } else {
        EXPECT_EQ(result.error, "error 9876");
      }
    }
    EXPECT_EQ(run(query), expected);
  }
}

// The status of NULL turns one value into NULL when a column is read, and is an error of its own
// for a step and for a scan that is opened.
TEST_F(KernelFaults, NullStatusIsAValueOfColumns) {
  sample const& query = queries_.front();
  ending const expected = run(query);
  std::size_t const planning = calls_of_planning(query).size();
  std::vector<faulty_kernel::call> const calls = calls_of(query);
  std::size_t nulls = 0;
  for (std::size_t number = planning + 1; number <= calls.size(); ++number) {
    std::string const& function = calls[number - 1].function;
    SCOPED_TRACE("call " + std::to_string(number) + ", " + function);
    if (function == "iterator_free") continue;
    ending const result = run_failing(query, number, VELA_STATUS_NULL);
    if (function.find("_get_") == std::string::npos) {
      EXPECT_EQ(result.error, "error 4272");
      continue;
    }
    ASSERT_EQ(result.rows.size(), expected.rows.size());
    for (std::size_t row = 0; row < expected.rows.size(); ++row) {
      for (std::size_t column = 0; column < expected.rows[row].size(); ++column) {
        if (result.rows[row][column] == expected.rows[row][column]) continue;
        EXPECT_EQ(result.rows[row][column], "null");
        ++nulls;
      }
    }
  }
  EXPECT_GT(nulls, 50u) << "each read of a column that is not NULL becomes NULL once";
}

// Whatever NULL in place of a result leads to, nothing stays open and the plan runs afterwards.
TEST_F(KernelFaults, NullStatusLeavesNothingOpen) {
  for (sample const& query : queries_) {
    SCOPED_TRACE(query.name);
    ending const expected = run(query);
    std::vector<faulty_kernel::call> const calls = calls_of(query);
    for (std::size_t number = 1; number <= calls.size(); ++number) {
      if (calls[number - 1].function == "iterator_free") continue;
      run_failing(query, number, VELA_STATUS_NULL);
    }
    EXPECT_EQ(run(query), expected);
  }
}

using KernelFaultsDeathTest = KernelFaults;

TEST_F(KernelFaultsDeathTest, FailedReleaseInTheCatalogueEndsTheProcess) {
  sample const& query = queries_.front();
  std::vector<faulty_kernel::call> const calls = calls_of_planning(query);
  std::size_t number = 0;
  while (number < calls.size() && calls[number].function != "iterator_free") ++number;
  ASSERT_LT(number, calls.size());
  EXPECT_EXIT(
      {
        faulty_kernel::arm(number + 1, some_status);
        physical_to_exec::Plan(query.plan);
      },
      testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
