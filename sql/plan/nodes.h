// Plan nodes that planning puts together in more than one place.
#pragma once

#include <cstdint>
#include <vector>

#include "physical_queryplan/query_plan.h"
#include "sql/algebra/expressions.h"
#include "sql/algebra/relation.h"

namespace qd::sql::planning {

using algebra::Alias;
using algebra::Expression;
using algebra::PhysicalVariable;
using algebra::TableVariable;
using physical_queryplan::QueryPlan::PredicateVariant;

// A plan and what its surroundings must know of it.
struct planned {
  PredicateVariant plan;
  double rows;          // Estimated; at least 0.
  bool sorted = false;  // In the order that was wanted.
};

bool is_stored_column(PhysicalVariable const& variable);

// Variables that are not in the statement.
class marker_source {
 public:
  PhysicalVariable next(algebra::kind kind = algebra::kind::boolean);

 private:
  std::int32_t count_ = 0;
};

// The child's rows for which all conditions hold, evaluated left to right. Without conditions the
// child itself.
PredicateVariant filtered(std::vector<Expression> conditions, PredicateVariant child);

// Exactly the variables, as a relation of their own.
PredicateVariant transformed(std::vector<PhysicalVariable> const& outputs, PredicateVariant child);

// A FullJoin without the padded rows that an inner or left join does not have. The right side is
// computed once and may hold a Transform; it uses no variable of the left side.
PredicateVariant joined_once(algebra::join_kind kind, std::vector<Expression> conditions,
                             PredicateVariant left, PredicateVariant right, marker_source& markers);

// Rows of literals as a balanced tree. Throws error (limit_exceeded) for more values than a plan
// holds.
PredicateVariant literal_rows(algebra::rows rows);

}  // namespace qd::sql::planning
