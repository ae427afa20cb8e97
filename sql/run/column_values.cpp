#include "sql/run/column_values.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "db_string/string_encoder.h"
#include "sql/run/texts.h"

namespace qd::sql {
namespace {

using operator_library::Decimal;

// A number of one of the five numeric kinds as another; empty when it is out of range or would not
// be what it was. Floating targets take the nearest number.
struct to_signed {
  std::optional<long> operator()(long number) const { return number; }
  std::optional<long> operator()(unsigned long number) const {
    if (!std::in_range<long>(number)) return std::nullopt;
    return static_cast<long>(number);
  }
  std::optional<long> operator()(Decimal const& number) const {
    if (number.scaled % Decimal::scale != 0) return std::nullopt;
    return number.scaled / Decimal::scale;
  }
  std::optional<long> operator()(double number) const {
    // 2^63 is the first double beyond.
    if (!(number >= -0x1p63 && number < 0x1p63) || number != std::trunc(number)) {
      return std::nullopt;
    }
    return static_cast<long>(number);
  }
};

struct to_unsigned {
  std::optional<unsigned long> operator()(unsigned long number) const { return number; }
  std::optional<unsigned long> operator()(long number) const { return of_signed(number); }
  std::optional<unsigned long> operator()(Decimal const& number) const {
    return of_signed(to_signed()(number));
  }
  std::optional<unsigned long> operator()(double number) const {
    if (!(number >= 0 && number < 0x1p64) || number != std::trunc(number)) return std::nullopt;
    return static_cast<unsigned long>(number);
  }

 private:
  static std::optional<unsigned long> of_signed(std::optional<long> number) {
    if (!number || *number < 0) return std::nullopt;
    return static_cast<unsigned long>(*number);
  }
};

struct to_decimal {
  std::optional<Decimal> operator()(Decimal const& number) const { return number; }
  std::optional<Decimal> operator()(long number) const {
    if (number < -Decimal::max_integer || number > Decimal::max_integer) return std::nullopt;
    return Decimal{number * Decimal::scale};
  }
  std::optional<Decimal> operator()(unsigned long number) const {
    if (!std::in_range<long>(number)) return std::nullopt;
    return (*this)(static_cast<long>(number));
  }
  // Most floating numbers have no equal with six places, and which do would surprise.
  std::optional<Decimal> operator()(double) const { return std::nullopt; }
};

template <typename Floating>
struct to_floating {
  std::optional<Floating> operator()(long number) const { return static_cast<Floating>(number); }
  std::optional<Floating> operator()(unsigned long number) const {
    return static_cast<Floating>(number);
  }
  // Read from its digits: a quotient of two numbers that are rounded themselves can be another.
  std::optional<Floating> operator()(Decimal const& number) const {
    std::string const digits = decimal_digits(number.scaled);
    Floating nearest = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), nearest);
    return nearest;
  }
  std::optional<Floating> operator()(double number) const {
    auto const nearest = static_cast<Floating>(number);
    if (std::isinf(nearest) && !std::isinf(number)) return std::nullopt;
    return nearest;
  }
};

// Calls `conversion` with the number; a float goes as the double that it equals. Empty for what is
// no number.
template <typename Conversion>
auto convert_number(Conversion const& conversion, value const& content)
    -> decltype(conversion(0L)) {
  if (auto const* number = get_if<long>(&content)) return conversion(*number);
  if (auto const* number = get_if<unsigned long>(&content)) return conversion(*number);
  if (auto const* number = get_if<Decimal>(&content)) return conversion(*number);
  if (auto const* number = get_if<double>(&content)) return conversion(*number);
  if (auto const* number = get_if<float>(&content)) {
    return conversion(static_cast<double>(*number));
  }
  return std::nullopt;
}

kind kind_of_value(value const& content) {
  return static_cast<kind>(content.index());
}

char const* type_text(embedded::column_type type) {
  return algebra::kind_name(kind_of_type(type));
}

[[noreturn]] void refuse(column_info const& column, value const& content) {
  bool const numbers =
      algebra::is_numeric(kind_of_value(content)) && algebra::is_numeric(column.kind);
  throw error(error_code::wrong_type,
              "column " + column.name + ": " + shown(content) +
                  (numbers ? " has no place in a column of type " : " does not fit the type ") +
                  type_text(column.type));
}

template <typename Conversion>
auto number_for(column_info const& column, Conversion const& conversion, value const& content) {
  auto const converted = convert_number(conversion, content);
  if (!converted) refuse(column, content);
  return *converted;
}

}  // namespace

column_converter::column_converter(table_info const& table, std::vector<std::size_t> columns)
    : table_(table), columns_(std::move(columns)), texts_(columns_.size()) {
  names_.reserve(columns_.size());
  for (std::size_t const number : columns_) {
    names_.push_back(encoder::utf8_to_utf16(table.columns[number].name));
  }
}

embedded::value column_converter::convert(std::size_t position, value const& content) {
  column_info const& of = column(position);
  if (content.is_null()) {
    if (!of.nullable) {
      throw error(error_code::constraint, "column " + of.name + " of " + table_.name +
                                              " must have a value: it is NOT NULL");
    }
    return {};
  }
  using embedded::column_type;
  switch (of.type) {
    case column_type::signed_integer:
      return number_for(of, to_signed(), content);
    case column_type::unsigned_integer:
      return number_for(of, to_unsigned(), content);
    case column_type::decimal:
      return embedded::decimal{number_for(of, to_decimal(), content).scaled};
    case column_type::double_float:
      return number_for(of, to_floating<double>(), content);
    case column_type::single_float:
      return number_for(of, to_floating<float>(), content);
    case column_type::boolean:
      if (auto const* truth = get_if<bool>(&content)) return *truth;
      break;
    case column_type::string:
      if (auto const* text = get_if<db_string::dt_string>(&content)) {
        texts_[position] = text->string();
        return texts_[position];
      }
      break;
    case column_type::binary:
      if (auto const* binary = get_if<operator_library::Binary>(&content)) {
        return embedded::binary_view(binary->bytes);
      }
      break;
    case column_type::reference:
      if (auto const* reference = get_if<QD_OBJ_REF>(&content)) {
        return embedded::object_id{reference->oid};
      }
      break;
  }
  refuse(of, content);
}

std::optional<value> exactly_as(kind target, value const& content) {
  kind const given = kind_of_value(content);
  if (given == target || !algebra::is_numeric(given) || !algebra::is_numeric(target))
    return content;
  auto const as_value = [](auto const& converted) -> std::optional<value> {
    if (!converted) return std::nullopt;
    return value(*converted);
  };
  switch (target) {
    case kind::signed_integer:
      return as_value(convert_number(to_signed(), content));
    case kind::unsigned_integer:
      return as_value(convert_number(to_unsigned(), content));
    case kind::decimal:
      return as_value(convert_number(to_decimal(), content));
    case kind::double_float:
      return as_value(convert_number(to_floating<double>(), content));
    case kind::single_float:
      return as_value(convert_number(to_floating<float>(), content));
    default:
      return content;
  }
}

std::string shown(value const& content) {
  constexpr std::size_t most_bytes = 80;
  std::string text = display_text(content);
  if (text.size() > most_bytes) {
    text = cut_text(text, most_bytes) + "...";
  }
  return holds_alternative<db_string::dt_string>(content) ? "'" + text + "'" : text;
}

}  // namespace qd::sql
