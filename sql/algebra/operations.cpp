#include "sql/algebra/operations.h"

#include <stdexcept>
#include <utility>

#include "physical_queryplan/build.h"

namespace qd::sql::algebra {

namespace library = operator_library;
using namespace physical_queryplan::QueryPlan;  // NOLINT: most of it is built here
using meta_support::TypeList;
using physical_queryplan::build::detail::list;
namespace kinds = physical_queryplan::kinds;

namespace {

[[noreturn]] void no_overload() {
  throw std::logic_error("an operation was bound to a kind that it does not take");
}

// The position of T among the kinds of values.
template <typename T, typename... Kinds>
constexpr kind position_of(TypeList<Kinds...>) {
  std::size_t position = 0;
  bool found = false;
  ((found = found || std::is_same_v<T, Kinds>, position += found ? 0 : 1), ...);
  return static_cast<kind>(position);
}

// The kind of a signature's last argument; kind::null of one without arguments.
template <typename R, typename... Arguments>
constexpr kind last_argument(library::Signature<R, TypeList<Arguments...>>) {
  kind last = kind::null;
  ((last = position_of<Arguments>(kinds::values())), ...);
  return last;
}

// Sets `signature` to the overload for arguments of a kind; false when there is none.
template <typename... Signature>
bool find_overload(kind wanted, std::variant<Signature...>& signature) {
  bool found = false;
  ((!found && last_argument(Signature()) == wanted ? void((signature = Signature(), found = true))
                                                   : void()),
   ...);
  return found;
}

template <typename Tag>
typename Tag::signature signature_for(kind wanted) {
  typename Tag::signature signature;
  if (!find_overload(wanted, signature)) no_overload();
  return signature;
}

template <typename Tag, typename... Argument>
Expression of_kind(kind wanted, Argument... arguments) {
  return Operation<Tag>{signature_for<Tag>(wanted), list(std::move(arguments)...)};
}

template <typename Tag, typename... Argument>
Expression simple(Argument... arguments) {
  return Operation<Tag>{{}, list(std::move(arguments)...)};
}

// Calls `body` with the cast tag to `target`; there is one per target but binary, reference and
// NULL.
template <typename Body>
auto with_cast(kind target, Body&& body) {
  switch (target) {
    case kind::boolean:
      return body(library::detail::cast_to_bool());
    case kind::unsigned_integer:
      return body(library::detail::cast_to_unsigned());
    case kind::signed_integer:
      return body(library::detail::cast_to_signed());
    case kind::decimal:
      return body(library::detail::cast_to_decimal());
    case kind::single_float:
      return body(library::detail::cast_to_float());
    case kind::double_float:
      return body(library::detail::cast_to_double());
    case kind::text:
      return body(library::detail::cast_to_string());
    case kind::set_specifier:
      return body(library::detail::cast_to_set_specifier());
    default:
      no_overload();
  }
}

// Calls `body` with a value of the kind's type.
template <typename Body>
auto with_kind(kind wanted, Body&& body) {
  switch (wanted) {
    case kind::boolean:
      return body(meta_support::TypeIdentity<bool>());
    case kind::text:
      return body(meta_support::TypeIdentity<db_string::dt_string>());
    case kind::unsigned_integer:
      return body(meta_support::TypeIdentity<unsigned long>());
    case kind::signed_integer:
      return body(meta_support::TypeIdentity<long>());
    case kind::decimal:
      return body(meta_support::TypeIdentity<library::Decimal>());
    case kind::double_float:
      return body(meta_support::TypeIdentity<double>());
    case kind::single_float:
      return body(meta_support::TypeIdentity<float>());
    case kind::binary:
      return body(meta_support::TypeIdentity<library::Binary>());
    case kind::reference:
      return body(meta_support::TypeIdentity<QD_OBJ_REF>());
    case kind::set_specifier:
      return body(meta_support::TypeIdentity<library::SetSpecifier>());
    default:
      return body(meta_support::TypeIdentity<library::NullValue>());
  }
}

template <typename Tag>
AggregateVariant aggregate_over(kind argument_kind, Expression argument,
                                PhysicalVariable const& output) {
  typename Tag::signature signature;
  find_overload(argument_kind, signature);
  return AggregateOperator<Tag>{
      signature, list(std::move(argument)),
      std::visit(
          []<typename T>(T const& variable) -> decltype(AggregateOperator<Tag>::output) {
            if constexpr (requires { variable.identity; }) {
              return variable;
            } else {
              no_overload();
            }
          },
          output)};
}

}  // namespace

Expression compare(comparison operation, kind kind, Expression left, Expression right) {
  switch (operation) {
    case comparison::equal:
      return of_kind<library::Equal>(kind, std::move(left), std::move(right));
    case comparison::not_equal:
      return of_kind<library::NotEqual>(kind, std::move(left), std::move(right));
    case comparison::less_or_equal:
      return of_kind<library::LessThanOrEqual>(kind, std::move(left), std::move(right));
    case comparison::less:
      return of_kind<library::LessThan>(kind, std::move(left), std::move(right));
    case comparison::greater:
      return of_kind<library::GreaterThan>(kind, std::move(left), std::move(right));
    case comparison::greater_or_equal:
      return of_kind<library::GreaterThanOrEqual>(kind, std::move(left), std::move(right));
  }
  no_overload();
}

Expression calculate(arithmetic operation, kind result, Expression left, Expression right) {
  switch (operation) {
    case arithmetic::add:
      return of_kind<library::PlusOperator>(result, std::move(left), std::move(right));
    case arithmetic::subtract:
      return of_kind<library::MinusOperator>(result, std::move(left), std::move(right));
    case arithmetic::divide:
      return of_kind<library::DivideOperator>(result, std::move(left), std::move(right));
    case arithmetic::multiply:
      return of_kind<library::MultiplyOperator>(result, std::move(left), std::move(right));
  }
  no_overload();
}

Expression negate(kind result, Expression operand) {
  return of_kind<library::Negate>(result, std::move(operand));
}

Expression logical_and(Expression left, Expression right) {
  return simple<library::AndOperator>(std::move(left), std::move(right));
}
Expression logical_or(Expression left, Expression right) {
  return simple<library::OrOperator>(std::move(left), std::move(right));
}
Expression logical_xor(Expression left, Expression right) {
  return simple<library::XorOperator>(std::move(left), std::move(right));
}
Expression logical_not(Expression operand) {
  return simple<library::NotOperator>(std::move(operand));
}

Expression null_test(bool negated, Expression operand) {
  // NULL itself has no overload: any serves, as the operator looks at the value alone.
  kind const own = kind_of(operand);
  kind const overload = own == kind::null ? kind::text : own;
  return negated ? of_kind<library::IsNotNullOperator>(overload, std::move(operand))
                 : of_kind<library::IsNullOperator>(overload, std::move(operand));
}

Expression conditional(kind result, Expression condition, Expression then, Expression otherwise) {
  return of_kind<library::IfOperator>(result, std::move(condition), std::move(then),
                                      std::move(otherwise));
}

Expression like(Expression text, Expression pattern) {
  return simple<library::Like>(std::move(text), std::move(pattern));
}
Expression starts_with(Expression text, Expression prefix) {
  return simple<library::StartsWith>(std::move(text), std::move(prefix));
}
Expression concatenate(std::vector<Expression> texts) {
  return Operation<library::Concat>{{}, std::move(texts)};
}
Expression is_a(Expression object, Expression set_specifier) {
  return simple<library::Is>(std::move(object), std::move(set_specifier));
}
Expression oid_of(Expression object) {
  return simple<library::Oid>(std::move(object));
}

bool has_cast(kind target, kind source) {
  if (target == kind::binary || target == kind::reference || target == kind::null) return false;
  return with_cast(target, [&]<typename Tag>(Tag) {
    typename Tag::signature signature;
    return find_overload(source, signature);
  });
}

Expression cast(kind target, Expression operand) {
  kind const source = kind_of(operand);
  return with_cast(target, [&]<typename Tag>(Tag) -> Expression {
    return of_kind<Tag>(source, std::move(operand));
  });
}

Expression null_literal() {
  return Constant(library::NullValue());
}
Expression boolean_literal(bool truth) {
  return Constant(truth);
}

Expression parameter(kind kind, std::uint32_t number) {
  return with_kind(kind, [&]<typename T>(meta_support::TypeIdentity<T>) -> Expression {
    return Constant(library::Parameter<T>{number});
  });
}

Expression column(kind kind, meta_data::Column const& column, TableVariable const& variable) {
  return with_kind(kind, [&]<typename T>(meta_support::TypeIdentity<T>) -> Expression {
    if constexpr (std::is_same_v<T, library::NullValue>) {
      no_overload();
    } else {
      return Column<T>{column, variable};
    }
  });
}

PhysicalVariable derived(kind kind, std::array<std::int32_t, 4> identity) {
  return with_kind(kind, [&]<typename T>(meta_support::TypeIdentity<T>) -> PhysicalVariable {
    return Derived<T>{identity};
  });
}

AggregateVariant aggregate_of(aggregate_function function, Expression argument,
                              PhysicalVariable const& output) {
  kind const argument_kind = kind_of(argument);
  switch (function) {
    case aggregate_function::sum:
      return aggregate_over<library::Sum>(argument_kind, std::move(argument), output);
    case aggregate_function::count:
      return aggregate_over<library::Count>(argument_kind, std::move(argument), output);
    case aggregate_function::max:
      return aggregate_over<library::Max>(argument_kind, std::move(argument), output);
    case aggregate_function::min:
      return aggregate_over<library::Min>(argument_kind, std::move(argument), output);
    case aggregate_function::avg:
      // Unsigned numbers have no overload of their own; the signed one converts them as well.
      return aggregate_over<library::Avg>(
          argument_kind == kind::unsigned_integer ? kind::signed_integer : argument_kind,
          std::move(argument), output);
    case aggregate_function::count_distinct:
      return aggregate_over<library::CountDistinctSingle>(argument_kind, std::move(argument),
                                                          output);
  }
  no_overload();
}

AggregateVariant count_rows(PhysicalVariable const& output) {
  return AggregateOperator<library::CountStar>{{}, {}, std::get<Derived<long>>(output)};
}

AggregateVariant count_distinct_rows(std::vector<Expression> arguments,
                                     PhysicalVariable const& output) {
  return AggregateOperator<library::CountDistinctVariadric>{
      {}, std::move(arguments), std::get<Derived<unsigned long>>(output)};
}

kind aggregate_result(aggregate_function function, kind argument) {
  switch (function) {
    case aggregate_function::sum:
      if (argument == kind::unsigned_integer) return kind::signed_integer;
      return is_numeric(argument) ? argument : kind::null;
    case aggregate_function::count:
      return kind::signed_integer;
    case aggregate_function::count_distinct:
      return kind::unsigned_integer;
    case aggregate_function::max:
    case aggregate_function::min:
      return argument;
    case aggregate_function::avg:
      if (!is_numeric(argument)) return kind::null;
      return argument == kind::double_float || argument == kind::single_float ? kind::double_float
                                                                              : kind::decimal;
  }
  no_overload();
}

}  // namespace qd::sql::algebra
