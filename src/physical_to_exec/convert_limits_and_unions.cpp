// LimitOffset, Union and GenerativeAssignment.
#include <limits>

#include "error_handling/error_codes.h"
#include "error_handling/qd_exception.h"
#include "physical_to_exec/convert_physical.h"
#include "physical_to_exec/convert_vars.h"
#include "sql_executor/generative_assignment.h"
#include "sql_executor/limit_offset.h"
#include "sql_executor/operators/value_from_context.h"
#include "sql_executor/union.h"

namespace physical_to_exec {

namespace plan_model = physical_queryplan::QueryPlan;
namespace operators = qd::sql_executor::operators;

// Limit and offset see the outer variables only: they are evaluated before any row is read. One
// that the plan leaves out becomes a literal.
ConvertedNode Convert(plan_model::LimitOffset const& plan, ConversionContext const& context) {
  auto [child, layout] = ConvertPhysical(*plan.child, context);
  auto const convert = [&context](std::optional<plan_model::Expression> const& expression,
                                  unsigned long otherwise) -> operators::operator_ptr {
    if (expression) {
      return ConvertVars(*expression, context.literals, context.outer, context.level);
    }
    return std::make_unique<operators::value_from_context>(
        MakeLiteralIndex(context.literals, otherwise));
  };
  operators::operator_ptr limit = convert(plan.limit, std::numeric_limits<unsigned long>::max());
  operators::operator_ptr offset = convert(plan.offset, 0);
  auto limit_offset = std::make_unique<qd::sql_executor::limit_offset>(
      std::move(child), std::move(limit), std::move(offset));
  return {std::move(limit_offset), std::move(layout)};
}

ConvertedNode Convert(plan_model::Union const& plan, ConversionContext const& context) {
  auto [left, layout] = ConvertPhysical(*plan.left, context);
  auto [right, right_layout] = ConvertPhysical(*plan.right, context);
  if (layout != right_layout) {
    error_handling::ThrowException(error_handling::not_implemented,
                                   error_handling::invalid_location, u"Not implemented error");
  }
  auto both = std::make_unique<qd::sql_executor::uniond>(std::move(left), std::move(right));
  return {std::move(both), std::move(layout)};
}

ConvertedNode Convert(plan_model::GenerativeAssignment const& plan,
                      ConversionContext const& context) {
  operators::operator_ptr expression =
      ConvertVars(plan.expression, context.literals, context.outer, context.level);
  auto assignment =
      std::make_unique<qd::sql_executor::generative_assignment>(std::move(expression));
  return {std::move(assignment), BoundLayout{plan.variable}};
}

}  // namespace physical_to_exec
