#include "sql_executor/operators/comparison.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <tuple>
#include <utility>

namespace qd::sql_executor::utils {

using db_string::dt_string;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;

namespace {

using kinds = std::tuple<bool, dt_string, unsigned long, long, Decimal, double, float, Binary,
                         QD_OBJ_REF, SetSpecifier, NullValue>;
constexpr std::size_t kind_count = std::tuple_size_v<kinds>;

using pair_order = ordering (*)(value const& left, value const& right);

template <typename L, typename R>
ordering order_pair(value const& left, value const& right) {
  static_assert(std::is_same_v<std::tuple_element_t<detail::index_of<L>, kinds>, L>);
  return Compare<L>(right.content<R>())(left.content<L>());
}

// Entry left * kind_count + right.
constexpr auto order_table = []<std::size_t... entry>(std::index_sequence<entry...>) {
  return std::array<pair_order, sizeof...(entry)>{
      order_pair<std::tuple_element_t<entry / kind_count, kinds>,
                 std::tuple_element_t<entry % kind_count, kinds>>...};
}
(std::make_index_sequence<kind_count * kind_count>());

ordering from_sign(long sign) {
  return Detail::order_numbers(sign, 0L);
}

}  // namespace

ordering order_within_kind(dt_string const& left, dt_string const& right) {
  return from_sign(DenseText4Compare(left.data(), left.size(), right.data(), right.size()));
}

ordering order_within_kind(Binary const& left, Binary const& right) {
  std::size_t const common = std::min(left.bytes.size(), right.bytes.size());
  int const sign = common == 0 ? 0 : std::memcmp(left.bytes.data(), right.bytes.data(), common);
  return sign != 0 ? from_sign(sign) : Detail::order_numbers(left.bytes.size(), right.bytes.size());
}

ordering order_within_kind(SetSpecifier const& left, SetSpecifier const& right) {
  return from_sign(left.specifier.compare(right.specifier));
}

ordering order_by_kinds(value const& left, value const& right) {
  return order_table[left.index() * kind_count + right.index()](left, right);
}

template <typename T>
Comparison<T> place_among(value const& number) {
  return visit(
      []<typename U>(U const& content) -> Comparison<T> {
        if constexpr (is_numeric<U>) {
          return Detail::CompareImpl(meta_support::TypeIdentity<T>{}, content);
        } else {
          db_util::db_exception::raise(error_handling::wrong_operand_kind);
        }
      },
      number);
}

template Comparison<unsigned long> place_among<unsigned long>(value const& number);
template Comparison<long> place_among<long>(value const& number);
template Comparison<Decimal> place_among<Decimal>(value const& number);

}  // namespace qd::sql_executor::utils
