// Planning: the variables of each node's rows, and the plans that are refused.
#include <algorithm>

#include "support/reference/relation.h"

namespace reference {

namespace plan = physical_queryplan::QueryPlan;
namespace ops = operator_library;

namespace {

template <typename... Visitors>
struct overloaded : Visitors... {
  using Visitors::operator()...;
};

layout join_layouts(layout left, layout const& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

}  // namespace

layout layout_of(PredicateVariant const& plan) {
  return std::visit(
      overloaded{[](plan::Scan const& scan) -> layout { return {scan.table_variable}; },
                 [](plan::GenerativeAssignment const& assignment) -> layout {
                   return {assignment.variable};
                 },
                 [](plan::Transform const& transform) -> layout {
                   layout_of(*transform.child);
                   layout outputs;
                   for (Expression const& output : transform.outputs) {
                     std::visit(
                         [&]<typename T>(T const& content) {
                           if constexpr (std::is_constructible_v<PhysicalVariable, T>) {
                             outputs.emplace_back(content);
                           } else {
                             throw failure{"sql error 7007"};
                           }
                         },
                         output.variant);
                   }
                   return outputs;
                 },
                 [](plan::Extend const& extend) -> layout {
                   layout variables = layout_of(*extend.child);
                   for (plan::Alias const& alias : extend.aliases)
                     variables.push_back(alias.variable);
                   return variables;
                 },
                 [](plan::Aggregation const& aggregation) -> layout {
                   layout_of(*aggregation.child);
                   layout variables;
                   for (auto const& aggregate : aggregation.aggregates) {
                     std::visit(
                         [&](auto const& described) {
                           std::visit([&](auto const& output) { variables.emplace_back(output); },
                                      described.output);
                         },
                         aggregate);
                   }
                   for (plan::Alias const& key : aggregation.group_by) {
                     variables.push_back(key.variable);
                   }
                   return variables;
                 },
                 [](plan::Union const& both) -> layout {
                   layout left = layout_of(*both.left);
                   if (left != layout_of(*both.right)) throw failure{"sql error 7022"};
                   return left;
                 },
                 []<typename T>(T const& node) -> layout {
                   if constexpr (requires { node.left; }) {
                     layout left = layout_of(*node.left);
                     return join_layouts(std::move(left), layout_of(*node.right));
                   } else {
                     return layout_of(*node.child);
                   }
                 }},
      plan.variant);
}

namespace {

// The expression that an Extend gives a variable; nodes before their children, left before right.
Expression const* definition_of(PhysicalVariable const& variable, PredicateVariant const& in) {
  if (auto const* const extend = std::get_if<plan::Extend>(&in.variant)) {
    for (plan::Alias const& alias : extend->aliases) {
      if (alias.variable == variable) return &alias.expression;
    }
  }
  return std::visit(
      [&]<typename T>(T const& node) -> Expression const* {
        if constexpr (requires { node.child; }) {
          return definition_of(variable, *node.child);
        } else if constexpr (requires { node.left; }) {
          Expression const* const found = definition_of(variable, *node.left);
          return found ? found : definition_of(variable, *node.right);
        } else {
          return nullptr;
        }
      },
      in.variant);
}

template <typename T>
constexpr bool has_no_column_type =
    std::is_same_v<T, ops::SetSpecifier> || std::is_same_v<T, ops::NullValue>;

// Whether a result column of the expression's type cannot be described.
struct is_unsupported {
  PredicateVariant const& whole;

  bool operator()(Expression const& expression) const {
    return std::visit(*this, expression.variant);
  }
  template <typename T>
  bool operator()(plan::Column<T> const&) const {
    return has_no_column_type<T>;
  }
  template <typename T>
  bool operator()(plan::Derived<T> const& derived) const {
    if constexpr (std::is_same_v<T, QD_OBJ_REF>) {
      Expression const* const definition = definition_of(derived, whole);
      return definition && (*this)(*definition);
    }
    return has_no_column_type<T>;
  }
  bool operator()(plan::TableVariable const&) const { return false; }
  bool operator()(plan::Constant const& constant) const { return std::visit(*this, constant); }
  template <typename T>
  bool operator()(ops::Parameter<T> const&) const {
    return has_no_column_type<T>;
  }
  template <typename T>
  requires std::is_constructible_v<plan::Constant, T>
  bool operator()(T const&) const { return has_no_column_type<T>; }
  bool operator()(plan::Operation<ops::IfOperator> const& chosen) const {
    return chosen.signature.index() >= of_set_specifier;
  }
  template <typename Tag>
  bool operator()(plan::Operation<Tag> const&) const {
    return false;
  }
  template <typename L1, typename L2>
  bool operator()(plan::Operation<ops::CastTo<ops::SetSpecifier, L1, L2>> const&) const {
    return true;
  }
};

}  // namespace

std::optional<failure> planning_failure(PredicateVariant const& plan) {
  try {
    layout_of(plan);
  } catch (failure const& raised) {
    return raised;
  }
  auto const* const transform = std::get_if<plan::Transform>(&plan.variant);
  if (!transform ||
      std::any_of(transform->outputs.begin(), transform->outputs.end(), is_unsupported{plan})) {
    return failure{"sql error 7022"};
  }
  return std::nullopt;
}

}  // namespace reference
