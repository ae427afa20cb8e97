#include "physical_to_exec/convert_vars.h"

#include <array>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "sql_executor/operators/arithmetic.h"
#include "sql_executor/operators/cast.h"
#include "sql_executor/operators/comparison_operators.h"
#include "sql_executor/operators/conditional.h"
#include "sql_executor/operators/context_reads.h"
#include "sql_executor/operators/logic.h"
#include "sql_executor/operators/object.h"
#include "sql_executor/operators/text.h"

namespace physical_to_exec {

namespace {

namespace plan_model = physical_queryplan::QueryPlan;
namespace operators = qd::sql_executor::operators;
using operators::operator_ptr;
using qd::sql_executor::ContextSlot;
using qd::sql_executor::value;
using qd::sql_executor::value_type;

// Names the operator class of an operation with one or with two operands.
template <typename Operator>
struct unary {
  using type = Operator;
};
template <typename Operator>
struct binary {
  using type = Operator;
};

// The operator class of each operation whose signature does not matter.
template <typename Tag>
struct operator_of;
// clang-format off
template <> struct operator_of<operator_library::Equal> : binary<operators::equal> {};
template <> struct operator_of<operator_library::NotEqual> : binary<operators::not_equal> {};
template <> struct operator_of<operator_library::LessThanOrEqual> : binary<operators::less_than_or_equal> {};
template <> struct operator_of<operator_library::LessThan> : binary<operators::less_than> {};
template <> struct operator_of<operator_library::GreaterThan> : binary<operators::greater_than> {};
template <> struct operator_of<operator_library::GreaterThanOrEqual> : binary<operators::greater_than_or_equal> {};
template <> struct operator_of<operator_library::AndOperator> : binary<operators::logical_and> {};
template <> struct operator_of<operator_library::OrOperator> : binary<operators::logical_or> {};
template <> struct operator_of<operator_library::NotOperator> : unary<operators::logical_not> {};
template <> struct operator_of<operator_library::IsNullOperator> : unary<operators::is_null> {};
template <> struct operator_of<operator_library::IsNotNullOperator> : unary<operators::is_not_null> {};
template <> struct operator_of<operator_library::PlusOperator> : binary<operators::addition> {};
template <> struct operator_of<operator_library::MinusOperator> : binary<operators::subtraction> {};
template <> struct operator_of<operator_library::Negate> : unary<operators::unary_negate> {};
template <> struct operator_of<operator_library::DivideOperator> : binary<operators::division> {};
template <> struct operator_of<operator_library::MultiplyOperator> : binary<operators::multiplication> {};
template <> struct operator_of<operator_library::Like> : binary<operators::like> {};
template <> struct operator_of<operator_library::StartsWith> : binary<operators::starts_with> {};
template <> struct operator_of<operator_library::XorOperator> : binary<operators::xor_op> {};
template <> struct operator_of<operator_library::Is> : binary<operators::is> {};
template <> struct operator_of<operator_library::Oid> : unary<operators::oid> {};
template <> struct operator_of<operator_library::LikeStartsWith> : unary<operators::like_starts_with> {};
template <> struct operator_of<operator_library::detail::cast_to_bool> : unary<operators::cast<value_type::boolean>> {};
template <> struct operator_of<operator_library::detail::cast_to_unsigned> : unary<operators::cast<value_type::unsigned_integer>> {};
template <> struct operator_of<operator_library::detail::cast_to_signed> : unary<operators::cast<value_type::signed_integer>> {};
template <> struct operator_of<operator_library::detail::cast_to_decimal> : unary<operators::cast<value_type::decimal>> {};
template <> struct operator_of<operator_library::detail::cast_to_float> : unary<operators::cast<value_type::single_float>> {};
template <> struct operator_of<operator_library::detail::cast_to_double> : unary<operators::cast<value_type::double_float>> {};
template <> struct operator_of<operator_library::detail::cast_to_string> : unary<operators::cast<value_type::string>> {};
template <> struct operator_of<operator_library::detail::cast_to_set_specifier> : unary<operators::cast<value_type::set_specifier>> {};
// clang-format on

template <typename Tag>
constexpr bool takes_two_operands =
    std::is_base_of_v<binary<typename operator_of<Tag>::type>, operator_of<Tag>>;

// How an error names a variable that nothing binds. The text reads no catalogue: a malformed plan
// may name anything.
template <typename T>
std::string describe(plan_model::Derived<T> const& derived) {
  std::string text = "derived value";
  for (std::int32_t const part : derived.identity) text += ' ' + std::to_string(part);
  return text;
}
std::string describe(plan_model::TableVariable const& variable) {
  shared_classes::Position const begin = variable.location.begin;
  return "table variable with record " + std::to_string(variable.table.ref.oid) + " at " +
         std::to_string(begin.line) + ":" + std::to_string(begin.column);
}

// Converts one expression; one overload per alternative.
class expression_converter {
 public:
  expression_converter(std::vector<value>& literals, BoundLayout const& layout, nesting_level level)
      : literals_(literals), layout_(layout), level_(level) {}

  operator_ptr convert(plan_model::Expression const& expression) const {
    return std::visit(*this, expression.variant);
  }

  template <typename Tag>
  operator_ptr operator()(plan_model::Operation<Tag> const& operation) const {
    using operator_class = typename operator_of<Tag>::type;
    if constexpr (takes_two_operands<Tag>) {
      operator_ptr first = argument(operation.arguments, 0);
      operator_ptr second = argument(operation.arguments, 1);
      return std::make_unique<operator_class>(std::move(first), std::move(second));
    } else {
      operator_ptr only = argument(operation.arguments, 0);
      return std::make_unique<operator_class>(std::move(only));
    }
  }

  operator_ptr operator()(
      plan_model::Operation<operator_library::IfOperator> const& operation) const {
    operator_ptr condition = argument(operation.arguments, 0);
    operator_ptr then_branch = argument(operation.arguments, 1);
    operator_ptr else_branch = argument(operation.arguments, 2);
    return std::visit(
        [&]<typename T>(
            operator_library::Signature<T, meta_support::TypeList<bool, T, T>>) -> operator_ptr {
          return std::make_unique<operators::if_op<T>>(std::move(condition), std::move(then_branch),
                                                       std::move(else_branch));
        },
        operation.signature);
  }

  operator_ptr operator()(plan_model::Operation<operator_library::Concat> const& operation) const {
    std::vector<operator_ptr> operands;
    operands.reserve(operation.arguments.size());
    for (plan_model::Expression const& text : operation.arguments) {
      operands.push_back(below().convert(text));
    }
    return std::make_unique<operators::concat>(std::move(operands));
  }

  // A column that a node below has put into the row, or else one that is read from its object.
  template <typename T>
  operator_ptr operator()(plan_model::Column<T> const& column) const {
    if (auto const position = IndexOf(column, layout_)) return read(*position);
    operator_ptr object = bound_variable(column.table_variable);
    unsigned short const layout_id = column.column.InTable().LayoutId();
    unsigned short const column_index = column.column.Index();
    value_type const type = GetColumnType(column.column.Type());
    return std::make_unique<operators::property_read>(type, column_index, layout_id,
                                                      std::move(object));
  }
  template <typename T>
  operator_ptr operator()(plan_model::Derived<T> const& derived) const {
    return bound_variable(derived);
  }
  operator_ptr operator()(plan_model::TableVariable const& variable) const {
    return bound_variable(variable);
  }

  operator_ptr operator()(plan_model::Constant const& constant) const {
    return std::visit([this](auto const& content) { return of_constant(content); }, constant);
  }

 private:
  // The converter of the operands.
  expression_converter below() const { return {literals_, layout_, level_.deeper()}; }

  operator_ptr argument(std::vector<plan_model::Expression> const& arguments,
                        std::size_t index) const {
    return below().convert(arguments.at(index));
  }

  template <typename T>
  operator_ptr of_constant(T const& literal) const {
    return read(MakeLiteralIndex(literals_, literal));
  }
  // No literal: the object's address is looked up at each evaluation.
  operator_ptr of_constant(QD_OBJ_REF const& reference) const {
    return std::make_unique<operators::object_cast>(reference);
  }
  template <typename T>
  operator_ptr of_constant(operator_library::Parameter<T> const& parameter) const {
    return read(qd::sql_executor::parameter_index{narrow_position(parameter.number)});
  }

  template <typename Variable>
  operator_ptr bound_variable(Variable const& variable) const {
    auto const position = IndexOf(variable, layout_);
    if (!position) {
      throw std::invalid_argument("the plan uses a variable that nothing binds: " +
                                  describe(variable));
    }
    return read(*position);
  }

  static operator_ptr read(ContextSlot slot) {
    return std::make_unique<operators::value_from_context>(slot);
  }

  std::vector<value>& literals_;
  BoundLayout const& layout_;
  nesting_level level_;
};

// Each value_type and the catalogue's name for it.
constexpr std::array<std::pair<value_type, meta_data::MetaColumnType>, 10> to_value_type_mapping{{
    {value_type::string, meta_support::TypeIdentity<db_string::dt_string>()},
    {value_type::signed_integer, meta_support::TypeIdentity<long>()},
    {value_type::unsigned_integer, meta_support::TypeIdentity<unsigned long>()},
    {value_type::decimal, meta_support::TypeIdentity<operator_library::Decimal>()},
    {value_type::object_reference, meta_support::TypeIdentity<QD_OBJ_REF>()},
    {value_type::binary, meta_support::TypeIdentity<operator_library::Binary>()},
    {value_type::set_specifier, meta_support::TypeIdentity<operator_library::SetSpecifier>()},
    {value_type::double_float, meta_support::TypeIdentity<double>()},
    {value_type::single_float, meta_support::TypeIdentity<float>()},
    {value_type::boolean, meta_support::TypeIdentity<bool>()},
}};

}  // namespace

operator_ptr ConvertVars(plan_model::Expression const& expression, std::vector<value>& literals,
                         BoundLayout const& layout, nesting_level level) {
  return expression_converter(literals, layout, level).convert(expression);
}

std::vector<operator_ptr> ConvertVars(std::vector<plan_model::Expression> const& expressions,
                                      std::vector<value>& literals, BoundLayout const& layout,
                                      nesting_level level) {
  std::vector<operator_ptr> converted;
  converted.reserve(expressions.size());
  for (plan_model::Expression const& expression : expressions) {
    converted.push_back(ConvertVars(expression, literals, layout, level));
  }
  return converted;
}

qd::sql_executor::literal_index MakeLiteralIndex(std::vector<value>& literals,
                                                 value const& literal) {
  unsigned long const position = literals.size();
  literals.push_back(literal);
  return {narrow_position(position)};
}

value_type GetColumnType(meta_data::MetaColumnType const& type) {
  for (auto const& [column_type, identity] : to_value_type_mapping) {
    if (identity == type) return column_type;
  }
  throw std::invalid_argument("unknown type");
}

}  // namespace physical_to_exec
