#include "sql_executor/scan_interval.h"

#include <limits>
#include <optional>
#include <stdexcept>
#include <type_traits>

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"
#include "kernel/vela.h"
#include "sql_executor/operators/comparison.h"
#include "sql_executor/operators/operand.h"

namespace qd::sql_executor::scan_range {

namespace {

using db_string::dt_string;
using db_util::db_exception;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;
using op = scan::op;

// The set-specifier densetext of a text, or the largest that begins with it.
dt_string set_specifier_key(evaluation_context const& context, char16_t const* text,
                            bool infinite) {
  VELA_BYTES const* densetext;
  db_exception::check(
      vela_context_convert_ucs2_to_setspecdt(context.kernel_context, text, infinite, &densetext));
  return dt_string(densetext->bytes, densetext->count);
}

// A value of the column's own type as its key.
ScanKey key_from_endpoint(evaluation_context const&, NullValue content) {
  return content;
}
ScanKey key_from_endpoint(evaluation_context const&, bool content) {
  return content;
}
ScanKey key_from_endpoint(evaluation_context const&, unsigned long content) {
  return content;
}
ScanKey key_from_endpoint(evaluation_context const&, long content) {
  return content;
}
ScanKey key_from_endpoint(evaluation_context const&, Decimal content) {
  return content;
}
ScanKey key_from_endpoint(evaluation_context const&, dt_string const& content) {
  return content;
}
ScanKey key_from_endpoint(evaluation_context const&, Binary const& content) {
  return binary_key{content};
}
ScanKey key_from_endpoint(evaluation_context const&, QD_OBJ_REF const& content) {
  return ObjRef_key{content.oid};
}
ScanKey key_from_endpoint(evaluation_context const& context, SetSpecifier const& content) {
  return set_specifier_key(context, content.specifier.c_str(), false);
}

// The upper end, exclusive, of the keys that begin with a value's.
ScanKey prefix_end(evaluation_context const&, NullValue content) {
  return content;
}
ScanKey prefix_end(evaluation_context const& context, dt_string const& content) {
  std::u16string const text = content.string(context.kernel_context);
  return dt_string(context.kernel_context, text, true);
}
ScanKey prefix_end(evaluation_context const& context, SetSpecifier const& content) {
  return set_specifier_key(context, content.specifier.c_str(), true);
}
template <typename V>
ScanKey prefix_end(evaluation_context const&, V const&) {
  // Only texts have prefixes.
  db_exception::raise(error_handling::wrong_operand_kind);
}

void raise_low(interval& range, ScanKey key, bool inclusive) {
  range.low = max(std::move(range.low), {std::move(key), inclusive});
}

void lower_high(interval& range, ScanKey key, bool inclusive) {
  range.high = min(std::move(range.high), {std::move(key), inclusive});
}

void set_null_exclusion(interval& range, bool exclude_null, value const& operand) {
  if (!exclude_null) return;
  if (operand.is_null()) {
    range = empty;
  } else {
    raise_low(range, NullValue(), false);
  }
}

// Narrows by an operand of the column's own type, or NULL.
template <typename V>
void SameTypeInterval(op relation, V const& operand, evaluation_context const& context,
                      interval& range) {
  switch (relation) {
    case op::greater:
      return raise_low(range, key_from_endpoint(context, operand), false);
    case op::less:
      return lower_high(range, key_from_endpoint(context, operand), false);
    case op::equal:
      raise_low(range, key_from_endpoint(context, operand), true);
      return lower_high(range, key_from_endpoint(context, operand), true);
    case op::greater_or_equal:
      return raise_low(range, key_from_endpoint(context, operand), true);
    case op::less_or_equal:
      return lower_high(range, key_from_endpoint(context, operand), true);
    case op::starts_with: {
      ScanKey begin = key_from_endpoint(context, operand);
      ScanKey end = prefix_end(context, operand);
      raise_low(range, std::move(begin), true);
      return lower_high(range, std::move(end), false);
    }
  }
}

// Narrows by an operand of another numeric kind, which lies among the column's values as `place`
// says. A NaN leaves no key: the high end stays at NULL, exclusive, whatever is narrowed after.
template <typename T>
void ComparisonInterval(op relation, utils::Comparison<T> const& place,
                        evaluation_context const& context, interval& range) {
  if (place.nan) range = empty;
  bool const exact = place.ceil == place.floor;
  switch (relation) {
    case op::greater:
    case op::greater_or_equal:
      if (place.above) {
        range = empty;
      } else if (!place.below) {
        bool const inclusive = relation == op::greater_or_equal && exact;
        raise_low(range, key_from_endpoint(context, place.floor), inclusive);
      }
      return;
    case op::less:
    case op::less_or_equal:
      if (place.below) {
        range = empty;
      } else if (!place.above) {
        bool const inclusive = relation == op::less_or_equal && exact;
        lower_high(range, key_from_endpoint(context, place.ceil), inclusive);
      }
      return;
    case op::equal:
      if (place.below || place.above || !exact) {
        range = empty;
      } else {
        raise_low(range, key_from_endpoint(context, place.ceil), true);
        lower_high(range, key_from_endpoint(context, place.ceil), true);
      }
      return;
    case op::starts_with:
      throw std::logic_error("Supposedly unreachable");
  }
}

// Where a number lies relative to false and true, which are 0 and 1.
template <typename V>
utils::Comparison<bool> place_among_bools(V number, V one) {
  utils::Comparison<bool> place{};
  place.nan = number != number;
  place.below = number < V{};
  place.above = number > one;
  place.ceil = number > V{};
  place.floor = number >= one;
  return place;
}

utils::Comparison<bool> place_among_bools(Decimal number) {
  return place_among_bools(number.scaled, Decimal::scale);
}
template <typename V>
utils::Comparison<bool> place_among_bools(V number) {
  return place_among_bools(number, V{1});
}

// Narrows the interval of a column whose values are of type T.
template <typename T>
void narrow_interval(op relation, value const& operand, evaluation_context const& context,
                     interval& range) {
  visit(
      [&]<typename V>(V const& content) {
        if constexpr (std::is_same_v<V, NullValue> || std::is_same_v<V, T>) {
          SameTypeInterval(relation, content, context, range);
        } else if constexpr (std::is_same_v<T, bool> && utils::is_numeric<V>) {
          ComparisonInterval<bool>(relation, place_among_bools(content), context, range);
        } else if constexpr (utils::is_numeric<T> && utils::is_numeric<V>) {
          ComparisonInterval<T>(relation, utils::place_among<T>(operand), context, range);
        } else {
          db_exception::raise(error_handling::wrong_operand_kind);
        }
      },
      operand);
}

void narrow_column(value_type type, op relation, value const& operand,
                   evaluation_context const& context, interval& range) {
  switch (type) {
    case value_type::unsigned_integer:
      return narrow_interval<unsigned long>(relation, operand, context, range);
    case value_type::signed_integer:
      return narrow_interval<long>(relation, operand, context, range);
    case value_type::decimal:
      return narrow_interval<Decimal>(relation, operand, context, range);
    case value_type::string:
      return narrow_interval<dt_string>(relation, operand, context, range);
    case value_type::binary:
      return narrow_interval<Binary>(relation, operand, context, range);
    case value_type::object_reference:
      return narrow_interval<QD_OBJ_REF>(relation, operand, context, range);
    case value_type::set_specifier:
      return narrow_interval<SetSpecifier>(relation, operand, context, range);
    case value_type::boolean:
      return narrow_interval<bool>(relation, operand, context, range);
    case value_type::single_float:
    case value_type::double_float:
      return require_keyed_type(type);
  }
}

}  // namespace

interval_point min(interval_point first, interval_point second) {
  int const order = three_way_key_comparator(first.key, second.key);
  bool const take_second = order > 0 || (order == 0 && first.inclusive);
  return take_second ? std::move(second) : std::move(first);
}

interval_point max(interval_point first, interval_point second) {
  int const order = three_way_key_comparator(first.key, second.key);
  bool const take_second = order < 0 || (order == 0 && first.inclusive);
  return take_second ? std::move(second) : std::move(first);
}

void require_keyed_type(value_type type) {
  if (type == value_type::single_float) {
    throw std::logic_error("Index key of float type is not supported");
  }
  if (type == value_type::double_float) {
    throw std::logic_error("Index key of double type is not supported");
  }
}

ScanKey max_key_by_type(evaluation_context const& context, value_type type) {
  switch (type) {
    case value_type::unsigned_integer:
      return ~0UL;
    case value_type::signed_integer:
      return std::numeric_limits<long>::max();
    case value_type::decimal:
      return Decimal{Decimal::max_scaled};
    case value_type::string:
      return dt_string(context.kernel_context, u"", true);
    case value_type::binary:
      return binary_key{binary_key::infinite()};
    case value_type::object_reference:
      return ObjRef_key{~0UL};
    case value_type::set_specifier:
      return set_specifier_key(context, u"", true);
    case value_type::boolean:
      return true;
    case value_type::single_float:
    case value_type::double_float:
      break;
  }
  require_keyed_type(type);
  throw std::invalid_argument("unknown type");
}

namespace {

void narrow_by_endpoint(scan::interval_endpoint const& endpoint, value const& operand,
                        value_type type, evaluation_context const& context, interval& range) {
  set_null_exclusion(range, endpoint.exclude_null, operand);
  narrow_column(type, endpoint.op, operand, context, range);
}

interval whole_column(evaluation_context const& context, value_type type) {
  return {{NullValue(), true}, {max_key_by_type(context, type), true}};
}

// The key of a value of the column's own kind; empty for another kind and for NULL.
std::optional<ScanKey> key_of_own_kind(value_type type, value const& operand,
                                       evaluation_context const& context) {
  auto const key_of = [&]<typename T>(T const* content) -> std::optional<ScanKey> {
    if (content == nullptr) return std::nullopt;
    return key_from_endpoint(context, *content);
  };
  switch (type) {
    case value_type::unsigned_integer:
      return key_of(get_if<unsigned long>(&operand));
    case value_type::signed_integer:
      return key_of(get_if<long>(&operand));
    case value_type::decimal:
      return key_of(get_if<Decimal>(&operand));
    case value_type::string:
      return key_of(get_if<dt_string>(&operand));
    case value_type::object_reference:
      return key_of(get_if<QD_OBJ_REF>(&operand));
    default:
      return std::nullopt;
  }
}

// What narrowing the whole column by one equality leaves: joins ask for nothing else, once per left
// row, and mostly with a value of the column's own kind, whose key is then the only one.
interval equality_interval(scan::interval_endpoint const& endpoint, value_type type,
                           evaluation_context const& context) {
  value scratch;
  value const& operand = operators::read(endpoint.operand, context, scratch);
  if (std::optional<ScanKey> key = key_of_own_kind(type, operand, context)) {
    return {{*key, true}, {std::move(*key), true}};
  }
  interval range = whole_column(context, type);
  narrow_by_endpoint(endpoint, operand, type, context, range);
  return range;
}

}  // namespace

interval column_interval(std::span<scan::interval_endpoint const> endpoints, value_type type,
                         evaluation_context const& context) {
  if (endpoints.size() == 1 && endpoints[0].op == op::equal) {
    return equality_interval(endpoints[0], type, context);
  }
  interval range = whole_column(context, type);
  for (scan::interval_endpoint const& endpoint : endpoints) {
    value scratch;
    value const& operand = operators::read(endpoint.operand, context, scratch);
    narrow_by_endpoint(endpoint, operand, type, context, range);
  }
  return range;
}

}  // namespace qd::sql_executor::scan_range
