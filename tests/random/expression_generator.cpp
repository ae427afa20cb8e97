#include "random/expression_generator.h"

#include <array>
#include <utility>

#include "physical_queryplan/build.h"
#include "random/random_database.h"

namespace random_plans {

namespace ops = operator_library;
namespace plan = physical_queryplan::QueryPlan;
namespace kinds = physical_queryplan::kinds;
using reference::kind;

namespace {

// Calls `function` with the TypeIdentity of the kind's type.
template <typename Function, typename... T>
auto with_type(kind of, Function const& function, meta_support::TypeList<T...>) {
  using result = std::common_type_t<decltype(function(meta_support::TypeIdentity<T>()))...>;
  using call = result (*)(Function const&);
  static constexpr std::array<call, sizeof...(T)> calls{
      [](Function const& called) -> result { return called(meta_support::TypeIdentity<T>()); }...};
  return calls[of](function);
}
template <typename Function>
auto with_type(kind of, Function const& function) {
  return with_type(of, function, kinds::values());
}

template <typename Tag>
Expression operation(std::vector<Expression> arguments) {
  return plan::Operation<Tag>{{}, std::move(arguments)};
}

template <typename R>
Expression cast_to(Expression argument) {
  using tag = typename physical_queryplan::build::detail::cast_tag<R, ops::OperationTags>::type;
  return operation<tag>({std::move(argument)});
}

Expression cast_to(kind target, Expression argument) {
  switch (target) {
    case reference::of_bool:
      return cast_to<bool>(std::move(argument));
    case reference::of_string:
      return cast_to<db_string::dt_string>(std::move(argument));
    case reference::of_unsigned:
      return cast_to<unsigned long>(std::move(argument));
    case reference::of_signed:
      return cast_to<long>(std::move(argument));
    case reference::of_decimal:
      return cast_to<ops::Decimal>(std::move(argument));
    case reference::of_double:
      return cast_to<double>(std::move(argument));
    case reference::of_float:
      return cast_to<float>(std::move(argument));
    default:
      return cast_to<ops::SetSpecifier>(std::move(argument));
  }
}

// Picks one of the tags.
template <typename... Tag>
Expression one_of(choices& pick, std::vector<Expression> arguments) {
  using make = Expression (*)(std::vector<Expression>);
  std::array<make, sizeof...(Tag)> const all{&operation<Tag>...};
  return pick.one_of(all)(std::move(arguments));
}

}  // namespace

PhysicalVariable derived_variable(kind of, std::int32_t number) {
  return with_type(of, [&]<typename T>(meta_support::TypeIdentity<T>) {
    return PhysicalVariable(plan::Derived<T>{{number, 1, 2, 3}});
  });
}

scope_variable expression_generator::column(TableVariable const& variable,
                                            std::u16string const& class_name,
                                            std::size_t position) const {
  reference::column const& found = data_.class_named(class_name).columns[position];
  PhysicalVariable const as_variable = with_type(
      found.of,
      [&]<typename T>(meta_support::TypeIdentity<T>) {
        return PhysicalVariable(plan::Column<T>{meta_data::Column{found.record}, variable});
      },
      kinds::columns());
  return {as_variable, found.of};
}

scope expression_generator::readable(scope const& variables) const {
  scope result;
  for (scope_variable const& each : variables) {
    result.push_back(each);
    auto const* const table = std::get_if<TableVariable>(&each.variable);
    if (!table) continue;
    for (std::size_t i = 0; i < data_.class_named(each.class_name).columns.size(); ++i) {
      if (i != 2) result.push_back(column(*table, each.class_name, i));  // Not the class's record.
    }
  }
  return result;
}

kind expression_generator::any_kind(scope const& variables) {
  scope const all = readable(variables);
  return all.empty() ? numeric_kind() : pick_.one_of(all).of;
}

kind expression_generator::numeric_kind() {
  static std::array<kind, 5> const numeric{reference::of_signed, reference::of_decimal,
                                           reference::of_double, reference::of_float,
                                           reference::of_unsigned};
  return pick_.one_of(numeric);
}

Expression expression_generator::make(kind of, scope const& variables, int depth) {
  if (pick_.rarely(100)) of = static_cast<kind>(pick_.below(11));
  if (pick_.rarely(50)) return to_literal(reference::null_value());
  if (depth == 0 || pick_.below(3) == 0) return leaf(of, variables);
  if (pick_.rarely(8)) return choose(of, variables, depth - 1);
  switch (of) {
    case reference::of_bool:
      return condition(variables, depth - 1);
    case reference::of_string:
      return text(variables, depth - 1);
    case reference::of_unsigned:
    case reference::of_signed:
    case reference::of_decimal:
    case reference::of_double:
    case reference::of_float:
      return number(of, variables, depth - 1);
    case reference::of_set_specifier:
      if (pick_.rarely(20)) return cast_to(of, leaf(reference::of_string, variables));
      return cast_to(of, to_literal(pick_.one_of(data_.classes).name));
    default:
      return leaf(of, variables);
  }
}

Expression expression_generator::leaf(kind of, scope const& variables) {
  scope fitting;
  for (scope_variable& each : readable(variables)) {
    if (each.of == of) fitting.push_back(std::move(each));
  }
  std::uint32_t const source = pick_.below(8);
  if (!fitting.empty() && source < 6) {
    return physical_queryplan::AsExpression(pick_.one_of(fitting).variable);
  }
  if (source == 7) {
    for (std::size_t number = 0; number < parameters_.size(); ++number) {
      if (reference::kind_of(parameters_[number]) != of) continue;
      return with_type(of, [&]<typename T>(meta_support::TypeIdentity<T>) {
        return Expression(plan::Constant(ops::Parameter<T>{number}));
      });
    }
  }
  if (of == reference::of_object && pick_.rarely(50)) {
    return to_literal(reference::object{~0UL - 1});  // No object has this id.
  }
  return to_literal(random_value(pick_, of, data_));
}

Expression expression_generator::choose(kind of, scope const& variables, int depth) {
  Expression decision = make(reference::of_bool, variables, depth);
  // Mixed numeric kinds are converted to the conditional's own.
  kind const other = reference::is_numeric(of) && pick_.rarely(3) ? numeric_kind() : of;
  std::vector<Expression> arguments;
  arguments.push_back(std::move(decision));
  arguments.push_back(make(of, variables, depth));
  arguments.push_back(make(other, variables, depth));
  return with_type(of, [&]<typename T>(meta_support::TypeIdentity<T>) {
    plan::Operation<ops::IfOperator> chosen{{}, std::move(arguments)};
    using signature = ops::Signature<T, meta_support::TypeList<bool, T, T>>;
    chosen.signature.template emplace<signature>();
    return Expression(std::move(chosen));
  });
}

Expression expression_generator::comparison(scope const& variables, int depth) {
  kind const left = any_kind(variables);
  kind const right = reference::is_numeric(left) && pick_.rarely(3) ? numeric_kind() : left;
  std::vector<Expression> operands;
  operands.push_back(make(left, variables, depth));
  operands.push_back(make(right, variables, depth));
  return one_of<ops::LessThanOrEqual, ops::GreaterThanOrEqual, ops::NotEqual, ops::Equal,
                ops::LessThan, ops::GreaterThan>(pick_, std::move(operands));
}

Expression expression_generator::pattern() {
  static std::vector<std::u16string> const patterns{u"%", u"a%", u"%b%",   u"_", u"a_%",
                                                    u"a", u"__", u"a\\%%", u"",  u"%a_"};
  if (pick_.rarely(60)) return to_literal(std::u16string(u"a\\"));
  return to_literal(pick_.one_of(patterns));
}

Expression expression_generator::condition(scope const& variables, int depth) {
  switch (pick_.below(12)) {
    case 0:
    case 1:
    case 2:
    case 3:
      return comparison(variables, depth);
    case 4: {
      Expression operand = make(any_kind(variables), variables, depth);
      return one_of<ops::IsNotNullOperator, ops::IsNullOperator>(pick_, {std::move(operand)});
    }
    case 5:
      return operation<ops::NotOperator>({make(reference::of_bool, variables, depth)});
    case 6:
      return operation<ops::Like>({make(reference::of_string, variables, depth), pattern()});
    case 7: {
      Expression tested = make(reference::of_string, variables, depth);
      return operation<ops::StartsWith>({std::move(tested), leaf(reference::of_string, variables)});
    }
    case 8: {
      Expression tested = make(reference::of_object, variables, depth);
      return operation<ops::Is>(
          {std::move(tested), make(reference::of_set_specifier, variables, depth)});
    }
    case 9:
      return cast_to(reference::of_bool, make(numeric_kind(), variables, depth));
    default: {
      Expression left = make(reference::of_bool, variables, depth);
      Expression right = make(reference::of_bool, variables, depth);
      return one_of<ops::OrOperator, ops::AndOperator, ops::XorOperator>(
          pick_, {std::move(left), std::move(right)});
    }
  }
}

Expression expression_generator::number(kind of, scope const& variables, int depth) {
  std::uint32_t const form = pick_.below(6);
  if (of == reference::of_unsigned) {
    if (form < 2) return operation<ops::Oid>({make(reference::of_object, variables, depth)});
    return cast_to(of, make(reference::of_unsigned, variables, depth));
  }
  if (form == 0) return operation<ops::Negate>({make(of, variables, depth)});
  if (form == 1) {
    kind const source = pick_.rarely(4) ? numeric_kind() : of;
    return cast_to(of, make(source, variables, depth));
  }
  // The other operand may be of a lower kind.
  kind const other = pick_.rarely(3) ? numeric_kind() : of;
  Expression left = make(of, variables, depth);
  Expression right = make(other, variables, depth);
  if (pick_.rarely(8)) {
    return operation<ops::DivideOperator>({std::move(left), std::move(right)});
  }
  return one_of<ops::PlusOperator, ops::MinusOperator, ops::MultiplyOperator>(
      pick_, {std::move(left), std::move(right)});
}

Expression expression_generator::text(scope const& variables, int depth) {
  switch (pick_.below(4)) {
    case 0:
      return cast_to(reference::of_string, make(reference::of_string, variables, depth));
    case 1:
      return operation<ops::LikeStartsWith>({pattern()});
    default: {
      std::vector<Expression> parts;
      for (std::uint32_t count = pick_.below(4); count > 0; --count) {
        parts.push_back(make(reference::of_string, variables, depth));
      }
      return operation<ops::Concat>(std::move(parts));
    }
  }
}

}  // namespace random_plans
