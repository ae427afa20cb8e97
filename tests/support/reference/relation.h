// What a plan yields, evaluated all at once.
#pragma once

#include <optional>
#include <vector>

#include "physical_queryplan/query_plan.h"
#include "support/reference/expression.h"

namespace reference {

using physical_queryplan::QueryPlan::PredicateVariant;

// The rows of one enumeration of a plan, with the error that ends it if one does.
struct relation {
  std::optional<failure> at_start;  // Raised by starting the enumeration; then there are no rows.
  std::vector<row> rows;
  // Rows of equal rank may come in any order among themselves; ranks never fall.
  std::vector<std::size_t> ranks;
  std::optional<failure> at_end;  // Raised when the row behind the last one is asked for.
  bool unspecified = false;       // What comes depends on an order that is not defined.

  // Whether two rows may change places.
  bool has_ties() const {
    for (std::size_t i = 1; i < ranks.size(); ++i) {
      if (ranks[i] == ranks[i - 1]) return true;
    }
    return false;
  }
  // Whether which rows come first is not defined: some may change places, or those before the error.
  bool is_loose() const { return has_ties() || (at_end && at_end->any); }
  void add(row columns, std::size_t rank) {
    rows.push_back(std::move(columns));
    ranks.push_back(rank);
  }
};

// The variables of a plan's rows. Throws the failure that planning it raises: the conversion's
// first.
layout layout_of(PredicateVariant const& plan);

// The failure of planning, that of the result's types included.
std::optional<failure> planning_failure(PredicateVariant const& plan);

// Enumerates a plan that can be planned. `scope` has the variables of the enclosing nodes, and is
// the same afterwards.
relation enumerate(PredicateVariant const& plan, environment& scope);

// The alternatives that have a file of their own.
relation enumerate(physical_queryplan::QueryPlan::Scan const& scan, environment& scope);
relation enumerate(physical_queryplan::QueryPlan::Aggregation const& aggregation,
                   environment& scope);
relation enumerate(physical_queryplan::QueryPlan::FullJoin const& join, environment& scope);

// The error of an expression over rows of `source`: another may come first when rows may change
// places.
inline failure over_rows(failure raised, relation const& source) {
  raised.any = raised.any || source.is_loose();
  return raised;
}

}  // namespace reference
