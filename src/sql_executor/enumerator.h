// The row iterator that a node produces.
#pragma once

#include <optional>
#include <vector>

#include "sql_executor/evaluation_context.h"
#include "sql_executor/value.h"

namespace qd::sql_executor {

// Yields the rows of one enumeration of a node. It owns its child enumerators and the kernel
// iterators it opened, and may hold references into its node, which must outlive it.
class enumerator {
 public:
  enumerator() = default;
  enumerator(enumerator const&) = delete;
  enumerator& operator=(enumerator const&) = delete;

  // Returns the next row, or an empty optional at the end of the relation.
  // Row: one value per output column, in plan order; the caller owns it.
  // Requires: the context that the enumerator was made with.
  // After a normal return `context.bound_data` has its former size. After a throw it is
  // unspecified: the execution is abandoned and must not continue; destroying the enumerator is
  // always safe. Throws db_util::db_exception (values and kernel), error_handling::QDException
  // (LIKE escapes), standard exceptions (faults of the plan, memory).
  virtual std::optional<std::vector<value>> next(evaluation_context& context) = 0;

  virtual ~enumerator() = default;
};

}  // namespace qd::sql_executor
