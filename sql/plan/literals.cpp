#include "sql/plan/literals.h"

#include <limits>

#include "db_util/int128.h"
#include "physical_queryplan/query_plan.h"

namespace qd::sql::planning {

using namespace physical_queryplan::QueryPlan;  // NOLINT: constants
using algebra::kind;
using operator_library::Decimal;

namespace {

// Every exact number, as a count of millionths.
using millionths = db_util::int128;

template <typename T>
std::optional<millionths> exact_number(T const& content) {
  if constexpr (std::is_same_v<T, Decimal>) {
    return content.scaled;
  } else if constexpr (std::is_same_v<T, bool> || std::is_same_v<T, long> ||
                       std::is_same_v<T, unsigned long>) {
    return static_cast<millionths>(content) * Decimal::scale;
  } else {
    return std::nullopt;
  }
}

bool is_floating(kind tested) {
  return tested == kind::double_float || tested == kind::single_float;
}

std::optional<Expression> number_of_kind(kind wanted, millionths number) {
  if (wanted == kind::decimal) {
    if (number < -Decimal::max_scaled || number > Decimal::max_scaled) return std::nullopt;
    return Constant(Decimal{static_cast<long>(number)});
  }
  if (number % Decimal::scale != 0) return std::nullopt;
  millionths const whole = number / Decimal::scale;
  switch (wanted) {
    case kind::boolean:
      if (whole != 0 && whole != 1) return std::nullopt;
      return Constant(whole == 1);
    case kind::signed_integer:
      if (whole < std::numeric_limits<long>::min() || whole > std::numeric_limits<long>::max()) {
        return std::nullopt;
      }
      return Constant(static_cast<long>(whole));
    case kind::unsigned_integer:
      if (whole < 0 || whole > std::numeric_limits<unsigned long>::max()) return std::nullopt;
      return Constant(static_cast<unsigned long>(whole));
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<Expression> literal_of_kind(kind wanted, Expression const& expression) {
  auto const* const constant = std::get_if<Constant>(&expression.variant);
  if (!constant) return std::nullopt;
  return std::visit(
      [&]<typename T>(T const& content) -> std::optional<Expression> {
        if constexpr (requires { content.number; }) {
          return std::nullopt;  // A parameter.
        } else {
          if (std::optional<millionths> const number = exact_number(content)) {
            return number_of_kind(wanted, *number);
          }
          constexpr bool same_content = std::is_same_v<T, db_string::dt_string> ||
                                        std::is_same_v<T, QD_OBJ_REF> ||
                                        std::is_same_v<T, operator_library::Binary> ||
                                        std::is_same_v<T, operator_library::SetSpecifier>;
          if (same_content && algebra::kind_of(expression) == wanted) return expression;
          return std::nullopt;
        }
      },
      *constant);
}

bool equals_no_key(kind wanted, Expression const& expression) {
  auto const* const constant = std::get_if<Constant>(&expression.variant);
  if (!constant || is_floating(wanted) || literal_of_kind(wanted, expression)) return false;
  return std::visit(
      []<typename T>(T const& content) {
        return std::is_same_v<T, operator_library::NullValue> || exact_number(content).has_value();
      },
      *constant);
}

std::optional<std::u16string> literal_text(Expression const& expression) {
  auto const* const constant = std::get_if<Constant>(&expression.variant);
  auto const* const text = constant ? std::get_if<db_string::dt_string>(constant) : nullptr;
  return text ? std::optional(text->string()) : std::nullopt;
}

Expression text_literal(std::u16string const& content) {
  return Constant(db_string::dt_string(content, false));
}

std::optional<double> literal_count(Expression const& expression) {
  auto const* const constant = std::get_if<Constant>(&expression.variant);
  if (!constant) return std::nullopt;
  if (auto const* count = std::get_if<long>(constant)) return static_cast<double>(*count);
  if (auto const* count = std::get_if<unsigned long>(constant)) return static_cast<double>(*count);
  return std::nullopt;
}

}  // namespace qd::sql::planning
