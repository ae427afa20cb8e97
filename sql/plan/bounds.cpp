#include "sql/plan/bounds.h"

#include <algorithm>
#include <optional>

#include "like/like.h"
#include "sql/algebra/operations.h"
#include "sql/plan/literals.h"

namespace qd::sql::planning {

using namespace physical_queryplan::QueryPlan;  // NOLINT: visitors name most of it
using algebra::kind;
namespace library = operator_library;

namespace {

// Shares of rows that ranges are taken to hold.
constexpr double one_sided_share = 0.3;
constexpr double prefix_share = 0.02;
constexpr double prefix_of_parameter_share = 0.2;
constexpr double null_share = 0.1;
constexpr double not_null_share = 0.9;

// The relation with its sides exchanged.
bound_kind mirrored(bound_kind kind) {
  switch (kind) {
    case bound_kind::less:
      return bound_kind::greater;
    case bound_kind::less_or_equal:
      return bound_kind::greater_or_equal;
    case bound_kind::greater:
      return bound_kind::less;
    case bound_kind::greater_or_equal:
      return bound_kind::less_or_equal;
    default:
      return kind;
  }
}

// Whether LIKE takes the pattern: every backslash stands before what it can escape.
bool is_valid_pattern(std::u16string const& pattern) {
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != u'\\') continue;
    if (++i == pattern.size()) return false;
    if (pattern[i] != u'%' && pattern[i] != u'_' && pattern[i] != u'\\') return false;
  }
  return true;
}

void collect_alternatives(Expression const& expression, std::vector<Expression const*>& found) {
  if (auto const* sides = operands_of<library::OrOperator>(expression)) {
    for (Expression const& side : *sides) collect_alternatives(side, found);
  } else {
    found.push_back(&expression);
  }
}

class finder {
 public:
  finder(table_info const& table, TableVariable const& variable, variable_numbers& numbers)
      : table_(table), variable_(variable), numbers_(numbers), own_(numbers.of(variable)) {}

  // Operations without an overload of `of` are no bounds, unless they are a boolean column.
  std::optional<bound> find(Expression const& expression) {
    return std::visit(
        [&]<typename T>(T const& alternative) -> std::optional<bound> {
          if constexpr (requires { this->of(alternative, alternative.arguments); }) {
            return this->of(alternative, alternative.arguments);
          } else {
            return truth(expression, true);
          }
        },
        expression.variant);
  }

  variable_number own() const { return own_; }

 private:
  using operands = std::vector<Expression>;

  std::optional<bound> of(Operation<library::Equal> const&, operands const& sides) {
    return comparison(bound_kind::equal, sides);
  }
  std::optional<bound> of(Operation<library::LessThan> const&, operands const& sides) {
    return comparison(bound_kind::less, sides);
  }
  std::optional<bound> of(Operation<library::LessThanOrEqual> const&, operands const& sides) {
    return comparison(bound_kind::less_or_equal, sides);
  }
  std::optional<bound> of(Operation<library::GreaterThan> const&, operands const& sides) {
    return comparison(bound_kind::greater, sides);
  }
  std::optional<bound> of(Operation<library::GreaterThanOrEqual> const&, operands const& sides) {
    return comparison(bound_kind::greater_or_equal, sides);
  }
  std::optional<bound> of(Operation<library::NotOperator> const&, operands const& operand) {
    return truth(operand[0], false);
  }
  // `condition IS TRUE`: of a row it asks no more than the condition does.
  std::optional<bound> of(Operation<library::IfOperator> const&, operands const& parts) {
    bool const is_test = algebra::equal(parts[1], algebra::boolean_literal(true)) &&
                         algebra::equal(parts[2], algebra::boolean_literal(false));
    return is_test ? find(parts[0]) : std::nullopt;
  }
  std::optional<bound> of(Operation<library::IsNullOperator> const&, operands const& operand) {
    return null_test(bound_kind::equal, operand[0], null_share);
  }
  std::optional<bound> of(Operation<library::IsNotNullOperator> const&, operands const& operand) {
    // Above NULL.
    return null_test(bound_kind::greater, operand[0], not_null_share);
  }
  std::optional<bound> of(Operation<library::StartsWith> const&, operands const& sides) {
    std::optional<std::size_t> const column = column_of(sides[0]);
    if (!column || !is_operand(*column, sides[1])) return std::nullopt;
    return with_value(*column, bound_kind::starts_with, sides[1], prefix_share);
  }
  std::optional<bound> of(Operation<library::Like> const&, operands const& sides) {
    std::optional<std::size_t> const column = column_of(sides[0]);
    if (!column) return std::nullopt;
    if (std::optional<std::u16string> const pattern = literal_text(sides[1])) {
      return like(*column, *pattern);
    }
    // The rows of a join would each have a pattern of their own, most of them without a prefix.
    if (!algebra::is_constant(sides[1])) return std::nullopt;
    Operation<library::LikeStartsWith> prefix{{}, {}};
    prefix.arguments.push_back(sides[1]);
    bound result = with_value(*column, bound_kind::starts_with, Expression(std::move(prefix)),
                              prefix_of_parameter_share);
    result.exact = false;
    return result;
  }
  std::optional<bound> of(Operation<library::OrOperator> const&, operands const& sides) {
    std::vector<Expression const*> alternatives;
    for (Expression const& side : sides) collect_alternatives(side, alternatives);
    std::optional<bound> result;
    for (Expression const* each : alternatives) {
      auto const* const equal = operands_of<library::Equal>(*each);
      std::optional<bound> next = equal ? comparison(bound_kind::equal, *equal) : std::nullopt;
      if (!next || (result && result->column != next->column)) return std::nullopt;
      bool const holds_never =
          equals_no_key(table_.columns[next->column].kind, next->values.front());
      if (!next->pins && !holds_never) return std::nullopt;
      if (!result || (!result->pins && next->pins)) {
        result = std::move(next);
      } else if (next->pins) {
        result->values.push_back(std::move(next->values.front()));
      }
    }
    // Literals of one kind that is not floating are equal exactly when their contents are.
    std::vector<Expression>& values = result->values;
    std::sort(values.begin(), values.end(), [](Expression const& left, Expression const& right) {
      return Compare(left, right) < 0;
    });
    values.erase(std::unique(values.begin(), values.end(),
                             [](Expression const& left, Expression const& right) {
                               return algebra::equal(left, right);
                             }),
                 values.end());
    return result;
  }

  std::optional<bound> comparison(bound_kind kind, operands const& sides) {
    if (std::optional<std::size_t> const column = column_of(sides[0])) {
      if (is_operand(*column, sides[1])) return with_value(*column, kind, sides[1]);
    }
    if (std::optional<std::size_t> const column = column_of(sides[1])) {
      if (is_operand(*column, sides[0])) return with_value(*column, mirrored(kind), sides[0]);
    }
    return std::nullopt;
  }

  // A boolean column, or its negation, as a condition.
  std::optional<bound> truth(Expression const& expression, bool wanted) {
    std::optional<std::size_t> const column = column_of(expression);
    if (!column || table_.columns[*column].kind != kind::boolean) return std::nullopt;
    return with_value(*column, bound_kind::equal, algebra::boolean_literal(wanted));
  }

  std::optional<bound> null_test(bound_kind kind, Expression const& operand, double share) {
    std::optional<std::size_t> const column = column_of(operand);
    if (!column) return std::nullopt;
    bound result = with_value(*column, kind, algebra::null_literal(), share);
    result.exclude_null = false;
    result.pins = kind == bound_kind::equal;
    return result;
  }

  std::optional<bound> like(std::size_t column, std::u16string const& pattern) {
    if (!is_valid_pattern(pattern)) return std::nullopt;
    if (std::optional<std::u16string> const text = like::ExactMatch(pattern)) {
      return with_value(column, bound_kind::equal, text_literal(*text));
    }
    std::optional<std::u16string> const prefix = like::StartsWith(pattern);
    if (!prefix) return std::nullopt;
    bound result = with_value(column, bound_kind::starts_with, text_literal(*prefix), prefix_share);
    result.exact = like::AbsorbableStartsWith(pattern).has_value();
    return result;
  }

  bound with_value(std::size_t column, bound_kind kind, Expression const& value,
                   double share = one_sided_share) {
    bound result{.condition = 0,
                 .column = column,
                 .kind = kind,
                 .values = {},
                 .uses = numbers_.uses(value),
                 .exclude_null = true,
                 .exact = true,
                 .pins = false,
                 .share = share};
    std::optional<Expression> literal = literal_of_kind(table_.columns[column].kind, value);
    result.pins = literal && kind == bound_kind::equal;
    result.values.push_back(literal ? std::move(*literal) : value);
    return result;
  }

  // The number of the table's column that the expression is.
  std::optional<std::size_t> column_of(Expression const& expression) const {
    return std::visit(
        [this]<typename T>(T const& alternative) -> std::optional<std::size_t> {
          if constexpr (requires { alternative.table_variable; }) {
            if (!(alternative.table_variable == variable_)) return std::nullopt;
            auto const found = std::find_if(
                table_.columns.begin(), table_.columns.end(),
                [&](column_info const& each) { return each.column == alternative.column; });
            if (found == table_.columns.end()) return std::nullopt;
            return static_cast<std::size_t>(found - table_.columns.begin());
          } else if constexpr (std::is_same_v<T, TableVariable>) {
            // The first column of every table is the reference to its row.
            return alternative == variable_ ? std::optional<std::size_t>(0) : std::nullopt;
          } else {
            return std::nullopt;
          }
        },
        expression.variant);
  }

  // Whether keys of the column can be made of the operand's values: of its own kind, of another
  // numeric kind, or NULL; and whether it is known before the table's rows are.
  bool is_operand(std::size_t column, Expression const& value) {
    kind const own = table_.columns[column].kind;
    kind const other = algebra::kind_of(value);
    auto const is_number = [](kind each) {
      return each == kind::boolean || algebra::is_numeric(each);
    };
    bool const fits = own == other || other == kind::null || (is_number(own) && is_number(other));
    return fits && !numbers_.uses(value).has(own_);
  }

  table_info const& table_;
  TableVariable const& variable_;
  variable_numbers& numbers_;
  variable_number own_;
};

}  // namespace

std::vector<bound> find_bounds(table_info const& table, TableVariable const& variable,
                               std::span<condition const> conditions, variable_numbers& numbers) {
  std::vector<bound> bounds;
  finder find(table, variable, numbers);
  for (std::size_t i = 0; i < conditions.size(); ++i) {
    if (!conditions[i].uses.has(find.own())) continue;
    std::optional<bound> found = find.find(conditions[i].expression);
    if (!found || (i > 0 && can_fail(found->values.front()))) continue;
    found->condition = i;
    bounds.push_back(std::move(*found));
  }
  return bounds;
}

}  // namespace qd::sql::planning
