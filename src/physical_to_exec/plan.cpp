#include "physical_to_exec/plan.h"

#include "error_handling/error_codes.h"
#include "error_handling/qd_exception.h"
#include "physical_to_exec/convert_physical.h"
#include "physical_to_exec/type_of_expression.h"

namespace physical_to_exec {

ExecutablePlan Plan(physical_queryplan::QueryPlan::PredicateVariant plan) {
  ExecutablePlan result;
  BoundLayout const nothing_bound;
  result.root =
      ConvertPhysical(plan, ConversionContext{result.literals, nothing_bound, nesting_level()})
          .first;
  auto const* const transform =
      std::get_if<physical_queryplan::QueryPlan::Transform>(&plan.variant);
  if (transform == nullptr) {
    error_handling::ThrowException(error_handling::not_implemented,
                                   error_handling::invalid_location, u"Not implemented error");
  }
  result.column_types.reserve(transform->outputs.size());
  for (physical_queryplan::QueryPlan::Expression const& output : transform->outputs) {
    result.column_types.push_back(TypeOfExpression(output, plan));
  }
  return result;
}

}  // namespace physical_to_exec
