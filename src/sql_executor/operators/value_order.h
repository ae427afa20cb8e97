// The order of values for sorting and for MIN and MAX.
#pragma once

#include <stdexcept>
#include <type_traits>

#include "sql_executor/operators/comparison.h"

namespace qd::sql_executor::utils {

// A binary visitor over two values: negative, zero or positive as the first is before, level with
// or after the second. NULL is before every other value and level with itself; two values of one
// kind stand as order_within_kind says. Raises db_exception 7041 where a NaN meets another value of
// its kind, and std::logic_error "incompatible types" for two kinds neither of which is NULL.
class three_way_key_comparator {
 public:
  explicit three_way_key_comparator(unsigned long kernel_context)
      : kernel_context(kernel_context) {}

  template <typename A, typename B>
  requires(detail::is_alternative<A>&& detail::is_alternative<B>) long operator()(
      A const& a, B const& b) const {
    constexpr bool a_is_null = std::is_same_v<A, operator_library::NullValue>;
    constexpr bool b_is_null = std::is_same_v<B, operator_library::NullValue>;
    if constexpr (a_is_null || b_is_null) {
      return static_cast<long>(b_is_null) - static_cast<long>(a_is_null);
    } else if constexpr (std::is_same_v<A, B>) {
      return sign_of(order_within_kind(a, b));
    } else {
      raise_incompatible_types();
    }
  }

  long operator()(value const& a, value const& b) const;

 private:
  static long sign_of(ordering found) {
    if (found == ordering::unordered) [[unlikely]] {
      db_util::db_exception::raise(error_handling::out_of_range);
    }
    return static_cast<long>(found == ordering::greater) -
           static_cast<long>(found == ordering::less);
  }
  [[noreturn]] static void raise_incompatible_types();

  unsigned long kernel_context;  // Of the evaluation context; no present kind's order needs it.
};

}  // namespace qd::sql_executor::utils
