// A query that is ready to run, and its run.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "physical_to_exec/plan.h"
#include "sql/algebra/relation.h"
#include "sql/connection.h"
#include "sql/plan/plan.h"
#include "sql/run/reader.h"
#include "sql_executor/evaluation_context.h"

namespace qd::sql {

// Planned under one schema; runs any number of times, one after the other. The thread's metadata
// context is needed to make one, not to run it.
class query {
 public:
  query(algebra::bound_query bound, planning_context const& context);
  ~query() { end(); }
  query(query const&) = delete;
  query& operator=(query const&) = delete;

  std::vector<result_column> const& columns() const { return columns_; }

  // Begins a run. `from` sees the schema that the query was planned under. Parameters beyond those
  // given are NULL.
  void start(reader from, std::span<value const> parameters);
  // Moves the next row into `row`; false at the end, where the run has ended. After an error the
  // run has ended, too.
  bool next(std::vector<value>& row);
  bool running() const { return enumeration_ != nullptr; }
  // Ends the run and gives back what it holds.
  void end() noexcept;
  unsigned long context() const { return context_.kernel_context; }

 private:
  physical_to_exec::ExecutablePlan plan_;
  std::vector<result_column> columns_;
  sql_executor::evaluation_context context_;
  std::optional<reader> from_;  // While a run is on.
  std::unique_ptr<sql_executor::enumerator> enumeration_;
};

}  // namespace qd::sql
