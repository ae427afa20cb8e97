// Lists of the value kinds, and how variants over them are written.
#pragma once

#include <variant>

#include "db_string/dt_string.h"
#include "db_util/meta_support.h"
#include "db_util/value_kinds.h"
#include "kernel/obj_ref.h"

namespace physical_queryplan::kinds {

// The ten kinds of stored columns and the eleven kinds of values, in kind order.
using columns =
    meta_support::TypeList<bool, db_string::dt_string, unsigned long, long,
                           operator_library::Decimal, double, float, operator_library::Binary,
                           QD_OBJ_REF, operator_library::SetSpecifier>;
using values =
    meta_support::TypeList<bool, db_string::dt_string, unsigned long, long,
                           operator_library::Decimal, double, float, operator_library::Binary,
                           QD_OBJ_REF, operator_library::SetSpecifier, operator_library::NullValue>;

namespace detail {

template <template <typename> typename F, typename List>
struct map;
template <template <typename> typename F, typename... T>
struct map<F, meta_support::TypeList<T...>> {
  using type = meta_support::TypeList<F<T>...>;
};

template <typename... Lists>
struct concat;
template <typename... T>
struct concat<meta_support::TypeList<T...>> {
  using type = meta_support::TypeList<T...>;
};
template <typename... T, typename... U, typename... Rest>
struct concat<meta_support::TypeList<T...>, meta_support::TypeList<U...>, Rest...>
    : concat<meta_support::TypeList<T..., U...>, Rest...> {};

template <typename List>
struct variant;
template <typename... T>
struct variant<meta_support::TypeList<T...>> {
  using type = std::variant<T...>;
};

template <typename T, typename List>
inline constexpr bool contains = false;
template <typename T, typename... U>
inline constexpr bool contains<T, meta_support::TypeList<U...>> = (std::is_same_v<T, U> || ...);

}  // namespace detail

// F of each type of a list; lists joined; the std::variant of a list; whether a list has T.
template <template <typename> typename F, typename List>
using map = typename detail::map<F, List>::type;
template <typename... Lists>
using concat = typename detail::concat<Lists...>::type;
template <typename List>
using variant = typename detail::variant<List>::type;
template <typename T, typename List>
concept one_of = detail::contains<T, List>;

}  // namespace physical_queryplan::kinds
