// Running a question on an engine: time, memory, rows.
#pragma once

#include <string>
#include <vector>

#include "queries/engine.h"
#include "queries/workloads.h"

namespace bench {

struct measurement {
  std::vector<double> seconds;             // One per timed run.
  double units = 0;                        // Of one run.
  std::uint64_t peak_anonymous_bytes = 0;  // Above the level before the query.
  std::string plan;

  double median() const;
  double nanoseconds_per_unit() const { return median() * 1e9 / units; }
};

// An engine's side of a question: everything that is to be run is prepared.
class contender {
 public:
  contender(workload const& work, engine& engine, tables const& data);

  // The rows of all executions, untimed.
  std::vector<row> rows();
  // One more timed run.
  void time();
  // One untimed run under a sampler of the process's anonymous memory.
  void weigh();

  engine const& of() const { return engine_; }
  measurement const& result() const { return result_; }

 private:
  std::uint64_t run_all();

  workload const& work_;
  engine& engine_;
  tables const& data_;
  std::vector<parameters> executions_;
  std::unique_ptr<prepared_query> prepared_;  // Null for a question from text.
  measurement result_;
};

// Whether two engines gave the same rows, as a multiset: exactly, but computed fractions within a
// millionth of their size. `difference` says where not.
bool same_rows(std::vector<row> left, std::vector<row> right, std::string& difference);

}  // namespace bench
