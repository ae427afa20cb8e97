// What binding and planning ask of the plan model's expressions, and how they build them when a
// kind is known only at run time.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "physical_queryplan/query_plan.h"

namespace qd::sql::algebra {

using physical_queryplan::QueryPlan::Expression;
using physical_queryplan::QueryPlan::PhysicalVariable;
using physical_queryplan::QueryPlan::TableVariable;

// The kinds of values in kind order: the position of an overload in an operation's signatures.
enum class kind : std::uint8_t {
  boolean,
  text,
  unsigned_integer,
  signed_integer,
  decimal,
  double_float,
  single_float,
  binary,
  reference,
  set_specifier,
  null,
};
inline constexpr std::size_t kind_count = 11;

// As SQL spells a type of the kind: "bigint", "unsigned", "numeric", "text", "reference", ...
char const* kind_name(kind kind);
bool is_numeric(kind kind);  // Unsigned, signed, decimal and both floats.

// The kind that an expression's values have, NULLs aside; of a table variable `reference`.
kind kind_of(Expression const& expression);
kind kind_of(PhysicalVariable const& variable);

bool equal(Expression const& left, Expression const& right);
bool equal(PhysicalVariable const& left, PhysicalVariable const& right);

// The conditions that all hold when the expression does: the operands of its AND chain, left to
// right, without recursion along the chain.
std::vector<Expression> conjuncts(Expression expression);
// The same of an OR chain.
std::vector<Expression> disjuncts(Expression expression);
// Their AND, as a balanced tree; of no conditions TRUE.
Expression conjunction(std::vector<Expression> conditions);
// Their OR, as a balanced tree, in order; at least one.
Expression disjunction(std::vector<Expression> conditions);

// Calls `visit` for every column, derived value and table variable in the expression. A column is
// visited as itself, not as its table variable.
void for_each_variable(Expression const& expression,
                       std::function<void(PhysicalVariable const&)> const& visit);
// Whether it has no variables: literals and parameters only.
bool is_constant(Expression const& expression);

// How many operations, literals and variables it is made of.
std::size_t size_of(Expression const& expression);

// Replaces the outermost subexpressions for which `replace` gives something.
Expression replace(Expression expression,
                   std::function<std::optional<Expression>(Expression const&)> const& replacement);

}  // namespace qd::sql::algebra
