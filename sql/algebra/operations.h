// Operations of the plan model whose overload is known only when a statement is bound.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "sql/algebra/expressions.h"
#include "sql/algebra/relation.h"

namespace qd::sql::algebra {

enum class comparison { equal, not_equal, less_or_equal, less, greater, greater_or_equal };
enum class arithmetic { add, subtract, divide, multiply };
enum class aggregate_function { sum, count, max, min, avg, count_distinct };

// left <=> right, of operands that have `kind`; between kinds, of the left one's.
Expression compare(comparison operation, kind kind, Expression left, Expression right);
// With the result kind `result`: signed, decimal, double or single float.
Expression calculate(arithmetic operation, kind result, Expression left, Expression right);
Expression negate(kind result, Expression operand);

Expression logical_and(Expression left, Expression right);
Expression logical_or(Expression left, Expression right);
Expression logical_xor(Expression left, Expression right);
Expression logical_not(Expression operand);
// IS NULL and IS NOT NULL of an operand of any kind.
Expression null_test(bool negated, Expression operand);
// One of the two, converted to `result`.
Expression conditional(kind result, Expression condition, Expression then, Expression otherwise);

Expression like(Expression text, Expression pattern);
Expression starts_with(Expression text, Expression prefix);
Expression concatenate(std::vector<Expression> texts);
Expression is_a(Expression object, Expression set_specifier);
Expression oid_of(Expression object);

// Whether a cast between the kinds exists in the plan model, and the cast.
bool has_cast(kind target, kind source);
Expression cast(kind target, Expression operand);

Expression null_literal();
Expression boolean_literal(bool truth);
// Parameter `number` of the library, from 0.
Expression parameter(kind kind, std::uint32_t number);
// A stored column of a table variable, and the kind that the catalogue gives it.
Expression column(kind kind, meta_data::Column const& column, TableVariable const& variable);
// A computed value; the identity tells the values of one statement apart.
PhysicalVariable derived(kind kind, std::array<std::int32_t, 4> identity);

// An aggregate whose result is known as `output`, and the kind of that result. The argument's kind
// fits: see aggregate_result.
AggregateVariant aggregate_of(aggregate_function function, Expression argument,
                              PhysicalVariable const& output);
AggregateVariant count_rows(PhysicalVariable const& output);
AggregateVariant count_distinct_rows(std::vector<Expression> arguments,
                                     PhysicalVariable const& output);
// The kind of an aggregate over arguments of a kind; kind::null when there is no such aggregate.
kind aggregate_result(aggregate_function function, kind argument);

}  // namespace qd::sql::algebra
