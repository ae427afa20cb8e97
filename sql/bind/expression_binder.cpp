#include "sql/bind/expression_binder.h"

#include "physical_queryplan/query_plan.h"
#include "sql/bind/literals.h"

namespace qd::sql {

using algebra::Expression;
using algebra::kind;
namespace plan = physical_queryplan::QueryPlan;

namespace {

// The number of the parameter that an expression is, when its kind is open.
std::optional<std::uint32_t> open_parameter(Expression const& value) {
  auto const* const constant = std::get_if<plan::Constant>(&value.variant);
  using unknown = operator_library::Parameter<operator_library::NullValue>;
  auto const* const parameter = constant ? std::get_if<unknown>(constant) : nullptr;
  if (!parameter) return std::nullopt;
  return static_cast<std::uint32_t>(parameter->number);
}

// Whether it is NULL, or a choice between NULLs, as NULL of a kind is written.
bool is_always_null(Expression const& value) {
  using choice = plan::Operation<operator_library::IfOperator>;
  if (auto const* between = std::get_if<choice>(&value.variant)) {
    return is_always_null(between->arguments[1]) && is_always_null(between->arguments[2]);
  }
  auto const* const constant = std::get_if<plan::Constant>(&value.variant);
  return constant && std::holds_alternative<operator_library::NullValue>(*constant);
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

}  // namespace

void refuse_kind(std::string const& text, text_position position) {
  throw error(error_code::wrong_type, text, position);
}

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
  if (auto const* choice =
          std::get_if<plan::Operation<operator_library::IfOperator>>(&reference.variant)) {
    Expression const& then = choice->arguments[1];
    Expression const& otherwise = choice->arguments[2];
    if (is_always_null(then)) return referenced_class(otherwise);
    std::u16string class_name = referenced_class(then);
    bool const is_only = is_always_null(otherwise) || class_name == referenced_class(otherwise);
    return is_only ? class_name : std::u16string();
  }
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

}  // namespace qd::sql
