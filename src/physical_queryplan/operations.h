// The operations of SQL expressions: one empty tag type each, with the signatures of its overloads.
#pragma once

#include <variant>

#include "physical_queryplan/kinds.h"

namespace operator_library {

// An overload: result type R and argument types.
template <typename R, typename Arguments>
struct Signature {};

// A query parameter of kind T; its value stands at position `number` of the context's parameters.
template <typename T>
struct Parameter {
  unsigned long number;
  friend bool operator==(Parameter const&, Parameter const&) = default;
};

namespace detail {

using meta_support::TypeList;
namespace kinds = physical_queryplan::kinds;

template <typename T>
using compares = Signature<bool, TypeList<T, T>>;
template <typename T>
using tests = Signature<bool, TypeList<T>>;
template <typename T>
using chooses = Signature<T, TypeList<bool, T, T>>;
template <typename T>
using combines = Signature<T, TypeList<T, T>>;
template <typename T>
using negates = Signature<T, TypeList<T>>;
template <typename R>
struct casts_to {
  template <typename T>
  using from = Signature<R, TypeList<T>>;
};

using arithmetic_kinds = TypeList<long, Decimal, double, float>;

// The base of a tag: its overloads, in order, as a variant.
template <typename List>
struct tag {
  using signature = kinds::variant<List>;
};
using comparison = tag<kinds::map<compares, kinds::values>>;
using null_test = tag<kinds::map<tests, kinds::columns>>;
using arithmetic = tag<kinds::map<combines, arithmetic_kinds>>;
using connective = tag<TypeList<Signature<bool, TypeList<bool, bool>>>>;
using text_test =
    tag<TypeList<Signature<bool, TypeList<db_string::dt_string, db_string::dt_string>>>>;

}  // namespace detail

struct Equal : detail::comparison {};
struct NotEqual : detail::comparison {};
struct LessThanOrEqual : detail::comparison {};
struct LessThan : detail::comparison {};
struct GreaterThan : detail::comparison {};
struct GreaterThanOrEqual : detail::comparison {};
struct AndOperator : detail::connective {};
struct OrOperator : detail::connective {};
struct NotOperator : detail::tag<meta_support::TypeList<detail::tests<bool>>> {};
struct IsNullOperator : detail::null_test {};
struct IsNotNullOperator : detail::null_test {};
struct PlusOperator : detail::arithmetic {};
struct MinusOperator : detail::arithmetic {};
struct Negate
    : detail::tag<physical_queryplan::kinds::map<detail::negates, detail::arithmetic_kinds>> {};
struct DivideOperator : detail::arithmetic {};
struct MultiplyOperator : detail::arithmetic {};
struct Like : detail::text_test {};
struct StartsWith : detail::text_test {};
struct IfOperator
    : detail::tag<
          physical_queryplan::kinds::map<detail::chooses, physical_queryplan::kinds::values>> {};
struct XorOperator : detail::connective {};
// Takes any number of arguments.
struct Concat
    : detail::tag<
          meta_support::TypeList<Signature<db_string::dt_string, meta_support::TypeList<>>>> {};
struct Is : detail::tag<meta_support::TypeList<
                Signature<bool, meta_support::TypeList<QD_OBJ_REF, SetSpecifier>>>> {};
struct Oid
    : detail::tag<
          meta_support::TypeList<Signature<unsigned long, meta_support::TypeList<QD_OBJ_REF>>>> {};
// A cast to R from the kinds of the first list, then of the second.
template <typename R, typename L1, typename L2>
struct CastTo
    : detail::tag<physical_queryplan::kinds::map<detail::casts_to<R>::template from,
                                                 physical_queryplan::kinds::concat<L1, L2>>> {};
struct LikeStartsWith
    : detail::tag<meta_support::TypeList<
          Signature<db_string::dt_string, meta_support::TypeList<db_string::dt_string>>>> {};

namespace detail {

using cast_to_bool =
    CastTo<bool, TypeList<NullValue>,
           TypeList<unsigned long, long, Decimal, float, double, Binary, db_string::dt_string>>;
using cast_to_unsigned = CastTo<
    unsigned long, TypeList<NullValue>,
    TypeList<bool, unsigned long, long, Decimal, float, double, Binary, db_string::dt_string>>;
using cast_to_signed =
    CastTo<long, TypeList<unsigned long, NullValue>,
           TypeList<bool, long, Decimal, float, double, Binary, db_string::dt_string>>;
using cast_to_decimal =
    CastTo<Decimal, TypeList<unsigned long, long, NullValue>,
           TypeList<bool, Decimal, float, double, Binary, db_string::dt_string>>;
using cast_to_float = CastTo<float, TypeList<unsigned long, long, Decimal, NullValue>,
                             TypeList<bool, float, double, Binary, db_string::dt_string>>;
using cast_to_double = CastTo<double, TypeList<unsigned long, long, Decimal, float, NullValue>,
                              TypeList<bool, double, Binary, db_string::dt_string>>;
using cast_to_string =
    CastTo<db_string::dt_string, TypeList<NullValue>,
           TypeList<unsigned long, long, Decimal, float, double, Binary, db_string::dt_string>>;
using cast_to_set_specifier =
    CastTo<SetSpecifier, TypeList<>, TypeList<NullValue, db_string::dt_string>>;

}  // namespace detail

// The 32 tags, in the order of the expression's alternatives.
using OperationTags = meta_support::TypeList<
    Equal, NotEqual, LessThanOrEqual, LessThan, GreaterThan, GreaterThanOrEqual, AndOperator,
    OrOperator, NotOperator, IsNullOperator, IsNotNullOperator, PlusOperator, MinusOperator, Negate,
    DivideOperator, MultiplyOperator, Like, StartsWith, IfOperator, XorOperator, Concat, Is, Oid,
    detail::cast_to_bool, detail::cast_to_unsigned, detail::cast_to_signed, detail::cast_to_decimal,
    detail::cast_to_float, detail::cast_to_double, detail::cast_to_string,
    detail::cast_to_set_specifier, LikeStartsWith>;

}  // namespace operator_library
