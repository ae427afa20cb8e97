#include "physical_queryplan/plan_printer.h"

#include <charconv>
#include <cstdio>
#include <string_view>
#include <utility>
#include <vector>

#include "db_string/string_encoder.h"

namespace physical_queryplan {

namespace {

using namespace QueryPlan;  // NOLINT: the printer names all of it

// UTF-8 of any UTF-16: an unpaired surrogate shows as its number.
std::string readable(std::u16string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool const high = text[i] >= 0xD800 && text[i] < 0xDC00;
    bool const low = text[i] >= 0xDC00 && text[i] < 0xE000;
    bool const pair = high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
    if (low || (high && !pair)) {
      char number[8];
      std::snprintf(number, sizeof number, "\\u%04X", static_cast<unsigned>(text[i]));
      result += number;
    } else {
      result += encoder::utf16_to_utf8(text.substr(i, pair ? 2 : 1));
      i += pair;
    }
  }
  return result;
}

std::string quoted(std::string_view text) {
  std::string result = "'";
  for (char const character : text) {
    result += character;
    if (character == '\'') result += character;
  }
  return result += '\'';
}

// The shortest decimal that reads back as the number, always with a sign of not being an integer.
template <typename F>
std::string floating(F number) {
  char digits[64];
  auto const [end, error] = std::to_chars(digits, digits + sizeof digits, number);
  std::string text(digits, end);
  if (text.find_first_not_of("-0123456789") == std::string::npos) text += ".0";
  return text;
}

std::string literal(bool content) {
  return content ? "TRUE" : "FALSE";
}
std::string literal(db_string::dt_string const& content) {
  return quoted(readable(content.string()));
}
std::string literal(unsigned long content) {
  return std::to_string(content) + 'u';
}
std::string literal(long content) {
  return std::to_string(content);
}
std::string literal(operator_library::Decimal content) {
  unsigned long const magnitude = content.scaled < 0
                                      ? 0UL - static_cast<unsigned long>(content.scaled)
                                      : static_cast<unsigned long>(content.scaled);
  std::string fraction = std::to_string(magnitude % 1'000'000);
  fraction.insert(0, 6 - fraction.size(), '0');
  return (content.scaled < 0 ? "-" : "") + std::to_string(magnitude / 1'000'000) + '.' + fraction;
}
std::string literal(double content) {
  return floating(content);
}
std::string literal(float content) {
  return floating(content) + 'f';
}
std::string literal(operator_library::Binary const& content) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text = "x'";
  for (unsigned char const byte : content.bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text += '\'';
}
std::string literal(QD_OBJ_REF const& content) {
  return '@' + std::to_string(content.oid);
}
std::string literal(operator_library::SetSpecifier const& content) {
  return "class " + quoted(readable(content.specifier));
}
std::string literal(operator_library::NullValue) {
  return "NULL";
}
template <typename T>
std::string literal(operator_library::Parameter<T> const& parameter) {
  return '$' + std::to_string(parameter.number);
}

// How an operation is written: between its two operands, or before the list of its arguments.
template <typename Tag>
inline constexpr char const* infix = nullptr;
template <typename Tag>
inline constexpr char const* function = nullptr;
// clang-format off
template <> inline constexpr char const* infix<operator_library::Equal> = "=";
template <> inline constexpr char const* infix<operator_library::NotEqual> = "<>";
template <> inline constexpr char const* infix<operator_library::LessThanOrEqual> = "<=";
template <> inline constexpr char const* infix<operator_library::LessThan> = "<";
template <> inline constexpr char const* infix<operator_library::GreaterThan> = ">";
template <> inline constexpr char const* infix<operator_library::GreaterThanOrEqual> = ">=";
template <> inline constexpr char const* infix<operator_library::AndOperator> = "AND";
template <> inline constexpr char const* infix<operator_library::OrOperator> = "OR";
template <> inline constexpr char const* infix<operator_library::XorOperator> = "XOR";
template <> inline constexpr char const* infix<operator_library::PlusOperator> = "+";
template <> inline constexpr char const* infix<operator_library::MinusOperator> = "-";
template <> inline constexpr char const* infix<operator_library::MultiplyOperator> = "*";
template <> inline constexpr char const* infix<operator_library::DivideOperator> = "/";
template <> inline constexpr char const* infix<operator_library::Like> = "LIKE";
template <> inline constexpr char const* infix<operator_library::Is> = "IS";
template <> inline constexpr char const* function<operator_library::NotOperator> = "not";
template <> inline constexpr char const* function<operator_library::IsNullOperator> = "is_null";
template <> inline constexpr char const* function<operator_library::IsNotNullOperator> = "is_not_null";
template <> inline constexpr char const* function<operator_library::Negate> = "negate";
template <> inline constexpr char const* function<operator_library::StartsWith> = "starts_with";
template <> inline constexpr char const* function<operator_library::IfOperator> = "if";
template <> inline constexpr char const* function<operator_library::Concat> = "concat";
template <> inline constexpr char const* function<operator_library::Oid> = "oid";
template <> inline constexpr char const* function<operator_library::LikeStartsWith> = "like_prefix";
template <> inline constexpr char const* function<operator_library::detail::cast_to_bool> = "to_bool";
template <> inline constexpr char const* function<operator_library::detail::cast_to_unsigned> = "to_unsigned";
template <> inline constexpr char const* function<operator_library::detail::cast_to_signed> = "to_signed";
template <> inline constexpr char const* function<operator_library::detail::cast_to_decimal> = "to_decimal";
template <> inline constexpr char const* function<operator_library::detail::cast_to_float> = "to_float";
template <> inline constexpr char const* function<operator_library::detail::cast_to_double> = "to_double";
template <> inline constexpr char const* function<operator_library::detail::cast_to_string> = "to_string";
template <> inline constexpr char const* function<operator_library::detail::cast_to_set_specifier> = "to_class";
template <> inline constexpr char const* function<operator_library::Sum> = "sum";
template <> inline constexpr char const* function<operator_library::Count> = "count";
template <> inline constexpr char const* function<operator_library::CountStar> = "count_star";
template <> inline constexpr char const* function<operator_library::Max> = "max";
template <> inline constexpr char const* function<operator_library::Min> = "min";
template <> inline constexpr char const* function<operator_library::Avg> = "avg";
template <> inline constexpr char const* function<operator_library::CountDistinctSingle> = "count_distinct";
template <> inline constexpr char const* function<operator_library::CountDistinctVariadric> = "count_distinct_rows";
// clang-format on

// Writes a plan line by line, naming variables as they come.
class printer {
 public:
  std::string text;

  void plan(PredicateVariant const& node) {
    std::visit([this](auto const& alternative) { (*this)(alternative); }, node.variant);
  }

  std::string expression(Expression const& source) {
    return std::visit([this](auto const& alternative) { return written(alternative); },
                      source.variant);
  }

  void operator()(Join<shared_classes::Inner> const& node) {
    line("Join inner");
    below(node.left, node.right);
  }
  void operator()(Join<shared_classes::Left> const& node) {
    line("Join left");
    below(node.left, node.right);
  }
  void operator()(FullJoin const& node) {
    line(node.condition ? "Join full on " + expression(*node.condition) : "Join full");
    below(node.left, node.right);
  }
  void operator()(Scan const& node) {
    line("Scan " + written(node.table_variable) + " = " +
         readable(node.table_variable.table.FullName()) + " by " + readable(node.index.FullName()) +
         (node.ascending ? " ascending" : " descending"));
    ++depth_;
    std::vector<meta_data::IndexColumn> const columns =
        node.bounds.empty() ? std::vector<meta_data::IndexColumn>() : node.index.GetColumns();
    for (std::size_t i = 0; i < node.bounds.size(); ++i) {
      std::string const name = i < columns.size() ? last_part(columns[i].ToColumn().FullName())
                                                  : "column " + std::to_string(i);
      column_bounds(name, node.bounds[i]);
    }
    --depth_;
  }
  void operator()(Filter const& node) {
    line("Filter " + expression(node.condition));
    below(node.child);
  }
  void operator()(Transform const& node) {
    line("Transform " + list(node.outputs));
    below(node.child);
  }
  void operator()(GenerativeAssignment const& node) {
    line("Row " + variable(node.variable) + " := " + expression(node.expression));
  }
  void operator()(Extend const& node) {
    line("Extend");
    aliases(node.aliases);
    below(node.child);
  }
  void operator()(Aggregation const& node) {
    line("Aggregate");
    ++depth_;
    for (AggregateVariant const& aggregate : node.aggregates) {
      std::visit([this](auto const& alternative) { aggregate_line(alternative); }, aggregate);
    }
    --depth_;
    aliases(node.group_by, "by ");
    below(node.child);
  }
  void operator()(OrderBy const& node) {
    std::string keys;
    for (OrderBy::Key const& key : node.keys) {
      keys += (keys.empty() ? " " : ", ") + expression(key.expression) +
              (key.ascending ? " ascending" : " descending");
    }
    line("Order by" + keys);
    below(node.child);
  }
  void operator()(LimitOffset const& node) {
    std::string const limit = node.limit ? " limit " + expression(*node.limit) : "";
    std::string const offset = node.offset ? " offset " + expression(*node.offset) : "";
    line("Limit" + limit + offset);
    below(node.child);
  }
  void operator()(Union const& node) {
    line("Union all");
    below(node.left, node.right);
  }

 private:
  void line(std::string const& content) {
    text.append(2 * static_cast<std::size_t>(depth_), ' ');
    text += content;
    text += '\n';
  }

  template <typename... Child>
  void below(Child const&... child) {
    ++depth_;
    (plan(*child), ...);
    --depth_;
  }

  void aliases(std::vector<Alias> const& list, std::string const& label = "") {
    ++depth_;
    for (Alias const& alias : list) {
      std::string name = variable(alias.variable);
      if (auto const* const object = std::get_if<TableVariable>(&alias.variable)) {
        name += " = " + readable(object->table.FullName());
      }
      line(label + name + " := " + expression(alias.expression));
    }
    --depth_;
  }

  template <typename Tag>
  void aggregate_line(AggregateOperator<Tag> const& aggregate) {
    std::string const name =
        std::visit([this](auto const& output) { return written(output); }, aggregate.output);
    line(name + " := " + function<Tag> + '(' + list(aggregate.arguments) + ')');
  }

  // In the order in which the scan applies them.
  void column_bounds(std::string const& column, Scan::ColBounds const& bounds) {
    auto const lines = [&](std::set<Scan::Bound> const& set, char const* relation) {
      for (Scan::Bound const& bound : set) {
        line(column + ' ' + relation + ' ' + expression(bound.value) +
             (bound.exclude_null ? ", not NULL" : ""));
      }
    };
    lines(bounds.equal, "=");
    lines(bounds.greater, ">");
    lines(bounds.greater_or_equal, ">=");
    lines(bounds.less, "<");
    lines(bounds.less_or_equal, "<=");
    lines(bounds.starts_with, "starts with");
  }

  std::string list(std::vector<Expression> const& expressions) {
    std::string result;
    for (Expression const& element : expressions) {
      if (!result.empty()) result += ", ";
      result += expression(element);
    }
    return result;
  }

  std::string variable(PhysicalVariable const& source) {
    return std::visit([this](auto const& alternative) { return written(alternative); }, source);
  }

  std::string written(TableVariable const& source) {
    return numbered('t', table_variables_, source);
  }
  template <typename T>
  std::string written(Column<T> const& source) {
    std::string const table = written(source.table_variable);
    return table + '.' + last_part(source.column.FullName());
  }
  template <typename T>
  std::string written(Derived<T> const& source) {
    return numbered('d', derived_values_, PhysicalVariable(source));
  }
  std::string written(Constant const& source) {
    return std::visit([](auto const& content) { return literal(content); }, source);
  }
  template <typename Tag>
  std::string written(Operation<Tag> const& source) {
    if constexpr (infix<Tag> != nullptr) {
      if (source.arguments.size() == 2) {
        std::string const left = expression(source.arguments[0]);
        std::string const right = expression(source.arguments[1]);
        return '(' + left + ' ' + infix<Tag> + ' ' + right + ')';
      }
      return std::string("(") + infix<Tag> + ")(" + list(source.arguments) + ')';
    } else {
      return std::string(function<Tag>) + '(' + list(source.arguments) + ')';
    }
  }

  // The name of a variable: `letter` and the place of its first appearance.
  template <typename Variable>
  static std::string numbered(char letter, std::vector<Variable>& seen, Variable const& wanted) {
    std::size_t position = 0;
    while (position < seen.size() && !(seen[position] == wanted)) ++position;
    if (position == seen.size()) seen.push_back(wanted);
    return letter + std::to_string(position + 1);
  }

  static std::string last_part(std::u16string const& dotted_name) {
    return readable(std::u16string_view(dotted_name).substr(dotted_name.rfind(u'.') + 1));
  }

  int depth_ = 0;
  std::vector<TableVariable> table_variables_;
  std::vector<PhysicalVariable> derived_values_;
};

}  // namespace

std::string Print(PredicateVariant const& plan) {
  printer to;
  to.plan(plan);
  return std::move(to.text);
}

std::string Print(Expression const& expression) {
  return printer().expression(expression);
}

}  // namespace physical_queryplan
