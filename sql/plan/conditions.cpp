#include "sql/plan/conditions.h"

#include <algorithm>

namespace qd::sql::planning {

using namespace physical_queryplan::QueryPlan;  // NOLINT: visitors name most of it
using namespace operator_library;               // NOLINT: the operations

namespace {

template <typename Tag>
constexpr bool is_comparison =
    std::is_same_v<Tag, Equal> || std::is_same_v<Tag, NotEqual> || std::is_same_v<Tag, LessThan> ||
    std::is_same_v<Tag, LessThanOrEqual> || std::is_same_v<Tag, GreaterThan> ||
    std::is_same_v<Tag, GreaterThanOrEqual>;

// Operations that have a value for all operands of the right kinds.
template <typename Tag>
constexpr bool is_total =
    is_comparison<Tag> || std::is_same_v<Tag, AndOperator> || std::is_same_v<Tag, OrOperator> ||
    std::is_same_v<Tag, NotOperator> || std::is_same_v<Tag, XorOperator> ||
    std::is_same_v<Tag, IsNullOperator> || std::is_same_v<Tag, IsNotNullOperator> ||
    std::is_same_v<Tag, StartsWith> || std::is_same_v<Tag, Concat> || std::is_same_v<Tag, Is> ||
    std::is_same_v<Tag, Oid>;

// A variable of `padded` itself: NULL in a padded row.
bool is_padded(Expression const& expression, variable_set const& padded,
               variable_numbers& numbers) {
  return std::visit(
      [&]<typename T>(T const& alternative) {
        if constexpr (std::is_constructible_v<PhysicalVariable, T const&>) {
          return padded.includes(numbers.uses(expression));
        } else {
          (void)alternative;
          return false;
        }
      },
      expression.variant);
}

}  // namespace

bool can_fail(Expression const& expression) {
  return std::visit(
      []<typename T>(T const& alternative) {
        if constexpr (requires { alternative.arguments; }) {
          return []<typename Tag>(Operation<Tag> const& operation) {
            return !is_total<Tag> ||
                   std::any_of(operation.arguments.begin(), operation.arguments.end(), can_fail);
          }(alternative);
        } else {
          return false;
        }
      },
      expression.variant);
}

bool rejects_nulls(Expression const& condition, variable_set const& padded,
                   variable_numbers& numbers) {
  auto const rejects = [&](Expression const& each) { return rejects_nulls(each, padded, numbers); };
  return std::visit(
      [&]<typename T>(T const& alternative) {
        if constexpr (requires { alternative.arguments; }) {
          std::vector<Expression> const& operands = alternative.arguments;
          return [&]<typename Tag>(Operation<Tag> const&) {
            if constexpr (is_comparison<Tag> || std::is_same_v<Tag, IsNotNullOperator> ||
                          std::is_same_v<Tag, Like> || std::is_same_v<Tag, StartsWith>) {
              return std::any_of(operands.begin(), operands.end(), [&](Expression const& each) {
                return is_padded(each, padded, numbers);
              });
            } else if constexpr (std::is_same_v<Tag, AndOperator>) {
              return std::any_of(operands.begin(), operands.end(), rejects);
            } else if constexpr (std::is_same_v<Tag, OrOperator>) {
              return std::all_of(operands.begin(), operands.end(), rejects);
            } else {
              return false;
            }
          }(alternative);
        } else {
          // A boolean variable as a condition.
          return is_padded(condition, padded, numbers);
        }
      },
      condition.variant);
}

double share_left_by(Expression const& condition) {
  return std::visit(
      []<typename T>(T const&) {
        if constexpr (std::is_same_v<T, Operation<Equal>>) return 0.1;
        if constexpr (std::is_same_v<T, Operation<Like>>) return 0.1;
        if constexpr (std::is_same_v<T, Operation<StartsWith>>) return 0.1;
        if constexpr (std::is_same_v<T, Operation<IsNullOperator>>) return 0.2;
        if constexpr (std::is_same_v<T, Operation<IsNotNullOperator>>) return 0.9;
        if constexpr (std::is_same_v<T, Operation<NotEqual>>) return 0.9;
        return 0.4;
      },
      condition.variant);
}

double cost_of_testing(Expression const& condition) {
  constexpr double operation_cost = 0.4;
  return std::visit(
      []<typename T>(T const& alternative) -> double {
        if constexpr (requires { alternative.arguments; }) {
          double cost = operation_cost;
          for (Expression const& each : alternative.arguments) cost += cost_of_testing(each);
          return cost;
        } else {
          return 0;
        }
      },
      condition.variant);
}

Expression substituted(Expression expression, std::vector<algebra::Alias> const& aliases) {
  return algebra::replace(
      std::move(expression), [&](Expression const& part) -> std::optional<Expression> {
        for (algebra::Alias const& alias : aliases) {
          if (algebra::equal(part, physical_queryplan::AsExpression(alias.variable))) {
            return alias.expression;
          }
        }
        return std::nullopt;
      });
}

std::vector<Expression> expressions_of(std::vector<condition> conditions) {
  std::vector<Expression> expressions;
  expressions.reserve(conditions.size());
  for (condition& each : conditions) expressions.push_back(std::move(each.expression));
  return expressions;
}

}  // namespace qd::sql::planning
