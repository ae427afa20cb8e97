// A scalar expression of a plan.
#pragma once

#include <variant>
#include <vector>

#include "physical_queryplan/operations.h"
#include "physical_queryplan/variables.h"

namespace physical_queryplan::QueryPlan {

struct Expression;

// One operation applied to arguments. The signature names the overload; at run time operators go by
// the kinds that their operands have, so only IfOperator's signature decides anything besides the
// type of a result column.
template <typename Tag>
struct Operation {
  typename Tag::signature signature;
  std::vector<Expression> arguments;
};

// A literal or a parameter.
using Constant = kinds::variant<
    kinds::concat<kinds::values, kinds::map<operator_library::Parameter, kinds::values>>>;
static_assert(std::variant_size_v<Constant> == 22);

namespace detail {
using expression_alternatives =
    kinds::concat<kinds::map<Operation, operator_library::OperationTags>,
                  kinds::map<Column, kinds::columns>, kinds::map<Derived, kinds::values>,
                  meta_support::TypeList<TableVariable, Constant>>;
}  // namespace detail

// One of 55 alternatives: 32 operations, 10 columns, 11 derived values, a table variable, a
// constant. Copying and destroying recurse: an expression n levels deep takes n times a few hundred
// bytes of the caller's stack. `Plan` refuses expressions and plans nested deeper than it
// documents.
struct Expression {
  template <kinds::one_of<detail::expression_alternatives> T>
  Expression(T alternative) : variant(std::move(alternative)) {}  // NOLINT: converts by design

  kinds::variant<detail::expression_alternatives> variant;
};
static_assert(std::variant_size_v<decltype(Expression::variant)> == 55);

// A total order over the contents: literals by kind, then content (floating values by their bits,
// so that a NaN has a place too). Negative, 0 or positive.
int Compare(Expression const& left, Expression const& right);

}  // namespace physical_queryplan::QueryPlan

namespace physical_queryplan {

// An expression that is a variable, as one. Throws QDException 7007 "Internal error: expression is
// not a variable" for any other.
struct AsPhysicalVariableFunction {
  QueryPlan::PhysicalVariable operator()(QueryPlan::Expression const& expression) const;
};
inline constexpr AsPhysicalVariableFunction AsPhysicalVariable;

// The expression that reads a variable.
QueryPlan::Expression AsExpression(QueryPlan::PhysicalVariable const& variable);

}  // namespace physical_queryplan
