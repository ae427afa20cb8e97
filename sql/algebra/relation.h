// A query with every name resolved and every expression typed: a tree of relations over the plan
// model's expressions. Binding builds it; planning chooses how to compute it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "physical_queryplan/query_plan.h"

namespace qd::sql::algebra {

using physical_queryplan::QueryPlan::AggregateVariant;
using physical_queryplan::QueryPlan::Alias;
using physical_queryplan::QueryPlan::Expression;
using physical_queryplan::QueryPlan::PhysicalVariable;
using physical_queryplan::QueryPlan::TableVariable;

struct relation;
// Never null in a bound query.
using relation_ptr = std::unique_ptr<relation>;

// One row without columns: what SELECT without FROM computes its outputs over.
struct one_row {};

// The objects of a table. Every occurrence in a query has its own variable.
struct table {
  TableVariable variable;
};

// VALUES: literal rows, as many expressions in each as variables. At least one row.
struct rows {
  std::vector<PhysicalVariable> variables;
  std::vector<std::vector<Expression>> expressions;
};

// The right side never uses variables of the left side; the conditions may use both. Without
// conditions: every pair.
enum class join_kind { inner, left, full };
struct join {
  join_kind kind;
  relation_ptr left;
  relation_ptr right;
  std::vector<Expression> conditions;  // All of them hold.
};

struct filter {
  std::vector<Expression> conditions;  // All of them hold.
  relation_ptr child;
};

// The child's variables and computed ones, none of which sees another of the same list. An alias
// whose variable is a TableVariable gives a reference's columns a name: `c.country.name` is the
// column name of a variable computed as the column country of c.
struct compute {
  std::vector<Alias> aliases;
  relation_ptr child;
};

// One row per group, and one row of all when there are no grouping expressions but aggregates.
// Variables: the aggregates' outputs and the groups' variables, nothing else. DISTINCT is an
// aggregate without aggregates. A group's variable may be the expression itself.
struct aggregate {
  std::vector<AggregateVariant> aggregates;
  std::vector<Alias> group_by;
  relation_ptr child;
};

struct sort_key {
  bool ascending;
  Expression expression;
};
// NULL comes first ascending, last descending.
struct sort {
  std::vector<sort_key> keys;
  relation_ptr child;
};

struct limit {
  std::optional<Expression> rows;    // Without variables.
  std::optional<Expression> offset;  // Without variables.
  relation_ptr child;
};

// Left's rows, then right's. Both sides have all of `outputs` among their variables; the union has
// these alone.
struct union_all {
  std::vector<PhysicalVariable> outputs;
  relation_ptr left;
  relation_ptr right;
};

struct relation {
  std::variant<one_row, table, rows, join, filter, compute, aggregate, sort, limit, union_all>
      content;
};

// Makes a relation on the heap of one of its alternatives.
template <typename Alternative>
relation_ptr make_relation(Alternative alternative) {
  return std::make_unique<relation>(relation{std::move(alternative)});
}

// A column of a query's result.
struct output_column {
  std::string name;           // UTF-8.
  PhysicalVariable variable;  // A variable of the root.
};

struct bound_query {
  relation_ptr root;
  std::vector<output_column> outputs;  // In order; two may be one variable.
};

}  // namespace qd::sql::algebra
