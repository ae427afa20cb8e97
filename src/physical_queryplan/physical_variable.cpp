// Variables as expressions and back.
#include <variant>

#include "error_handling/error_codes.h"
#include "error_handling/qd_exception.h"
#include "physical_queryplan/expression.h"

namespace physical_queryplan {

namespace {

struct variable_of_expression {
  template <typename T>
  QueryPlan::PhysicalVariable operator()(QueryPlan::Column<T> const& column) const {
    return column;
  }
  template <typename T>
  QueryPlan::PhysicalVariable operator()(QueryPlan::Derived<T> const& derived) const {
    return derived;
  }
  QueryPlan::PhysicalVariable operator()(QueryPlan::TableVariable const& table_variable) const {
    return table_variable;
  }
  template <typename Tag>
  QueryPlan::PhysicalVariable operator()(QueryPlan::Operation<Tag> const&) const {
    refuse();
  }
  QueryPlan::PhysicalVariable operator()(QueryPlan::Constant const&) const { refuse(); }

  [[noreturn]] static void refuse() {
    error_handling::ThrowException(error_handling::not_a_variable, error_handling::invalid_location,
                                   u"Internal error: expression is not a variable");
  }
};

}  // namespace

QueryPlan::PhysicalVariable AsPhysicalVariableFunction::operator()(
    QueryPlan::Expression const& expression) const {
  return std::visit(variable_of_expression(), expression.variant);
}

QueryPlan::Expression AsExpression(QueryPlan::PhysicalVariable const& variable) {
  return std::visit([](auto const& content) -> QueryPlan::Expression { return content; }, variable);
}

}  // namespace physical_queryplan
