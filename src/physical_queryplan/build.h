// Short forms for writing plans by hand.
//
//     namespace build = physical_queryplan::build;
//     auto const person = build::table(u"hr.Person");
//     auto const name = build::column(person, u"name");
//     auto const plan = build::transform(
//         {name}, build::filter(build::operation<operator_library::Like>(name, build::text(u"A%")),
//                               build::scan(person, build::index(person, u"hr.Person.by_name"))));
//
// Names are looked up in the catalogue through the calling thread's metadata context. Functions
// that do so throw db_util::db_exception with the kernel's status, and QDException 7022 "Identifier
// <name> is not defined." for an unknown name.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "physical_queryplan/query_plan.h"

namespace physical_queryplan::build {

using QueryPlan::Expression;
using QueryPlan::PredicateVariant;

namespace detail {

// Position of the first overload whose last argument is a T; the number of overloads if there is
// none.
template <typename T, typename Signatures>
struct overload_for;
template <typename T, typename... Signature>
struct overload_for<T, std::variant<Signature...>> {
  template <typename R, typename... Argument>
  static constexpr bool ends_in_kind(
      operator_library::Signature<R, meta_support::TypeList<Argument...>>) {
    bool last = false;
    ((last = std::is_same_v<Argument, T>), ...);
    return last;
  }
  static constexpr std::size_t position = [] {
    std::size_t count = 0;
    bool found = false;
    ((found = found || ends_in_kind(Signature()), count += found ? 0 : 1), ...);
    return count;
  }();
};

// The tag of OperationTags that casts to R.
template <typename R, typename Tags>
struct cast_tag;
template <typename R, typename L1, typename L2, typename... Rest>
struct cast_tag<R, meta_support::TypeList<operator_library::CastTo<R, L1, L2>, Rest...>> {
  using type = operator_library::CastTo<R, L1, L2>;
};
template <typename R, typename Other, typename... Rest>
struct cast_tag<R, meta_support::TypeList<Other, Rest...>>
    : cast_tag<R, meta_support::TypeList<Rest...>> {};

// Moved one by one: an initializer list would copy the trees.
template <typename... Argument>
std::vector<Expression> list(Argument... arguments) {
  std::vector<Expression> result;
  result.reserve(sizeof...(arguments));
  (result.emplace_back(std::move(arguments)), ...);
  return result;
}

}  // namespace detail

// An occurrence of the table with the full, dotted name. Occurrences of one table in a plan need
// different numbers.
QueryPlan::TableVariable table(std::u16string_view full_name, std::int32_t occurrence = 1);

// The object that `column_name`, a reference column of `source`, refers to.
QueryPlan::TableVariable through(QueryPlan::TableVariable const& source,
                                 std::u16string_view column_name);

// A column of the variable's table, inherited and system columns included, of the kind that the
// catalogue gives.
Expression column(QueryPlan::TableVariable const& variable, std::u16string_view name);

// One of the indexes of the variable's table, by its full name.
meta_data::Index index(QueryPlan::TableVariable const& variable, std::u16string_view full_name);

template <kinds::one_of<kinds::values> T>
Expression literal(T content) {
  return QueryPlan::Constant(std::move(content));
}
inline Expression text(std::u16string const& content) {
  return literal(db_string::dt_string(content, false));
}
inline Expression null() {
  return literal(operator_library::NullValue());
}

// Parameter number `number`, of kind T.
template <kinds::one_of<kinds::values> T>
Expression parameter(unsigned long number) {
  return QueryPlan::Constant(operator_library::Parameter<T>{number});
}

// A value that the plan computes; numbers tell the values of one plan apart.
template <kinds::one_of<kinds::values> T>
QueryPlan::Derived<T> derived(std::int32_t number) {
  return {{number, 0, 0, 0}};
}

// An operation with one overload: the logical and text operations, Is, Oid.
template <typename Tag, std::convertible_to<Expression>... Argument>
requires(std::variant_size_v<typename Tag::signature> == 1) Expression
    operation(Argument... arguments) {
  return QueryPlan::Operation<Tag>{{}, detail::list(std::move(arguments)...)};
}

// The overload of an operation for operands of kind T, the result of the conditional included:
// operation<Equal, long>(left, right).
template <typename Tag, kinds::one_of<kinds::values> T, std::convertible_to<Expression>... Argument>
Expression operation(Argument... arguments) {
  using signature = typename Tag::signature;
  constexpr std::size_t position = detail::overload_for<T, signature>::position;
  static_assert(position < std::variant_size_v<signature>, "the operation does not take this kind");
  return QueryPlan::Operation<Tag>{signature(std::in_place_index<position>),
                                   detail::list(std::move(arguments)...)};
}

// A cast of a T to an R.
template <typename R, typename T>
Expression cast(Expression argument) {
  using tag = typename detail::cast_tag<R, operator_library::OperationTags>::type;
  return operation<tag, T>(std::move(argument));
}

// The value of a bound of a Scan: .greater = {bound(literal(5L))}.
inline QueryPlan::Scan::Bound bound(Expression value, bool exclude_null = true) {
  return {std::move(value), exclude_null};
}

PredicateVariant scan(QueryPlan::TableVariable variable, meta_data::Index index,
                      std::vector<QueryPlan::Scan::ColBounds> bounds = {}, bool ascending = true);
PredicateVariant filter(Expression condition, PredicateVariant child);
PredicateVariant extend(std::vector<QueryPlan::Alias> aliases, PredicateVariant child);
PredicateVariant transform(std::vector<Expression> outputs, PredicateVariant child);
// The right side's scans and conditions may use the variables of the left side.
PredicateVariant inner_join(PredicateVariant left, PredicateVariant right);
PredicateVariant left_join(PredicateVariant left, PredicateVariant right);
PredicateVariant full_join(std::optional<Expression> condition, PredicateVariant left,
                           PredicateVariant right);
PredicateVariant union_all(PredicateVariant left, PredicateVariant right);
PredicateVariant order_by(std::vector<QueryPlan::OrderBy::Key> keys, PredicateVariant child);
PredicateVariant limit(std::optional<Expression> row_limit, std::optional<Expression> row_offset,
                       PredicateVariant child);
PredicateVariant aggregation(std::vector<QueryPlan::AggregateVariant> aggregates,
                             std::vector<QueryPlan::Alias> group_by, PredicateVariant child);

// An aggregate of arguments of kind T, whose result is known as `output`: aggregate<Max,
// long>(...).
template <typename Tag, kinds::one_of<kinds::values> T, typename R>
QueryPlan::AggregateVariant aggregate(QueryPlan::Derived<R> output, Expression argument) {
  using signature = typename Tag::signature;
  constexpr std::size_t position = detail::overload_for<T, signature>::position;
  static_assert(position < std::variant_size_v<signature>, "the aggregate does not take this kind");
  return QueryPlan::AggregateOperator<Tag>{
      signature(std::in_place_index<position>), {std::move(argument)}, output};
}
// An aggregate with one overload: CountStar, CountDistinctVariadric.
template <typename Tag, typename R>
requires(std::variant_size_v<typename Tag::signature> == 1) QueryPlan::AggregateVariant
    aggregate(QueryPlan::Derived<R> output, std::vector<Expression> arguments = {}) {
  return QueryPlan::AggregateOperator<Tag>{{}, std::move(arguments), output};
}

}  // namespace physical_queryplan::build
