// Signs, arithmetic, AND, OR, NOT and ||.
#include "sql/bind/expression_binder.h"
#include "sql/bind/literals.h"

namespace qd::sql {

using algebra::Expression;
using algebra::kind;

namespace {

char const* symbol(syntax::binary_operator operation) {
  switch (operation) {
    case syntax::binary_operator::add:
      return "+";
    case syntax::binary_operator::subtract:
      return "-";
    case syntax::binary_operator::multiply:
      return "*";
    case syntax::binary_operator::divide:
      return "/";
    case syntax::binary_operator::equal:
      return "=";
    case syntax::binary_operator::not_equal:
      return "<>";
    case syntax::binary_operator::less:
      return "<";
    case syntax::binary_operator::less_or_equal:
      return "<=";
    case syntax::binary_operator::greater:
      return ">";
    case syntax::binary_operator::greater_or_equal:
      return ">=";
    case syntax::binary_operator::concatenate:
      return "||";
    case syntax::binary_operator::logical_and:
      return "AND";
    case syntax::binary_operator::logical_or:
      return "OR";
  }
  return "";
}

char const* symbol(algebra::arithmetic operation) {
  switch (operation) {
    case algebra::arithmetic::add:
      return "+";
    case algebra::arithmetic::subtract:
      return "-";
    case algebra::arithmetic::multiply:
      return "*";
    case algebra::arithmetic::divide:
      return "/";
  }
  return "";
}

}  // namespace

Expression expression_binder::bind_negative(syntax::expression const& operand,
                                            surroundings const& around, text_position position) {
  if (auto const* number = std::get_if<syntax::integer_literal>(&operand.content)) {
    return integer_value(number->digits, true, position);
  }
  if (auto const* number = std::get_if<syntax::decimal_literal>(&operand.content)) {
    return decimal_value(number->digits, true, position);
  }
  if (auto const* number = std::get_if<syntax::floating_literal>(&operand.content)) {
    return floating_value(number->digits, true, position);
  }
  Expression value = with_kind(bind(operand, around), kind::signed_integer);
  kind own = algebra::kind_of(value);
  if (own == kind::null) return value;  // NULL negated.
  if (!algebra::is_numeric(own)) {
    refuse_kind(std::string("- takes numbers, not ") + algebra::kind_name(own), position);
  }
  if (own == kind::unsigned_integer) own = kind::signed_integer;
  return algebra::negate(own, std::move(value));
}

Expression expression_binder::bind_content(syntax::unary const& unary, surroundings const& around,
                                           text_position position) {
  switch (unary.operation) {
    case syntax::unary_operator::minus:
      return bind_negative(*unary.operand, around, position);
    case syntax::unary_operator::plus: {
      Expression value = with_kind(bind(*unary.operand, around), kind::signed_integer);
      kind const own = algebra::kind_of(value);
      if (own != kind::null && !algebra::is_numeric(own)) {
        refuse_kind(std::string("+ takes numbers, not ") + algebra::kind_name(own), position);
      }
      return value;
    }
    case syntax::unary_operator::logical_not:
      break;
  }
  Expression condition = bind(*unary.operand, around);
  return algebra::logical_not(as_boolean(std::move(condition), "NOT", position));
}

Expression expression_binder::calculated(algebra::arithmetic operation, Expression left,
                                         Expression right, text_position position) {
  left = with_kind(std::move(left), algebra::kind_of(right));
  right = with_kind(std::move(right), algebra::kind_of(left));
  kind result = kind::null;
  for (Expression const* operand : {&left, &right}) {
    kind const own = algebra::kind_of(*operand);
    if (own == kind::null) continue;
    if (!algebra::is_numeric(own)) {
      refuse_kind(std::string(symbol(operation)) + " takes numbers, not " + algebra::kind_name(own),
                  position);
    }
    result = common_kind(result, own, symbol(operation), position);
  }
  // Unsigned numbers are calculated with as signed ones, and so is what has no kind.
  if (result == kind::unsigned_integer || result == kind::null) result = kind::signed_integer;
  left = with_kind(std::move(left), result);
  right = with_kind(std::move(right), result);
  return algebra::calculate(operation, result, std::move(left), std::move(right));
}

Expression expression_binder::bind_content(syntax::binary const& binary, surroundings const& around,
                                           text_position position) {
  Expression left = bind(*binary.left, around);
  Expression right = bind(*binary.right, around);
  using written = syntax::binary_operator;
  switch (binary.operation) {
    case written::add:
      return calculated(algebra::arithmetic::add, std::move(left), std::move(right), position);
    case written::subtract:
      return calculated(algebra::arithmetic::subtract, std::move(left), std::move(right), position);
    case written::multiply:
      return calculated(algebra::arithmetic::multiply, std::move(left), std::move(right), position);
    case written::divide:
      return calculated(algebra::arithmetic::divide, std::move(left), std::move(right), position);
    case written::equal:
      return compared(algebra::comparison::equal, std::move(left), std::move(right), position);
    case written::not_equal:
      return compared(algebra::comparison::not_equal, std::move(left), std::move(right), position);
    case written::less:
      return compared(algebra::comparison::less, std::move(left), std::move(right), position);
    case written::less_or_equal:
      return compared(algebra::comparison::less_or_equal, std::move(left), std::move(right),
                      position);
    case written::greater:
      return compared(algebra::comparison::greater, std::move(left), std::move(right), position);
    case written::greater_or_equal:
      return compared(algebra::comparison::greater_or_equal, std::move(left), std::move(right),
                      position);
    case written::concatenate: {
      std::vector<Expression> texts;
      texts.reserve(2);
      texts.push_back(as_text(std::move(left), "||", position));
      texts.push_back(as_text(std::move(right), "||", position));
      return algebra::concatenate(std::move(texts));
    }
    case written::logical_and:
    case written::logical_or:
      break;
  }
  char const* const name = symbol(binary.operation);
  left = as_boolean(std::move(left), name, position);
  right = as_boolean(std::move(right), name, position);
  return binary.operation == written::logical_and
             ? algebra::logical_and(std::move(left), std::move(right))
             : algebra::logical_or(std::move(left), std::move(right));
}

}  // namespace qd::sql
