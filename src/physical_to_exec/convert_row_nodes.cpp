// The nodes that work row by row on one input: Filter, Transform, Extend.
#include "physical_to_exec/convert_physical.h"
#include "physical_to_exec/convert_vars.h"
#include "sql_executor/filter.h"
#include "sql_executor/projection.h"

namespace physical_to_exec {

namespace plan_model = physical_queryplan::QueryPlan;
namespace operators = qd::sql_executor::operators;

ConvertedNode Convert(plan_model::Filter const& plan, ConversionContext const& context) {
  auto [child, layout] = ConvertPhysical(*plan.child, context);
  BoundLayout const scope = AddVec(context.outer, layout);
  operators::operator_ptr condition =
      ConvertVars(plan.condition, context.literals, scope, context.level);
  auto filter = std::make_unique<qd::sql_executor::filter>(std::move(child), std::move(condition));
  return {std::move(filter), std::move(layout)};
}

// Outputs see the child's row alone. A Transform that changes nothing is the child itself.
ConvertedNode Convert(plan_model::Transform const& plan, ConversionContext const& context) {
  auto [child, child_layout] = ConvertPhysical(*plan.child, context);
  std::vector<operators::operator_ptr> outputs =
      ConvertVars(plan.outputs, context.literals, child_layout, context.level);
  BoundLayout layout;
  layout.reserve(plan.outputs.size());
  for (plan_model::Expression const& output : plan.outputs) {
    layout.push_back(physical_queryplan::AsPhysicalVariable(output));
  }
  if (layout == child_layout) return {std::move(child), std::move(layout)};
  auto projection =
      std::make_unique<qd::sql_executor::projection>(std::move(child), std::move(outputs));
  return {std::move(projection), std::move(layout)};
}

// Passes the child's row through and appends the computed values.
ConvertedNode Convert(plan_model::Extend const& plan, ConversionContext const& context) {
  auto [child, layout] = ConvertPhysical(*plan.child, context);
  BoundLayout const scope = AddVec(context.outer, layout);
  std::vector<operators::operator_ptr> outputs;
  outputs.reserve(layout.size() + plan.aliases.size());
  auto const append = [&](plan_model::Expression const& expression) {
    outputs.push_back(ConvertVars(expression, context.literals, scope, context.level));
  };
  for (PhysicalVariable const& variable : layout) {
    append(physical_queryplan::AsExpression(variable));
  }
  for (plan_model::Alias const& alias : plan.aliases) append(alias.expression);
  for (plan_model::Alias const& alias : plan.aliases) layout.push_back(alias.variable);
  auto projection =
      std::make_unique<qd::sql_executor::projection>(std::move(child), std::move(outputs));
  return {std::move(projection), std::move(layout)};
}

}  // namespace physical_to_exec
