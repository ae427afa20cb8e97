// Comparison of values: the six relations, exact between numbers of different kinds.
#pragma once

#include <type_traits>

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"
#include "sql_executor/operators/exact_compare.h"
#include "sql_executor/value.h"

namespace qd::sql_executor::utils {

// The relations, each the set of the orderings for which it holds.
enum class relation : unsigned {
  equal = static_cast<unsigned>(ordering::equal),
  less_than = static_cast<unsigned>(ordering::less),
  greater_than = static_cast<unsigned>(ordering::greater),
  less_than_or_equal = less_than | equal,
  greater_than_or_equal = greater_than | equal,
  not_equal = less_than | greater_than | static_cast<unsigned>(ordering::unordered),
};

constexpr bool holds(relation wanted, ordering found) {
  return (static_cast<unsigned>(wanted) & static_cast<unsigned>(found)) != 0;
}

// bool, unsigned long, long, Decimal, double, float.
template <typename T>
inline constexpr bool is_numeric =
    std::is_arithmetic_v<T> || std::is_same_v<T, operator_library::Decimal>;

// The ordering of two contents of one kind, for every kind but NULL. Numbers: by value, references
// by oid, strings by their packed bytes, Binary by its bytes and set specifiers by their units as
// unsigned numbers, a proper prefix first.
template <typename T>
requires is_numeric<T> ordering order_within_kind(T left, T right) {
  return Detail::order_numbers(Detail::key(left), Detail::key(right));
}
inline ordering order_within_kind(QD_OBJ_REF const& left, QD_OBJ_REF const& right) {
  return Detail::order_numbers(left.oid, right.oid);
}
ordering order_within_kind(db_string::dt_string const& left, db_string::dt_string const& right);
ordering order_within_kind(operator_library::Binary const& left,
                           operator_library::Binary const& right);
ordering order_within_kind(operator_library::SetSpecifier const& left,
                           operator_library::SetSpecifier const& right);

// Takes the right operand, of kind R, and returns a function from a left operand of kind L to their
// ordering. Raises 7020 for two kinds that are not comparable: NULL (which has to be dealt with
// before) and unlike kinds of which one is not numeric. The operand must outlive the function.
template <typename L, typename R>
auto Compare(R const& right) {
  if constexpr (std::is_same_v<L, R> && !std::is_same_v<L, operator_library::NullValue>) {
    return [&right](L const& left) { return order_within_kind(left, right); };
  } else if constexpr (is_numeric<L> && std::is_same_v<R, bool>) {
    unsigned long const number = right;
    return [number](L const& left) { return Compare<L>(number)(left); };
  } else if constexpr (is_numeric<L> && is_numeric<R>) {
    return [&right](L const& left) {
      if constexpr (std::is_floating_point_v<L> != std::is_floating_point_v<R>) {
        double const distance = Detail::approximate(left) - Detail::approximate(right);
        double const floating =
            std::is_floating_point_v<L> ? Detail::approximate(left) : Detail::approximate(right);
        if (Detail::is_clear(distance, floating)) [[likely]] {
          return distance < 0 ? ordering::less : ordering::greater;
        }
      }
      return Detail::relate(Detail::CompareImpl(meta_support::TypeIdentity<R>{}, left), right);
    };
  } else {
    db_util::db_exception::raise(error_handling::wrong_operand_kind);
    return [](L const&) { return ordering::left_nan; };  // Gives the type only.
  }
}

// The ordering of two values, neither of them NULL, through the table of kind pairs. Raises 7020
// for kinds that are not comparable.
ordering order_by_kinds(value const& left, value const& right);

// The same; two numbers of one kind, the common case, are compared in place.
inline ordering order(value const& left, value const& right) {
  if (left.index() == right.index()) {
    switch (left.index()) {
      case detail::index_of<unsigned long>:
        return order_within_kind(left.content<unsigned long>(), right.content<unsigned long>());
      case detail::index_of<long>:
        return order_within_kind(left.content<long>(), right.content<long>());
      case detail::index_of<operator_library::Decimal>:
        return order_within_kind(left.content<operator_library::Decimal>(),
                                 right.content<operator_library::Decimal>());
      case detail::index_of<double>:
        return order_within_kind(left.content<double>(), right.content<double>());
      case detail::index_of<db_string::dt_string>:
        return order_within_kind(left.content<db_string::dt_string>(),
                                 right.content<db_string::dt_string>());
      case detail::index_of<QD_OBJ_REF>:
        return order_within_kind(left.content<QD_OBJ_REF>(), right.content<QD_OBJ_REF>());
      default:
        break;
    }
  }
  return order_by_kinds(left, right);
}

// Whether `left wanted right` holds for two numbers of one kind, as their own operators say.
template <relation wanted, typename T>
bool related(T left, T right) {
  if constexpr (wanted == relation::equal) return left == right;
  if constexpr (wanted == relation::not_equal) return left != right;
  if constexpr (wanted == relation::less_than) return left < right;
  if constexpr (wanted == relation::less_than_or_equal) return left <= right;
  if constexpr (wanted == relation::greater_than) return left > right;
  if constexpr (wanted == relation::greater_than_or_equal) return left >= right;
}

// Whether `left wanted right` holds; neither value is NULL. Raises 7020 for kinds that are not
// comparable: a number with anything but a number, any other kind with another.
//
// Numbers of different kinds compare by their exact values. NaN in one kind follows IEEE 754: only
// not_equal holds. NaN between different kinds: on the left no relation holds, not even not_equal
// (also when both are NaN); on the right only not_equal holds.
template <relation wanted>
bool compare(value const& left, value const& right) {
  // The kinds that filters meet most need no ordering to be found first.
  if (left.index() == right.index()) {
    switch (left.index()) {
      case detail::index_of<unsigned long>:
        return related<wanted>(left.content<unsigned long>(), right.content<unsigned long>());
      case detail::index_of<long>:
        return related<wanted>(left.content<long>(), right.content<long>());
      case detail::index_of<operator_library::Decimal>:
        return related<wanted>(left.content<operator_library::Decimal>().scaled,
                               right.content<operator_library::Decimal>().scaled);
      case detail::index_of<double>:
        return related<wanted>(left.content<double>(), right.content<double>());
      default:
        break;
    }
  }
  return holds(wanted, order(left, right));
}

// Where a number of any kind lies among the numbers of kind T (unsigned long, long or Decimal).
// Raises 7020 for a value that is not a number, NULL included.
template <typename T>
Comparison<T> place_among(value const& number);

extern template Comparison<unsigned long> place_among<unsigned long>(value const& number);
extern template Comparison<long> place_among<long>(value const& number);
extern template Comparison<operator_library::Decimal> place_among<operator_library::Decimal>(
    value const& number);

}  // namespace qd::sql_executor::utils
