// Runs a plan through the engine and through the reference evaluator.
#pragma once

#include <optional>
#include <string>

#include "random/plan_generator.h"
#include "support/reference/relation.h"

namespace random_plans {

struct comparison {
  // How the two differ, with what each gave; empty when they agree.
  std::string difference;
  bool yields_rows = false;  // The engine gave at least one row, and no error.
  bool fails = false;        // The engine ended with an error.
  bool unspecified = false;  // What must come is not defined, so only that something does was seen.
};

// `kernel_context` is of the database, and bound to the calling thread.
comparison compare(generated_plan const& query, reference::database const& data,
                   unsigned long kernel_context);

}  // namespace random_plans
