#include "sql/bind/expression_binder.h"

#include <algorithm>

#include "db_string/string_encoder.h"
#include "like/like.h"
#include "physical_queryplan/query_plan.h"
#include "sql/bind/literals.h"

namespace qd::sql {

using algebra::Expression;
using algebra::kind;
namespace plan = physical_queryplan::QueryPlan;

namespace {

[[noreturn]] void refuse_kind(std::string const& text, text_position position) {
  throw error(error_code::wrong_type, text, position);
}

// The number of the parameter that an expression is, when its kind is open.
std::optional<std::uint32_t> open_parameter(Expression const& value) {
  auto const* const constant = std::get_if<plan::Constant>(&value.variant);
  using unknown = operator_library::Parameter<operator_library::NullValue>;
  auto const* const parameter = constant ? std::get_if<unknown>(constant) : nullptr;
  if (!parameter) return std::nullopt;
  return static_cast<std::uint32_t>(parameter->number);
}

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

// Where a kind stands among the numbers: arithmetic takes place in the higher one's.
int rank(kind numeric) {
  switch (numeric) {
    case kind::unsigned_integer:
      return 0;
    case kind::signed_integer:
      return 1;
    case kind::decimal:
      return 2;
    case kind::single_float:
      return 3;
    default:
      return 4;
  }
}

kind higher(kind left, kind right) {
  return rank(left) < rank(right) ? right : left;
}

kind kind_named(syntax::type_name const& type) {
  using written = syntax::type_name::kind;
  switch (type.type) {
    case written::signed_integer:
      return kind::signed_integer;
    case written::unsigned_integer:
      return kind::unsigned_integer;
    case written::decimal:
      return kind::decimal;
    case written::double_float:
      return kind::double_float;
    case written::single_float:
      return kind::single_float;
    case written::text:
      return kind::text;
    case written::binary:
      return kind::binary;
    case written::boolean:
      return kind::boolean;
    case written::class_reference:
      return kind::reference;
  }
  return kind::null;
}

// A pattern that is written out fails for every text when its escapes do.
void check_pattern(syntax::expression const& pattern) {
  auto const* const literal = std::get_if<syntax::text_literal>(&pattern.content);
  if (!literal) return;
  try {
    ::like::ValidateWildcard(encoder::utf8_to_utf16(literal->text),
                             error_handling::invalid_location);
  } catch (error_handling::QDException const& fault) {
    throw error(fault.code, fault.utf8, pattern.position);
  }
}

// Whether a cast between two kinds has a result for some value. The plan model has casts that always
// fail when they run: from text, from the floating kinds to numeric, from double to real, to text.
bool cast_can_succeed(kind target, kind source) {
  if (!algebra::has_cast(target, source)) return false;
  bool const from_floating = source == kind::double_float || source == kind::single_float;
  if (target == kind::text || source == kind::text || source == kind::binary) return false;
  if (target == kind::decimal && from_floating) return false;
  return !(target == kind::single_float && source == kind::double_float);
}

}  // namespace

void check_list(std::size_t items, char const* what, text_position position) {
  if (items <= max_list_items) return;
  throw error(error_code::limit_exceeded,
              std::string(what) + " has more than " + std::to_string(max_list_items) + " items",
              position);
}

void expression_binder::note_copies(Expression const& copied, std::size_t copies,
                                    text_position position) {
  copied_parts_ += algebra::size_of(copied) * copies;
  if (copied_parts_ > max_copied_parts) {
    throw error(error_code::limit_exceeded,
                "expressions that use an operand several times are nested too deeply", position);
  }
}

Expression expression_binder::bind(syntax::expression const& source, scope const& visible,
                                   char const* place) {
  return bind(source, surroundings{visible, nullptr, place});
}

Expression expression_binder::bind(syntax::expression const& source, scope const& visible,
                                   collected_aggregates& aggregates) {
  return bind(source, surroundings{visible, &aggregates, ""});
}

Expression expression_binder::bind_condition(syntax::expression const& source, scope const& visible,
                                             char const* place) {
  return as_condition(bind(source, visible, place), source.position, place);
}

Expression expression_binder::as_condition(Expression condition, text_position position,
                                           char const* place) {
  return as_boolean(std::move(condition), place, position);
}

Expression expression_binder::bind(syntax::expression const& source, surroundings const& around) {
  return std::visit(
      [&](auto const& content) { return bind_content(content, around, source.position); },
      source.content);
}

std::vector<Expression> expression_binder::bind_all(
    std::vector<syntax::expression_ptr> const& sources, surroundings const& around) {
  std::vector<Expression> bound;
  bound.reserve(sources.size());
  for (syntax::expression_ptr const& source : sources) bound.push_back(bind(*source, around));
  return bound;
}

Expression expression_binder::with_kind(Expression value, kind wanted) {
  std::optional<std::uint32_t> const number = open_parameter(value);
  if (!number || wanted == kind::null) return value;
  kind& known = context_.parameters[*number];
  if (known == kind::null) known = wanted;
  return algebra::parameter(wanted, *number);
}

Expression expression_binder::converted(Expression value, kind target) {
  value = with_kind(std::move(value), target);
  kind const own = algebra::kind_of(value);
  if (own == target) return value;
  if (own == kind::null && !algebra::has_cast(target, own)) {
    return algebra::conditional(target, algebra::boolean_literal(false), algebra::null_literal(),
                                std::move(value));
  }
  return algebra::cast(target, std::move(value));
}

Expression expression_binder::enforced(Expression value, kind target) {
  bool const open = open_parameter(value).has_value();
  value = converted(std::move(value), target);
  return open && algebra::has_cast(target, target) ? algebra::cast(target, std::move(value))
                                                   : std::move(value);
}

kind expression_binder::common_kind(kind left, kind right, char const* what,
                                    text_position position) {
  if (left == right || right == kind::null) return left;
  if (left == kind::null) return right;
  if (algebra::is_numeric(left) && algebra::is_numeric(right)) {
    // A double does not become a real, so both are doubles.
    return higher(left, right);
  }
  refuse_kind(std::string(what) + " cannot be " + algebra::kind_name(left) + " and " +
                  algebra::kind_name(right) + " at once",
              position);
}

kind expression_binder::unify(std::vector<Expression>& values, char const* what,
                              text_position position) {
  kind common = kind::null;
  for (Expression const& value : values) {
    common = common_kind(common, algebra::kind_of(value), what, position);
  }
  if (common == kind::null) common = kind::text;
  for (Expression& value : values) value = with_kind(std::move(value), common);
  return common;
}

algebra::PhysicalVariable expression_binder::new_value(kind kind) {
  return algebra::derived(kind, {++values_, 0, 0, 0});
}

std::u16string expression_binder::referenced_class(Expression const& reference) const {
  if (auto const* table = std::get_if<algebra::TableVariable>(&reference.variant)) {
    return table->table.FullName();
  }
  if (auto const* column = std::get_if<plan::Column<QD_OBJ_REF>>(&reference.variant)) {
    return column->column.ReferencedTable().FullName();
  }
  if (auto const* derived = std::get_if<plan::Derived<QD_OBJ_REF>>(&reference.variant)) {
    auto const known = referenced_classes_.find(derived->identity[0]);
    if (known != referenced_classes_.end()) return known->second;
  }
  return {};
}

void expression_binder::note_referenced_class(algebra::PhysicalVariable const& value,
                                              std::u16string class_name) {
  if (auto const* derived = std::get_if<plan::Derived<QD_OBJ_REF>>(&value)) {
    referenced_classes_[derived->identity[0]] = std::move(class_name);
  }
}

Expression expression_binder::as_text(Expression value, char const* what, text_position position) {
  value = with_kind(std::move(value), kind::text);
  kind const own = algebra::kind_of(value);
  if (own != kind::text && own != kind::null) {
    refuse_kind(std::string(what) + " takes text, not " + algebra::kind_name(own), position);
  }
  return value;
}

Expression expression_binder::as_boolean(Expression value, char const* what,
                                         text_position position) {
  value = with_kind(std::move(value), kind::boolean);
  kind const own = algebra::kind_of(value);
  if (own != kind::boolean && own != kind::null) {
    refuse_kind(std::string(what) + " takes a condition, not " + algebra::kind_name(own), position);
  }
  return value;
}

Expression expression_binder::equality(Expression left, Expression right, text_position position) {
  return compared(algebra::comparison::equal, std::move(left), std::move(right), position);
}

Expression expression_binder::first_present(Expression left, Expression right,
                                            text_position position) {
  kind const common = common_kind(algebra::kind_of(left), algebra::kind_of(right),
                                  "the columns of USING", position);
  Expression present = algebra::null_test(true, left);
  return algebra::conditional(common, std::move(present), std::move(left), std::move(right));
}

// Literals, parameters and names.

Expression expression_binder::bind_content(syntax::null_literal const&, surroundings const&,
                                           text_position) {
  return algebra::null_literal();
}
Expression expression_binder::bind_content(syntax::boolean_literal const& literal,
                                           surroundings const&, text_position) {
  return algebra::boolean_literal(literal.truth);
}
Expression expression_binder::bind_content(syntax::integer_literal const& literal,
                                           surroundings const&, text_position position) {
  return integer_value(literal.digits, false, position);
}
Expression expression_binder::bind_content(syntax::decimal_literal const& literal,
                                           surroundings const&, text_position position) {
  return decimal_value(literal.digits, false, position);
}
Expression expression_binder::bind_content(syntax::floating_literal const& literal,
                                           surroundings const&, text_position position) {
  return floating_value(literal.digits, false, position);
}
Expression expression_binder::bind_content(syntax::text_literal const& literal, surroundings const&,
                                           text_position position) {
  return text_value(literal.text, position);
}
Expression expression_binder::bind_content(syntax::binary_literal const& literal,
                                           surroundings const&, text_position) {
  return binary_value(literal.bytes);
}

Expression expression_binder::bind_content(syntax::parameter const& parameter, surroundings const&,
                                           text_position position) {
  constexpr std::uint32_t most = 32767;  // Positions that a plan can name.
  if (parameter.number == 0 || parameter.number > most) {
    throw error(error_code::limit_exceeded, "parameters are numbered from $1 to $32767", position);
  }
  if (context_.parameters.size() < parameter.number) {
    context_.parameters.resize(parameter.number, kind::null);
  }
  // What another place told about it does not bind this one: any value may come.
  return algebra::parameter(kind::null, parameter.number - 1);
}

Expression expression_binder::bind_content(syntax::column_path const& path,
                                           surroundings const& around, text_position position) {
  return names_.resolve(around.visible, path.parts, position).value;
}

Expression expression_binder::bind_content(syntax::star const&, surroundings const&,
                                           text_position position) {
  throw error(error_code::not_supported, "* can only be an output of SELECT, or count(*)",
              position);
}

// Operators.

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

Expression expression_binder::compared(algebra::comparison operation, Expression left,
                                       Expression right, text_position position) {
  left = with_kind(std::move(left), algebra::kind_of(right));
  right = with_kind(std::move(right), algebra::kind_of(left));
  kind const left_kind = algebra::kind_of(left);
  kind const right_kind = algebra::kind_of(right);
  bool const comparable = left_kind == right_kind || left_kind == kind::null ||
                          right_kind == kind::null ||
                          (algebra::is_numeric(left_kind) && algebra::is_numeric(right_kind));
  if (!comparable) {
    refuse_kind(std::string(algebra::kind_name(left_kind)) + " and " +
                    algebra::kind_name(right_kind) + " do not compare",
                position);
  }
  kind const overload = left_kind == kind::null ? right_kind : left_kind;
  return algebra::compare(operation, overload, std::move(left), std::move(right));
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
    result = result == kind::null ? own : higher(result, own);
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

Expression expression_binder::bind_content(syntax::is_test const& test, surroundings const& around,
                                           text_position position) {
  Expression value = bind(*test.operand, around);
  if (test.what == syntax::test::null) {
    return algebra::null_test(test.negated, with_kind(std::move(value), kind::text));
  }
  value = as_boolean(std::move(value), "IS", position);
  if (test.what == syntax::test::unknown) return algebra::null_test(test.negated, std::move(value));
  if (test.what == syntax::test::false_value) value = algebra::logical_not(std::move(value));
  // A condition that is NULL takes the second branch.
  return algebra::conditional(kind::boolean, std::move(value),
                              algebra::boolean_literal(!test.negated),
                              algebra::boolean_literal(test.negated));
}

Expression expression_binder::bind_content(syntax::in_list const& list, surroundings const& around,
                                           text_position position) {
  Expression const operand = bind(*list.operand, around);
  note_copies(operand, list.items.size(), position);
  std::vector<Expression> alternatives;
  alternatives.reserve(list.items.size());
  for (syntax::expression_ptr const& item : list.items) {
    alternatives.push_back(
        compared(algebra::comparison::equal, operand, bind(*item, around), item->position));
  }
  Expression any = algebra::disjunction(std::move(alternatives));
  return list.negated ? algebra::logical_not(std::move(any)) : any;
}

Expression expression_binder::bind_content(syntax::between const& between,
                                           surroundings const& around, text_position position) {
  Expression operand = bind(*between.operand, around);
  Expression low = bind(*between.low, around);
  Expression high = bind(*between.high, around);
  note_copies(operand, 1, position);
  Expression from =
      compared(algebra::comparison::greater_or_equal, operand, std::move(low), position);
  Expression to =
      compared(algebra::comparison::less_or_equal, std::move(operand), std::move(high), position);
  Expression both = algebra::logical_and(std::move(from), std::move(to));
  return between.negated ? algebra::logical_not(std::move(both)) : both;
}

Expression expression_binder::bind_content(syntax::like const& like, surroundings const& around,
                                           text_position position) {
  Expression text = as_text(bind(*like.operand, around), "LIKE", position);
  Expression pattern = as_text(bind(*like.pattern, around), "LIKE", position);
  check_pattern(*like.pattern);
  Expression match = algebra::like(std::move(text), std::move(pattern));
  return like.negated ? algebra::logical_not(std::move(match)) : match;
}

// Conditionals and casts.

Expression expression_binder::bind_content(syntax::case_expression const& source,
                                           surroundings const& around, text_position position) {
  check_list(source.branches.size(), "CASE", position);
  std::optional<Expression> operand;
  if (source.operand) {
    operand = bind(*source.operand, around);
    note_copies(*operand, source.branches.size(), position);
  }
  std::vector<Expression> conditions;
  std::vector<Expression> results;
  for (syntax::case_expression::branch const& branch : source.branches) {
    Expression condition = bind(*branch.condition, around);
    conditions.push_back(
        operand ? compared(algebra::comparison::equal, *operand, std::move(condition),
                           branch.condition->position)
                : as_boolean(std::move(condition), "WHEN", branch.condition->position));
    results.push_back(bind(*branch.result, around));
  }
  results.push_back(source.otherwise ? bind(*source.otherwise, around) : algebra::null_literal());
  kind const common = unify(results, "the results of CASE", position);
  Expression value = std::move(results.back());
  for (std::size_t i = conditions.size(); i-- > 0;) {
    value = algebra::conditional(common, std::move(conditions[i]), std::move(results[i]),
                                 std::move(value));
  }
  return value;
}

Expression expression_binder::bind_content(syntax::cast const& cast, surroundings const& around,
                                           text_position position) {
  if (cast.target.type == syntax::type_name::kind::class_reference) {
    throw error(error_code::not_supported, "a cast to a class is not supported",
                cast.target.position);
  }
  kind const target = kind_named(cast.target);
  Expression value = bind(*cast.operand, around);
  kind const own = algebra::kind_of(value);
  if (own == target) return value;
  if (own == kind::null) return enforced(std::move(value), target);
  if (!cast_can_succeed(target, own)) {
    refuse_kind(std::string("there is no cast from ") + algebra::kind_name(own) + " to " +
                    algebra::kind_name(target),
                position);
  }
  return algebra::cast(target, std::move(value));
}

}  // namespace qd::sql
