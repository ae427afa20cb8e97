#include "sql/algebra/expressions.h"

#include <algorithm>
#include <array>
#include <utility>

namespace qd::sql::algebra {

using namespace physical_queryplan::QueryPlan;  // NOLINT: visitors name most of it

namespace {

template <typename T, typename... Kinds>
constexpr kind position_of(meta_support::TypeList<Kinds...>) {
  std::size_t position = 0;
  bool found = false;
  ((found = found || std::is_same_v<T, Kinds>, position += found ? 0 : 1), ...);
  return static_cast<kind>(position);
}

template <typename T>
inline constexpr kind kind_for = position_of<T>(physical_queryplan::kinds::values());

template <typename R, typename Arguments>
constexpr kind result_of(operator_library::Signature<R, Arguments>) {
  return kind_for<R>;
}

// The kind of what an expression's alternative yields.
struct kind_visitor {
  template <typename Tag>
  kind operator()(Operation<Tag> const& operation) const {
    return std::visit([](auto signature) { return result_of(signature); }, operation.signature);
  }
  template <typename T>
  kind operator()(Column<T> const&) const {
    return kind_for<T>;
  }
  template <typename T>
  kind operator()(Derived<T> const&) const {
    return kind_for<T>;
  }
  kind operator()(TableVariable const&) const { return kind::reference; }
  kind operator()(Constant const& constant) const { return std::visit(*this, constant); }
  template <typename T>
  kind operator()(operator_library::Parameter<T> const&) const {
    return kind_for<T>;
  }
  template <physical_queryplan::kinds::one_of<physical_queryplan::kinds::values> T>
  kind operator()(T const&) const {
    return kind_for<T>;
  }
};

// The operands of an operation; null of what is none.
std::vector<Expression> const* arguments_of(Expression const& expression) {
  return std::visit(
      []<typename T>(T const& alternative) -> std::vector<Expression> const* {
        if constexpr (requires { alternative.arguments; }) {
          return &alternative.arguments;
        } else {
          return nullptr;
        }
      },
      expression.variant);
}

// Appends the operands of a chain of `Tag`, left to right.
template <typename Tag>
void flatten(Expression expression, std::vector<Expression>& operands) {
  std::vector<Expression> pending;
  pending.push_back(std::move(expression));
  while (!pending.empty()) {
    Expression next = std::move(pending.back());
    pending.pop_back();
    auto* const chain = std::get_if<Operation<Tag>>(&next.variant);
    if (!chain) {
      operands.push_back(std::move(next));
      continue;
    }
    for (auto operand = chain->arguments.rbegin(); operand != chain->arguments.rend(); ++operand) {
      pending.push_back(std::move(*operand));
    }
  }
}

// `Tag` over the operands from `first` to before `last`, as a balanced tree.
template <typename Tag>
Expression balanced(std::vector<Expression>& operands, std::size_t first, std::size_t last) {
  if (last - first == 1) return std::move(operands[first]);
  std::size_t const middle = first + (last - first) / 2;
  Operation<Tag> operation{{}, {}};
  operation.arguments.reserve(2);
  operation.arguments.push_back(balanced<Tag>(operands, first, middle));
  operation.arguments.push_back(balanced<Tag>(operands, middle, last));
  return operation;
}

}  // namespace

char const* kind_name(kind kind) {
  static constexpr std::array<char const*, kind_count> names = {
      "boolean", "text",  "unsigned",  "bigint", "numeric", "double precision",
      "real",    "bytea", "reference", "class",  "null"};
  return names[static_cast<std::size_t>(kind)];
}

bool is_numeric(kind kind) {
  return kind >= kind::unsigned_integer && kind <= kind::single_float;
}

kind kind_of(Expression const& expression) {
  return std::visit(kind_visitor(), expression.variant);
}
kind kind_of(PhysicalVariable const& variable) {
  return std::visit(kind_visitor(), variable);
}

bool equal(Expression const& left, Expression const& right) {
  return Compare(left, right) == 0;
}
bool equal(PhysicalVariable const& left, PhysicalVariable const& right) {
  return left == right;
}

std::vector<Expression> conjuncts(Expression expression) {
  std::vector<Expression> conditions;
  flatten<operator_library::AndOperator>(std::move(expression), conditions);
  return conditions;
}

std::vector<Expression> disjuncts(Expression expression) {
  std::vector<Expression> conditions;
  flatten<operator_library::OrOperator>(std::move(expression), conditions);
  return conditions;
}

Expression conjunction(std::vector<Expression> conditions) {
  if (conditions.empty()) return Constant(true);
  return balanced<operator_library::AndOperator>(conditions, 0, conditions.size());
}

Expression disjunction(std::vector<Expression> conditions) {
  return balanced<operator_library::OrOperator>(conditions, 0, conditions.size());
}

void for_each_variable(Expression const& expression,
                       std::function<void(PhysicalVariable const&)> const& visit) {
  std::visit(
      [&]<typename T>(T const& alternative) {
        if constexpr (requires { alternative.arguments; }) {
          for (Expression const& argument : alternative.arguments) {
            for_each_variable(argument, visit);
          }
        } else if constexpr (!std::is_same_v<T, Constant>) {
          visit(alternative);
        }
      },
      expression.variant);
}

bool is_constant(Expression const& expression) {
  if (std::holds_alternative<Constant>(expression.variant)) return true;
  std::vector<Expression> const* const arguments = arguments_of(expression);
  return arguments && std::all_of(arguments->begin(), arguments->end(), is_constant);
}

std::size_t size_of(Expression const& expression) {
  std::size_t size = 1;
  if (std::vector<Expression> const* const arguments = arguments_of(expression)) {
    for (Expression const& argument : *arguments) size += size_of(argument);
  }
  return size;
}

Expression replace(Expression expression,
                   std::function<std::optional<Expression>(Expression const&)> const& replacement) {
  if (std::optional<Expression> found = replacement(expression)) return std::move(*found);
  std::visit(
      [&](auto& alternative) {
        if constexpr (requires { alternative.arguments; }) {
          for (Expression& argument : alternative.arguments) {
            argument = replace(std::move(argument), replacement);
          }
        }
      },
      expression.variant);
  return expression;
}

}  // namespace qd::sql::algebra
