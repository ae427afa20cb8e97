#include "sql_executor/scan_key.h"

#include <algorithm>
#include <stdexcept>

namespace qd::sql_executor::scan_range {

namespace {

template <typename T>
int order(T left, T right) {
  return left < right ? -1 : right < left ? 1 : 0;
}

// One overload per pair of equal alternatives.
struct key_order {
  int operator()(operator_library::NullValue, operator_library::NullValue) const { return 0; }
  int operator()(bool left, bool right) const { return order(left, right); }
  int operator()(unsigned long left, unsigned long right) const { return order(left, right); }
  int operator()(long left, long right) const { return order(left, right); }
  int operator()(operator_library::Decimal left, operator_library::Decimal right) const {
    return order(left.scaled, right.scaled);
  }
  int operator()(db_string::dt_string const& left, db_string::dt_string const& right) const {
    long const result = DenseText4Compare(left.data(), left.size(), right.data(), right.size());
    return order(result, 0L);
  }
  int operator()(binary_key const& left, binary_key const& right) const {
    auto const* const left_bytes = std::get_if<operator_library::Binary>(&left.content);
    auto const* const right_bytes = std::get_if<operator_library::Binary>(&right.content);
    if (left_bytes == nullptr || right_bytes == nullptr) {
      return order(left_bytes == nullptr, right_bytes == nullptr);
    }
    auto const result = std::lexicographical_compare_three_way(
        left_bytes->bytes.begin(), left_bytes->bytes.end(), right_bytes->bytes.begin(),
        right_bytes->bytes.end());
    return result < 0 ? -1 : result > 0 ? 1 : 0;
  }
  int operator()(ObjRef_key left, ObjRef_key right) const { return order(left.oid, right.oid); }
};

bool is_null(ScanKey const& key) {
  return std::holds_alternative<operator_library::NullValue>(key);
}

}  // namespace

int three_way_key_comparator(ScanKey const& left, ScanKey const& right) {
  if (is_null(left) || is_null(right)) return order(is_null(right), is_null(left));
  if (left.index() != right.index()) throw std::logic_error("incompatible types");
  return std::visit(
      [&right](auto const& content) {
        return key_order()(content, std::get<std::remove_cvref_t<decltype(content)>>(right));
      },
      left);
}

}  // namespace qd::sql_executor::scan_range
