#include "sql_executor/exec_utils.h"

#include <array>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <type_traits>

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"
#include "kernel/metalayer.h"
#include "kernel/vela.h"
#include "meta_data/catalogue_access.h"
#include "meta_data/meta_data.h"
#include "sql_executor/operators/comparison.h"

namespace qd::sql_executor::utils {

using db_string::dt_string;
using db_util::db_exception;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;

namespace {

template <typename I>
I truncate_to_integer(double number) {
  constexpr double least = static_cast<double>(std::numeric_limits<I>::min());
  constexpr double past_greatest = std::is_signed_v<I> ? 0x1p63 : 0x1p64;
  // False for NaN, too. -0.0 passes for unsigned, -0.5 does not.
  bool const in_range = number >= least && number < past_greatest;
  if (!in_range) db_exception::raise(error_handling::out_of_range);
  return static_cast<I>(number);
}

// From one numeric kind to another.
template <typename T, typename U>
T convert_number(U number) {
  if constexpr (std::is_same_v<U, Decimal>) {
    if constexpr (std::is_same_v<T, bool>) {
      return number.scaled != 0;
    } else if constexpr (std::is_floating_point_v<T>) {
      // Two roundings, both in T: the millionths become a T before the division.
      return static_cast<T>(number.scaled) / static_cast<T>(Decimal::scale);
    } else {
      if (std::is_unsigned_v<T> && number.scaled < 0) {
        db_exception::raise(error_handling::out_of_range);
      }
      return static_cast<T>(number.scaled / Decimal::scale);
    }
  } else if constexpr (std::is_same_v<T, Decimal>) {
    if constexpr (std::is_floating_point_v<U>) {
      db_exception::raise(error_handling::conversion_not_supported);
    } else {
      if constexpr (!std::is_same_v<U, bool>) {
        if (std::cmp_greater(number, Decimal::max_integer) ||
            std::cmp_less(number, -Decimal::max_integer)) {
          db_exception::raise(error_handling::out_of_range);
        }
      }
      return Decimal{static_cast<long>(number) * Decimal::scale};
    }
  } else if constexpr (std::is_same_v<T, bool>) {
    return number != 0;
  } else if constexpr (std::is_same_v<T, float> && std::is_same_v<U, double>) {
    db_exception::raise(error_handling::conversion_not_supported);
  } else if constexpr (std::is_integral_v<T> && std::is_floating_point_v<U>) {
    return truncate_to_integer<T>(number);
  } else {
    if constexpr (std::is_integral_v<T> && !std::is_same_v<U, bool>) {
      if (!std::in_range<T>(number)) db_exception::raise(error_handling::out_of_range);
    }
    return static_cast<T>(number);
  }
}

std::array<value (*)(value), 6> constexpr numeric_converters = {
    [](value source) { return converter<bool>()(std::move(source)); },
    [](value source) { return converter<unsigned long>()(std::move(source)); },
    [](value source) { return converter<long>()(std::move(source)); },
    [](value source) { return converter<Decimal>()(std::move(source)); },
    [](value source) { return converter<float>()(std::move(source)); },
    [](value source) { return converter<double>()(std::move(source)); },
};

// Position of the value's kind in numeric_converters, which stand in the order of unification.
unsigned numeric_rank(value const& source) {
  switch (source.index()) {
    case detail::index_of<bool>:
      return 0;
    case detail::index_of<unsigned long>:
      return 1;
    case detail::index_of<long>:
      return 2;
    case detail::index_of<Decimal>:
      return 3;
    case detail::index_of<float>:
      return 4;
    case detail::index_of<double>:
      return 5;
    default:
      db_exception::raise(error_handling::wrong_operand_kind);
  }
}

// The parts between dots. A part ends at each dot and at the end of the name, and an empty last
// part is none: "a..b" has three parts, ".a" two, "a." one.
metalayer::DottedName split_at_dots(std::u16string_view name) {
  metalayer::DottedName parts;
  while (!name.empty()) {
    std::size_t const dot = name.find(u'.');
    parts.emplace_back(name.substr(0, dot));
    name.remove_prefix(dot == name.npos ? name.size() : dot + 1);
  }
  return parts;
}

}  // namespace

template <typename T>
value converter<T>::convert(value const& source) {
  return visit(
      []<typename U>(U const& content) -> value {
        if constexpr (std::is_same_v<U, NullValue> || std::is_same_v<T, NullValue>) {
          return NullValue{};
        } else if constexpr (is_numeric<T> && is_numeric<U>) {
          return convert_number<T>(content);
        } else if constexpr (is_numeric<T> && std::is_same_v<U, dt_string>) {
          db_exception::raise(error_handling::conversion_not_supported);
        } else if constexpr (std::is_same_v<T, SetSpecifier> && std::is_same_v<U, dt_string>) {
          return SetSpecifier{GetDbType(content)};
        } else {
          db_exception::raise(error_handling::wrong_operand_kind);
        }
      },
      source);
}

template struct converter<bool>;
template struct converter<dt_string>;
template struct converter<unsigned long>;
template struct converter<long>;
template struct converter<Decimal>;
template struct converter<double>;
template struct converter<float>;
template struct converter<Binary>;
template struct converter<QD_OBJ_REF>;
template struct converter<SetSpecifier>;
template struct converter<NullValue>;

std::pair<value, value> unify_numeric_types::operator()(value a, value b) const {
  if (a.is_null() || b.is_null()) return {NullValue{}, NullValue{}};
  if (a.index() == b.index()) {
    if (!holds_alternative<unsigned long>(a)) return {std::move(a), std::move(b)};
    value signed_a = converter<long>()(std::move(a));
    value signed_b = converter<long>()(std::move(b));
    return {std::move(signed_a), std::move(signed_b)};
  }
  unsigned const rank_of_a = numeric_rank(a);
  unsigned const rank_of_b = numeric_rank(b);
  if (rank_of_a < rank_of_b) {
    a = numeric_converters[rank_of_b](std::move(a));
  } else {
    b = numeric_converters[rank_of_a](std::move(b));
  }
  return {std::move(a), std::move(b)};
}

std::u16string GetDbType(dt_string const& name) {
  std::u16string const text = name.base_string();
  QD_OBJ_REF const type = metalayer::DottedName2RawView(split_at_dots(text));
  QD_OBJ_REF const record = metalayer::SetSpecifier::ByType(type);
  VELA_UCS2 const* specifier = nullptr;
  unsigned int const status = vela_context_get_string(
      metalayer::TlsMetalayerContext::Current()->kernel_context, record.oid, record.address,
      meta_data::catalogue::set_specifier::text, &specifier);
  if (status != VELA_STATUS_NULL) db_exception::check(status);
  if (status == VELA_STATUS_NULL || specifier == nullptr) {
    // The text that callers know for a class without a set specifier.
    throw std::logic_error("basic_string::_M_construct null not valid");
  }
  std::u16string_view const units(specifier->units, specifier->count);
  return std::u16string(units.substr(0, units.find(u'\0')));
}

}  // namespace qd::sql_executor::utils
