// What planning asks of conditions.
#pragma once

#include <optional>
#include <vector>

#include "sql/algebra/expressions.h"
#include "sql/plan/variables.h"

namespace qd::sql::planning {

using algebra::Expression;

// A condition that rows meet. A list of them is in the order in which the statement evaluates them.
struct condition {
  Expression expression;
  variable_set uses;
};

// The operands of an operation of one kind; null of any other expression.
template <typename Tag>
std::vector<Expression> const* operands_of(Expression const& expression) {
  auto const* const operation =
      std::get_if<physical_queryplan::QueryPlan::Operation<Tag>>(&expression.variant);
  return operation ? &operation->arguments : nullptr;
}

// Whether its evaluation can raise an error that the kinds of its operands do not rule out.
bool can_fail(Expression const& expression);

// Whether the condition certainly does not hold in a row in which all of `padded` is NULL.
bool rejects_nulls(Expression const& condition, variable_set const& padded,
                   variable_numbers& numbers);

// The share of rows, from 0 to 1, that a condition is taken to leave when nothing else is known.
double share_left_by(Expression const& condition);

// What testing it costs per row; reading a record of an extent costs 1.
double cost_of_testing(Expression const& condition);

// The expression with each alias's own expression in place of its variable.
Expression substituted(Expression expression, std::vector<algebra::Alias> const& aliases);

std::vector<Expression> expressions_of(std::vector<condition> conditions);

}  // namespace qd::sql::planning
