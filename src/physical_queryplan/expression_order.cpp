// The total order of expressions, which makes the bounds of a scan a set.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <type_traits>

#include "physical_queryplan/query_plan.h"

namespace physical_queryplan::QueryPlan {

namespace {

template <typename T>
int order(T const& left, T const& right) {
  if (left < right) return -1;
  return right < left ? 1 : 0;
}

int order_bytes(unsigned char const* left, unsigned long left_size, unsigned char const* right,
                unsigned long right_size) {
  auto const result =
      std::lexicographical_compare_three_way(left, left + left_size, right, right + right_size);
  return result < 0 ? -1 : result > 0 ? 1 : 0;
}

// Element by element, then the shorter first.
template <typename List, typename Order>
int order_lists(List const& left, List const& right, Order order_elements) {
  std::size_t const common = std::min(left.size(), right.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (int const result = order_elements(left[i], right[i]); result != 0) return result;
  }
  return order(left.size(), right.size());
}

// One overload per content that an expression can have; every pair is of one alternative.
struct content_order {
  int operator()(bool left, bool right) const { return order(left, right); }
  int operator()(unsigned long left, unsigned long right) const { return order(left, right); }
  int operator()(long left, long right) const { return order(left, right); }
  // By the bits, not the values: -0 and +0 are two literals, and a NaN equals itself here.
  int operator()(double left, double right) const {
    return order(std::bit_cast<std::uint64_t>(left), std::bit_cast<std::uint64_t>(right));
  }
  int operator()(float left, float right) const {
    return order(std::bit_cast<std::uint32_t>(left), std::bit_cast<std::uint32_t>(right));
  }
  int operator()(operator_library::Decimal left, operator_library::Decimal right) const {
    return order(left.scaled, right.scaled);
  }
  int operator()(db_string::dt_string const& left, db_string::dt_string const& right) const {
    return order_bytes(left.data(), left.size(), right.data(), right.size());
  }
  int operator()(operator_library::Binary const& left,
                 operator_library::Binary const& right) const {
    return order_bytes(left.bytes.data(), left.bytes.size(), right.bytes.data(),
                       right.bytes.size());
  }
  int operator()(operator_library::SetSpecifier const& left,
                 operator_library::SetSpecifier const& right) const {
    return order(left.specifier, right.specifier);
  }
  int operator()(QD_OBJ_REF left, QD_OBJ_REF right) const { return order(left, right); }
  int operator()(operator_library::NullValue, operator_library::NullValue) const { return 0; }
  template <typename T>
  int operator()(operator_library::Parameter<T> left, operator_library::Parameter<T> right) const {
    return order(left.number, right.number);
  }

  int operator()(Path const& left, Path const& right) const {
    int const by_source = (*this)(left.source, right.source);
    return by_source != 0 ? by_source
                          : order_lists(left.columns, right.columns, order<meta_data::Column>);
  }
  int operator()(TableVariable const& left, TableVariable const& right) const {
    if (int const result = order(left.table, right.table); result != 0) return result;
    if (int const result = order(left.location, right.location); result != 0) return result;
    if (!left.path || !right.path) return order(left.path.has_value(), right.path.has_value());
    return (*this)(**left.path, **right.path);
  }
  template <typename T>
  int operator()(Column<T> const& left, Column<T> const& right) const {
    int const by_column = order(left.column, right.column);
    return by_column != 0 ? by_column : (*this)(left.table_variable, right.table_variable);
  }
  template <typename T>
  int operator()(Derived<T> const& left, Derived<T> const& right) const {
    return order(left.identity, right.identity);
  }
  template <typename Tag>
  int operator()(Operation<Tag> const& left, Operation<Tag> const& right) const {
    int const by_signature = order(left.signature.index(), right.signature.index());
    return by_signature != 0 ? by_signature : order_lists(left.arguments, right.arguments, Compare);
  }
  int operator()(Constant const& left, Constant const& right) const {
    return order_variants(left, right);
  }

  // By alternative, then by content.
  template <typename... T>
  int order_variants(std::variant<T...> const& left, std::variant<T...> const& right) const {
    if (left.index() != right.index()) return order(left.index(), right.index());
    return std::visit(
        [&](auto const& content) {
          return (*this)(content, std::get<std::remove_cvref_t<decltype(content)>>(right));
        },
        left);
  }
};

}  // namespace

int Compare(Expression const& left, Expression const& right) {
  return content_order().order_variants(left.variant, right.variant);
}

bool operator<(Scan::Bound const& left, Scan::Bound const& right) {
  int const by_value = Compare(left.value, right.value);
  return by_value != 0 ? by_value < 0 : left.exclude_null < right.exclude_null;
}

}  // namespace physical_queryplan::QueryPlan
