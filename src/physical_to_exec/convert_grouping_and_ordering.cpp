// Aggregation and OrderBy: the nodes that consume their whole input.
#include "physical_to_exec/convert_physical.h"
#include "physical_to_exec/convert_vars.h"
#include "sql_executor/aggregator.h"
#include "sql_executor/order_by.h"

namespace physical_to_exec {

namespace plan_model = physical_queryplan::QueryPlan;
namespace operators = qd::sql_executor::operators;
namespace aggregators = qd::sql_executor::aggregators;

namespace {

// Names the description of an aggregate function that takes one argument.
template <typename Tag>
struct description_of;
template <>
struct description_of<operator_library::Sum> {
  using type = aggregators::sum;
};
template <>
struct description_of<operator_library::Count> {
  using type = aggregators::count;
};
template <>
struct description_of<operator_library::Max> {
  using type = aggregators::max;
};
template <>
struct description_of<operator_library::Min> {
  using type = aggregators::min;
};
template <>
struct description_of<operator_library::CountDistinctSingle> {
  using type = aggregators::count_distinct_single;
};

// Converts one aggregate operator into its description; one overload per kind of argument list.
class aggregate_converter {
 public:
  aggregate_converter(ConversionContext const& context, BoundLayout const& scope)
      : context_(context), scope_(scope) {}

  template <typename Tag>
  qd::sql_executor::aggregate_variant operator()(
      plan_model::AggregateOperator<Tag> const& aggregate) const {
    return typename description_of<Tag>::type(only_argument(aggregate.arguments));
  }
  qd::sql_executor::aggregate_variant operator()(
      plan_model::AggregateOperator<operator_library::CountStar> const&) const {
    return aggregators::count_star();
  }
  // Integers and Decimals have an exact average.
  qd::sql_executor::aggregate_variant operator()(
      plan_model::AggregateOperator<operator_library::Avg> const& aggregate) const {
    operators::operator_ptr argument = only_argument(aggregate.arguments);
    return std::visit(
        [&argument]<typename R, typename Arguments>(
            operator_library::Signature<R, Arguments>) -> qd::sql_executor::aggregate_variant {
          if constexpr (std::is_same_v<R, operator_library::Decimal>) {
            return aggregators::exact_avg(std::move(argument));
          } else {
            return aggregators::avg(std::move(argument));
          }
        },
        aggregate.signature);
  }
  qd::sql_executor::aggregate_variant operator()(
      plan_model::AggregateOperator<operator_library::CountDistinctVariadric> const& aggregate)
      const {
    return aggregators::count_distinct_variadric(
        ConvertVars(aggregate.arguments, context_.literals, scope_, context_.level));
  }

 private:
  operators::operator_ptr only_argument(
      std::vector<plan_model::Expression> const& arguments) const {
    return ConvertVars(arguments.at(0), context_.literals, scope_, context_.level);
  }

  ConversionContext const& context_;
  BoundLayout const& scope_;
};

}  // namespace

// Grouping keys are converted before the aggregates and stand behind them in the row.
ConvertedNode Convert(plan_model::Aggregation const& plan, ConversionContext const& context) {
  auto [child, child_layout] = ConvertPhysical(*plan.child, context);
  BoundLayout const scope = AddVec(context.outer, child_layout);
  std::vector<operators::operator_ptr> group_by;
  for (plan_model::Alias const& alias : plan.group_by) {
    group_by.push_back(ConvertVars(alias.expression, context.literals, scope, context.level));
  }
  std::vector<qd::sql_executor::aggregate_variant> aggregates;
  aggregate_converter const convert(context, scope);
  for (plan_model::AggregateVariant const& aggregate : plan.aggregates) {
    aggregates.push_back(std::visit(convert, aggregate));
  }
  BoundLayout layout;
  for (plan_model::AggregateVariant const& aggregate : plan.aggregates) {
    layout.push_back(std::visit(
        [](auto const& any) {
          return std::visit([](auto const& output) { return PhysicalVariable(output); },
                            any.output);
        },
        aggregate));
  }
  for (plan_model::Alias const& alias : plan.group_by) layout.push_back(alias.variable);
  auto aggregator = std::make_unique<qd::sql_executor::aggregator>(
      std::move(child), std::move(group_by), std::move(aggregates));
  return {std::move(aggregator), std::move(layout)};
}

ConvertedNode Convert(plan_model::OrderBy const& plan, ConversionContext const& context) {
  auto [child, layout] = ConvertPhysical(*plan.child, context);
  BoundLayout const scope = AddVec(context.outer, layout);
  std::vector<bool> ascending;
  std::vector<operators::operator_ptr> keys;
  for (plan_model::OrderBy::Key const& key : plan.keys) {
    ascending.push_back(key.ascending);
    keys.push_back(ConvertVars(key.expression, context.literals, scope, context.level));
  }
  auto order_by = std::make_unique<qd::sql_executor::order_by>(std::move(child), std::move(keys),
                                                               std::move(ascending));
  return {std::move(order_by), std::move(layout)};
}

}  // namespace physical_to_exec
