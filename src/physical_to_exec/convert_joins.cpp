// The joins.
#include "physical_to_exec/bind_join_arguments.h"
#include "physical_to_exec/convert_vars.h"
#include "sql_executor/full_join.h"
#include "sql_executor/left_join.h"
#include "sql_executor/nested_loop_inner_join.h"

namespace physical_to_exec {

namespace plan_model = physical_queryplan::QueryPlan;
namespace operators = qd::sql_executor::operators;

std::tuple<std::unique_ptr<qd::sql_executor::node>, std::unique_ptr<qd::sql_executor::node>,
           BoundLayout, unsigned long>
BindJoinArgs(plan_model::PredicateVariant const& left, plan_model::PredicateVariant const& right,
             ConversionContext const& context) {
  auto [left_node, layout] = ConvertPhysical(left, context);
  BoundLayout const right_outer = AddVec(context.outer, layout);
  auto [right_node, right_layout] =
      ConvertPhysical(right, ConversionContext{context.literals, right_outer, context.level});
  unsigned long const left_width = layout.size();
  return {std::move(left_node), std::move(right_node), AddVec(std::move(layout), right_layout),
          left_width};
}

ConvertedNode Convert(plan_model::Join<shared_classes::Inner> const& plan,
                      ConversionContext const& context) {
  auto [left, right, layout, left_width] = BindJoinArgs(*plan.left, *plan.right, context);
  auto join =
      std::make_unique<qd::sql_executor::nested_loop_inner_join>(std::move(left), std::move(right));
  return {std::move(join), std::move(layout)};
}

ConvertedNode Convert(plan_model::Join<shared_classes::Left> const& plan,
                      ConversionContext const& context) {
  auto [left, right, layout, left_width] = BindJoinArgs(*plan.left, *plan.right, context);
  unsigned long const right_width = layout.size() - left_width;
  auto join =
      std::make_unique<qd::sql_executor::left_join>(std::move(left), std::move(right), right_width);
  return {std::move(join), std::move(layout)};
}

// The right side does not see the left row; only the condition sees both.
ConvertedNode Convert(plan_model::FullJoin const& plan, ConversionContext const& context) {
  auto [left, layout] = ConvertPhysical(*plan.left, context);
  auto [right, right_layout] = ConvertPhysical(*plan.right, context);
  unsigned long const left_width = layout.size();
  unsigned long const right_width = right_layout.size();
  BoundLayout joined = AddVec(std::move(layout), right_layout);
  std::optional<operators::operator_ptr> condition;
  if (plan.condition) {
    BoundLayout const scope = AddVec(context.outer, joined);
    condition = ConvertVars(*plan.condition, context.literals, scope, context.level);
  }
  auto join = std::make_unique<qd::sql_executor::full_join>(
      std::move(left), std::move(right), left_width, right_width, std::move(condition));
  return {std::move(join), std::move(joined)};
}

}  // namespace physical_to_exec
