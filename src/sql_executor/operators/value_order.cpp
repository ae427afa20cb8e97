#include "sql_executor/operators/value_order.h"

namespace qd::sql_executor::utils {

long three_way_key_comparator::operator()(value const& a, value const& b) const {
  if (a.index() == b.index() && !a.is_null()) return sign_of(order(a, b));
  if (a.is_null() || b.is_null()) {
    return static_cast<long>(b.is_null()) - static_cast<long>(a.is_null());
  }
  raise_incompatible_types();
}

void three_way_key_comparator::raise_incompatible_types() {
  throw std::logic_error("incompatible types");
}

}  // namespace qd::sql_executor::utils
