// What tests share that run plans over the embedded database.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "dbmetalayer/database.h"
#include "physical_to_exec/plan.h"
#include "sql_executor/value.h"

namespace query_test {

using physical_queryplan::QueryPlan::PredicateVariant;
using qd::sql_executor::evaluation_context;
using qd::sql_executor::row;
using qd::sql_executor::value;

// A context that runs the plan over the kernel context.
evaluation_context context_for(physical_to_exec::ExecutablePlan const& plan,
                               unsigned long kernel_context, std::vector<value> parameters = {});

// All rows of one enumeration. Expects that every `next` leaves the bound data as it was.
std::vector<row> drain(physical_to_exec::ExecutablePlan const& plan, evaluation_context& context);

// Values as the plan printer writes literals: 5 signed, 5u unsigned, 0.500000 Decimal, 'a', @7,
// NULL.
std::string text_of(value const& source);
// Rows as lines of such values, with " | " between them.
std::vector<std::string> lines_of(std::vector<row> const& rows);

// A temporary database, and the latest snapshot of it, bound to the thread.
class database_test : public testing::Test {
 protected:
  database_test() : data(qd::embedded::database::open_temporary()) {}

  // Commits what `change` does, and goes on with a snapshot that has it.
  void write(std::function<void(qd::embedded::transaction&)> const& change);
  unsigned long context() const { return snapshot_->context(); }
  // Plans and runs; throws what these throw.
  std::vector<row> run(PredicateVariant plan, std::vector<value> parameters = {}) const;

  qd::embedded::database data;

 private:
  std::optional<qd::embedded::snapshot> snapshot_;
  std::optional<qd::embedded::thread_binding> binding_;  // Ends before its snapshot.
};

}  // namespace query_test
