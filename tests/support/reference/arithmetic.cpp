#include <limits>

#include "support/reference/numbers.h"

namespace reference {

using namespace numbers;

namespace {

value decimal_in_range(wide_integer scaled) {
  if (scaled > max_decimal || scaled < -max_decimal) fail(7041);
  return decimal{static_cast<long>(scaled)};
}

// That many millionths, halves away from zero; the range is that of the number before it is
// rounded.
value round_to_decimal(cpp_int numerator, cpp_int denominator) {
  if (denominator < 0) {
    numerator = -numerator;
    denominator = -denominator;
  }
  cpp_int const magnitude = abs(numerator);
  if (magnitude > denominator * max_decimal) fail(7041);
  cpp_int const rounded = (2 * magnitude + denominator) / (2 * denominator);
  long const whole = static_cast<long>(rounded);
  return decimal{numerator < 0 ? -whole : whole};
}

value signed_in_range(wide_integer number) {
  if (number > std::numeric_limits<long>::max() || number < std::numeric_limits<long>::min()) {
    fail(7041);
  }
  return static_cast<long>(number);
}

value compute_same_kind(arithmetic operation, value const& left, value const& right) {
  return std::visit(
      [&]<typename T>(T const& a) -> value {
        if constexpr (std::is_same_v<T, null_value>) {
          return null_value();
        } else if constexpr (is_floating<T>) {
          T const b = std::get<T>(right);
          switch (operation) {
            case arithmetic::plus:
              return a + b;
            case arithmetic::minus:
              return a - b;
            case arithmetic::times:
              return a * b;
            default:
              return a / b;
          }
        } else if constexpr (std::is_same_v<T, long>) {
          wide_integer const b = std::get<T>(right);
          switch (operation) {
            case arithmetic::plus:
              return signed_in_range(a + b);
            case arithmetic::minus:
              return signed_in_range(a - b);
            case arithmetic::times:
              return signed_in_range(a * b);
            default:
              if (b == 0) fail(7041);
              return signed_in_range(a / b);
          }
        } else if constexpr (std::is_same_v<T, decimal>) {
          wide_integer const b = std::get<T>(right).scaled;
          switch (operation) {
            case arithmetic::plus:
              return decimal_in_range(a.scaled + b);
            case arithmetic::minus:
              return decimal_in_range(a.scaled - b);
            case arithmetic::times:
              return round_to_decimal(cpp_int(a.scaled) * cpp_int(b), scale);
            default:
              if (b == 0) fail(7041);
              return round_to_decimal(cpp_int(a.scaled) * scale, b);
          }
        } else {
          fail(7020);
        }
      },
      left);
}

// Numbers by the kind that arithmetic prefers: the higher one wins.
int arithmetic_rank(kind of) {
  switch (of) {
    case of_bool:
      return 0;
    case of_unsigned:
      return 1;
    case of_signed:
      return 2;
    case of_decimal:
      return 3;
    case of_float:
      return 4;
    default:
      return 5;
  }
}

template <typename Target, typename Floating>
value whole_of(Floating number, double greatest, double least) {
  double const wide = number;
  if (std::isnan(wide) || wide < least || wide > greatest) fail(7041);
  return static_cast<Target>(wide);
}

template <typename T>
value convert_number(T const& number, kind target) {
  switch (target) {
    case of_bool:
      if constexpr (std::is_same_v<T, decimal>)
        return number.scaled != 0;
      else
        return number != T(0);
    case of_unsigned:
      if constexpr (is_floating<T>) {
        return whole_of<unsigned long>(number, 18446744073709549568.0, -0.0);
      } else {
        if (millionths(number) < 0) fail(7041);
        return static_cast<unsigned long>(millionths(number) / scale);
      }
    case of_signed:
      if constexpr (is_floating<T>) {
        return whole_of<long>(number, 9223372036854774784.0, -9223372036854775808.0);
      } else {
        return signed_in_range(millionths(number) / scale);
      }
    case of_decimal:
      if constexpr (is_floating<T>) {
        fail(1027);
      } else if constexpr (std::is_same_v<T, decimal>) {
        return number;
      } else {
        wide_integer const whole = number;
        if (whole > max_integer_of_decimal || whole < -max_integer_of_decimal) fail(7041);
        return decimal{static_cast<long>(whole * scale)};
      }
    case of_float:
      if constexpr (std::is_same_v<T, double>)
        fail(1027);
      else if constexpr (std::is_same_v<T, decimal>)
        return static_cast<float>(number.scaled) / 1'000'000.0f;
      else
        return static_cast<float>(number);
    default:
      if constexpr (std::is_same_v<T, decimal>)
        return static_cast<double>(number.scaled) / 1'000'000.0;
      else
        return static_cast<double>(number);
  }
}

}  // namespace

value convert(value const& source, kind target, class_lookup const& set_specifier_of) {
  if (target == of_null || is_null(source)) return null_value();
  kind const from = kind_of(source);
  if (!is_numeric(target)) {
    if (from == target) return source;
    if (target == of_set_specifier && from == of_string) {
      return set_specifier{set_specifier_of(std::get<of_string>(source))};
    }
    fail(7020);
  }
  if (from == of_string) fail(1027);
  if (!is_numeric(from)) fail(7020);
  return std::visit(
      [&]<typename T>(T const& number) -> value {
        if constexpr (is_number<T>) {
          if (from == target) return number;
          return convert_number(number, target);
        } else {
          fail(7020);
        }
      },
      source);
}

value compute(arithmetic operation, value const& left, value const& right) {
  if (is_null(left) || is_null(right)) return null_value();
  kind const a = kind_of(left);
  kind const b = kind_of(right);
  if (a == b) {
    if (a != of_unsigned) return compute_same_kind(operation, left, right);
    // The left one first: its error wins, and both are the same.
    value const signed_left = convert(left, of_signed, {});
    return compute_same_kind(operation, signed_left, convert(right, of_signed, {}));
  }
  if (!is_numeric(a) || !is_numeric(b)) fail(7020);
  kind const common = arithmetic_rank(a) > arithmetic_rank(b) ? a : b;
  value const common_left = convert(left, common, {});
  return compute_same_kind(operation, common_left, convert(right, common, {}));
}

value add_same_kind(value const& left, value const& right) {
  if (left.index() != right.index()) throw failure{"exception: *"};
  return compute_same_kind(arithmetic::plus, left, right);
}

value negate(value const& operand) {
  switch (kind_of(operand)) {
    case of_null:
      return operand;
    case of_signed:
      return signed_in_range(-static_cast<wide_integer>(std::get<of_signed>(operand)));
    case of_unsigned: {
      unsigned long const number = std::get<of_unsigned>(operand);
      if (number >= 1UL << 63) fail(7041);
      return -static_cast<long>(number);
    }
    case of_decimal:
      return decimal{-std::get<of_decimal>(operand).scaled};
    case of_double:
      return -std::get<of_double>(operand);
    case of_float:
      return -std::get<of_float>(operand);
    default:
      fail(7020);
  }
}

value exact_average(wide_integer total, unsigned long count) {
  decimal_in_range(total);
  decimal_in_range(static_cast<wide_integer>(count) * scale);
  return round_to_decimal(total, count);
}

}  // namespace reference
