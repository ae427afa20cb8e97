#include "random/plan_contents.h"

namespace random_plans {

namespace plan = physical_queryplan::QueryPlan;

namespace {

struct collector {
  plan_contents& found;

  void add(Expression const& expression) const {
    found.expressions[expression.variant.index()] = true;
    std::visit(
        [this](auto const& content) {
          if constexpr (requires { content.arguments; }) add_all(content.arguments);
        },
        expression.variant);
  }
  void add(plan::Alias const& alias) const { add(alias.expression); }
  void add(plan::Scan::Bound const& bound) const { add(bound.value); }
  void add(plan::OrderBy::Key const& key) const { add(key.expression); }
  void add(plan::AggregateVariant const& aggregate) const {
    std::visit([this](auto const& described) { add_all(described.arguments); }, aggregate);
  }
  void add(plan::Scan::ColBounds const& column) const {
    for (auto const* const bounds :
         {&column.equal, &column.less, &column.less_or_equal, &column.greater,
          &column.greater_or_equal, &column.starts_with}) {
      add_all(*bounds);
    }
  }
  template <typename Container>
  void add_all(Container const& all) const {
    for (auto const& each : all) add(each);
  }

  void add(PredicateVariant const& node) const {
    found.nodes[node.variant.index()] = true;
    std::visit(*this, node.variant);
  }
  template <typename Node>
  void operator()(Node const& node) const {
    if constexpr (requires { node.child; }) add(*node.child);
    if constexpr (requires { node.left; }) {
      add(*node.left);
      add(*node.right);
    }
    if constexpr (requires { node.bounds; }) add_all(node.bounds);
    if constexpr (requires { node.outputs; }) add_all(node.outputs);
    if constexpr (requires { node.expression; }) add(node.expression);
    if constexpr (requires { node.aliases; }) add_all(node.aliases);
    if constexpr (requires { node.keys; }) add_all(node.keys);
    if constexpr (requires { node.aggregates; }) {
      add_all(node.aggregates);
      add_all(node.group_by);
    }
  }
  void operator()(plan::Filter const& filter) const {
    add(*filter.child);
    add(filter.condition);
  }
  void operator()(plan::FullJoin const& join) const {
    add(*join.left);
    add(*join.right);
    if (join.condition) add(*join.condition);
  }
  void operator()(plan::LimitOffset const& cut) const {
    add(*cut.child);
    if (cut.limit) add(*cut.limit);
    if (cut.offset) add(*cut.offset);
  }
};

}  // namespace

plan_contents contents_of(PredicateVariant const& plan) {
  plan_contents found;
  collector{found}.add(plan);
  return found;
}

}  // namespace random_plans
