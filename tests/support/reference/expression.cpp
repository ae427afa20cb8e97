#include "support/reference/expression.h"

#include <stdexcept>

namespace reference {

namespace plan = physical_queryplan::QueryPlan;
namespace ops = operator_library;

namespace {

// How the six comparisons read the relation of their operands.
bool holds(ops::Equal, relation_of r) {
  return r == relation_of::equal;
}
bool holds(ops::NotEqual, relation_of r) {
  return r != relation_of::equal && r != relation_of::incomparable;
}
bool holds(ops::LessThan, relation_of r) {
  return r == relation_of::less;
}
bool holds(ops::GreaterThan, relation_of r) {
  return r == relation_of::greater;
}
bool holds(ops::LessThanOrEqual, relation_of r) {
  return r == relation_of::less || r == relation_of::equal;
}
bool holds(ops::GreaterThanOrEqual, relation_of r) {
  return r == relation_of::greater || r == relation_of::equal;
}

template <typename Tag>
concept comparison = requires(Tag tag) {
  holds(tag, relation_of::equal);
};

arithmetic operation_of(ops::PlusOperator) {
  return arithmetic::plus;
}
arithmetic operation_of(ops::MinusOperator) {
  return arithmetic::minus;
}
arithmetic operation_of(ops::MultiplyOperator) {
  return arithmetic::times;
}
arithmetic operation_of(ops::DivideOperator) {
  return arithmetic::divided_by;
}

template <typename Tag>
concept arithmetic_operation = requires(Tag tag) {
  operation_of(tag);
};

// A truth value, NULL as unknown; any other kind is an error.
std::optional<bool> truth(value const& source) {
  if (is_null(source)) return std::nullopt;
  if (kind_of(source) != of_bool) fail(7020);
  return std::get<of_bool>(source);
}

std::u16string const& text(value const& source) {
  if (kind_of(source) != of_string) fail(7020);
  return std::get<of_string>(source);
}

// The kinds that casts name by their type.
template <typename T>
kind target_kind() {
  return kind_of(from_engine(T()));
}

struct evaluator {
  environment const& scope;

  value operator()(Expression const& expression) const {
    return std::visit(*this, expression.variant);
  }

  template <typename Tag>
  value argument(plan::Operation<Tag> const& operation, std::size_t number) const {
    return (*this)(operation.arguments.at(number));
  }

  template <comparison Tag>
  value operator()(plan::Operation<Tag> const& operation) const {
    value const right = argument(operation, 1);
    value const left = argument(operation, 0);
    if (is_null(left) || is_null(right)) return null_value();
    return holds(Tag(), compare(left, right));
  }

  template <arithmetic_operation Tag>
  value operator()(plan::Operation<Tag> const& operation) const {
    value const left = argument(operation, 0);
    value const right = argument(operation, 1);
    return compute(operation_of(Tag()), left, right);
  }

  value operator()(plan::Operation<ops::AndOperator> const& operation) const {
    return connect(operation, false);
  }
  value operator()(plan::Operation<ops::OrOperator> const& operation) const {
    return connect(operation, true);
  }
  // AND and OR: an operand that decides by itself, `deciding`, or else the other operand's value.
  template <typename Tag>
  value connect(plan::Operation<Tag> const& operation, bool deciding) const {
    std::optional<bool> const left = truth(argument(operation, 0));
    if (left == deciding) return deciding;
    value right = argument(operation, 1);
    if (left) return right;
    return truth(right) == deciding ? value(deciding) : null_value();
  }
  value operator()(plan::Operation<ops::XorOperator> const& operation) const {
    std::optional<bool> const left = truth(argument(operation, 0));
    if (!left) return null_value();
    std::optional<bool> const right = truth(argument(operation, 1));
    if (!right) return null_value();
    return *left != *right;
  }
  value operator()(plan::Operation<ops::NotOperator> const& operation) const {
    std::optional<bool> const operand = truth(argument(operation, 0));
    if (!operand) return null_value();
    return !*operand;
  }
  value operator()(plan::Operation<ops::IsNullOperator> const& operation) const {
    return is_null(argument(operation, 0));
  }
  value operator()(plan::Operation<ops::IsNotNullOperator> const& operation) const {
    return !is_null(argument(operation, 0));
  }
  value operator()(plan::Operation<ops::Negate> const& operation) const {
    return negate(argument(operation, 0));
  }

  value operator()(plan::Operation<ops::Like> const& operation) const {
    value const pattern = argument(operation, 1);
    if (is_null(pattern)) return null_value();
    text(pattern);
    value const matched = argument(operation, 0);
    if (is_null(matched)) return null_value();
    return like(text(matched), text(pattern));
  }
  value operator()(plan::Operation<ops::StartsWith> const& operation) const {
    value const prefix = argument(operation, 1);
    value const tested = argument(operation, 0);
    if (is_null(prefix) || is_null(tested)) return null_value();
    return text(tested).starts_with(text(prefix));
  }
  value operator()(plan::Operation<ops::LikeStartsWith> const& operation) const {
    value const pattern = argument(operation, 0);
    if (is_null(pattern)) return null_value();
    return like_prefix(text(pattern));
  }
  value operator()(plan::Operation<ops::Concat> const& operation) const {
    std::u16string joined;
    for (std::size_t i = 0; i < operation.arguments.size(); ++i) {
      value const part = argument(operation, i);
      if (is_null(part)) return null_value();
      joined += text(part);
    }
    return joined;
  }

  value operator()(plan::Operation<ops::IfOperator> const& operation) const {
    bool const condition = truth(argument(operation, 0)).value_or(false);
    value const chosen = argument(operation, condition ? 1 : 2);
    return converted(chosen, static_cast<kind>(operation.signature.index()));
  }
  template <typename R, typename L1, typename L2>
  value operator()(plan::Operation<ops::CastTo<R, L1, L2>> const& operation) const {
    return converted(argument(operation, 0), target_kind<R>());
  }
  value converted(value const& source, kind target) const {
    return convert(source, target, [this](std::u16string const& class_name) {
      return scope.data().specifier_of(class_name);
    });
  }

  value operator()(plan::Operation<ops::Is> const& operation) const {
    value const tested_class = argument(operation, 1);
    if (is_null(tested_class)) return null_value();
    if (kind_of(tested_class) != of_set_specifier) fail(7020);
    value const tested = argument(operation, 0);
    if (is_null(tested)) return null_value();
    if (kind_of(tested) != of_object) fail(7020);
    stored_object const* const found = scope.data().find_object(std::get<of_object>(tested).oid);
    if (!found) fail(4272);
    return scope.data()
        .specifier_of(found->class_name)
        .starts_with(std::get<of_set_specifier>(tested_class).text);
  }
  value operator()(plan::Operation<ops::Oid> const& operation) const {
    value const operand = argument(operation, 0);
    if (is_null(operand)) return null_value();
    if (kind_of(operand) != of_object) fail(7020);
    return std::get<of_object>(operand).oid;
  }

  template <typename T>
  value operator()(plan::Column<T> const& column) const {
    if (value const* const known = scope.find(column)) return *known;
    value const object_read = bound(column.table_variable);
    if (is_null(object_read)) return null_value();
    if (kind_of(object_read) != of_object) throw failure{"exception: Unexpected index"};
    stored_object const* const found =
        scope.data().find_object(std::get<of_object>(object_read).oid);
    if (!found) return null_value();
    return found->columns.at(scope.data().position_of(column.column));
  }
  template <typename T>
  value operator()(plan::Derived<T> const& derived) const {
    return bound(derived);
  }
  value operator()(plan::TableVariable const& variable) const { return bound(variable); }
  value bound(PhysicalVariable const& variable) const {
    value const* const found = scope.find(variable);
    if (!found) throw std::logic_error("a plan uses a variable that is not in scope");
    return *found;
  }

  value operator()(plan::Constant const& constant) const {
    return std::visit([this](auto const& content) { return constant_value(content); }, constant);
  }
  template <typename T>
  value constant_value(ops::Parameter<T> const& parameter) const {
    return scope.parameter(parameter.number);
  }
  template <typename T>
  value constant_value(T const& literal) const {
    if constexpr (std::is_same_v<T, QD_OBJ_REF>) {
      if (!scope.data().find_object(literal.oid)) fail(5001);
    }
    return from_engine(literal);
  }
};

}  // namespace

value evaluate(Expression const& expression, environment const& scope) {
  return evaluator{scope}(expression);
}

bool is_true(value const& condition) {
  return truth(condition).value_or(false);
}

value from_engine(bool content) {
  return content;
}
value from_engine(db_string::dt_string const& content) {
  return content.string();
}
value from_engine(unsigned long content) {
  return content;
}
value from_engine(long content) {
  return content;
}
value from_engine(operator_library::Decimal content) {
  return decimal{content.scaled};
}
value from_engine(double content) {
  return content;
}
value from_engine(float content) {
  return content;
}
value from_engine(operator_library::Binary const& content) {
  return binary{content.bytes};
}
value from_engine(QD_OBJ_REF const& content) {
  return object{content.oid};
}
value from_engine(operator_library::SetSpecifier const& content) {
  return set_specifier{content.specifier};
}
value from_engine(operator_library::NullValue) {
  return null_value();
}

}  // namespace reference
