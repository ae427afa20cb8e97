#include "support/reference/value.h"

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>
#include <limits>
#include <sstream>

namespace reference {

using boost::multiprecision::cpp_int;

namespace {

// An exact number; the denominator is positive.
struct rational {
  cpp_int numerator;
  cpp_int denominator = 1;

  friend bool operator<(rational const& left, rational const& right) {
    return left.numerator * right.denominator < right.numerator * left.denominator;
  }
  // The greatest whole number that is not above this one.
  cpp_int floor() const {
    cpp_int const towards_zero = numerator / denominator;
    return towards_zero * denominator > numerator ? cpp_int(towards_zero - 1) : towards_zero;
  }
};

constexpr long scale = 1'000'000;
constexpr long max_decimal = 4'398'046'511'103'999'999;
constexpr long max_integer_of_decimal = 4'398'046'511'103;

template <typename T>
constexpr bool is_floating = std::is_same_v<T, double> || std::is_same_v<T, float>;
template <typename T>
constexpr bool is_integer =
    std::is_same_v<T, bool> || std::is_same_v<T, unsigned long> || std::is_same_v<T, long>;
template <typename T>
constexpr bool is_number = is_floating<T> || is_integer<T> || std::is_same_v<T, decimal>;

// An exact number of millionths.
template <typename T>
wide_integer millionths(T const& number) {
  if constexpr (std::is_same_v<T, decimal>) {
    return number.scaled;
  } else {
    return static_cast<wide_integer>(number) * scale;
  }
}

template <typename T>
rational exact(T const& number) {
  if constexpr (std::is_same_v<T, decimal>) {
    return {number.scaled, scale};
  } else if constexpr (is_floating<T>) {
    // Any finite double is a whole number of 2^-1074.
    int exponent = 0;
    double const fraction = std::frexp(static_cast<double>(number), &exponent);
    cpp_int const mantissa = static_cast<long>(std::ldexp(fraction, 53));
    return exponent >= 53 ? rational{mantissa << (exponent - 53)}
                          : rational{mantissa, cpp_int(1) << (53 - exponent)};
  } else {
    return {static_cast<cpp_int>(number)};
  }
}

template <typename T>
relation_of order_of(T const& left, T const& right) {
  return left < right   ? relation_of::less
         : right < left ? relation_of::greater
                        : relation_of::equal;
}

template <typename L, typename R>
relation_of compare_numbers(L const& left, R const& right) {
  if constexpr (is_floating<L>) {
    if (std::isnan(left)) {
      return std::is_same_v<L, R> ? relation_of::unordered : relation_of::incomparable;
    }
  }
  if constexpr (is_floating<R>) {
    if (std::isnan(right)) return relation_of::unordered;
  }
  if constexpr (is_floating<L> && is_floating<R>) {
    return order_of<double>(left, right);
  } else if constexpr (is_floating<L>) {
    if (std::isinf(left)) return left < 0 ? relation_of::less : relation_of::greater;
    return order_of(exact(left), exact(right));
  } else if constexpr (is_floating<R>) {
    if (std::isinf(right)) return right > 0 ? relation_of::less : relation_of::greater;
    return order_of(exact(left), exact(right));
  } else {
    return order_of(millionths(left), millionths(right));
  }
}

// The contents of two values of one kind that is no number.
relation_of compare_contents(value const& left, value const& right) {
  switch (kind_of(left)) {
    case of_string:
      return order_of(std::get<of_string>(left), std::get<of_string>(right));
    case of_binary:
      return order_of(std::get<of_binary>(left).bytes, std::get<of_binary>(right).bytes);
    case of_object:
      return order_of(std::get<of_object>(left).oid, std::get<of_object>(right).oid);
    case of_set_specifier:
      return order_of(std::get<of_set_specifier>(left).text,
                      std::get<of_set_specifier>(right).text);
    default:
      return relation_of::equal;
  }
}

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

// A pattern as it is read: a unit that stands for itself, or a wildcard.
struct pattern_token {
  bool wildcard;
  char16_t unit;  // '%' or '_' of a wildcard.
};

std::vector<pattern_token> tokens_of(std::u16string const& pattern) {
  std::vector<pattern_token> tokens;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == u'\\') {
      if (i + 1 == pattern.size()) break;
      tokens.push_back({false, pattern[++i]});
    } else {
      tokens.push_back({pattern[i] == u'%' || pattern[i] == u'_', pattern[i]});
    }
  }
  return tokens;
}

bool matches(std::u16string_view text, std::vector<pattern_token> const& tokens, std::size_t at) {
  if (at == tokens.size()) return text.empty();
  pattern_token const& token = tokens[at];
  if (token.wildcard && token.unit == u'%') {
    for (std::size_t dropped = 0; dropped <= text.size(); ++dropped) {
      if (matches(text.substr(dropped), tokens, at + 1)) return true;
    }
    return false;
  }
  if (text.empty()) return false;
  if (!token.wildcard) return text[0] == token.unit && matches(text.substr(1), tokens, at + 1);
  bool const pair = text[0] >= 0xD800 && text[0] <= 0xDBFF;
  if (pair && text.size() < 2) return false;
  return matches(text.substr(pair ? 2 : 1), tokens, at + 1);
}

}  // namespace

bool is_numeric(kind tested) {
  return tested == of_bool || (tested >= of_unsigned && tested <= of_float);
}

void fail(unsigned int code) {
  throw failure{"error " + std::to_string(code)};
}

relation_of compare(value const& left, value const& right) {
  return std::visit(
      [&]<typename L, typename R>(L const& a, R const& b) -> relation_of {
        if constexpr (is_number<L> && is_number<R>) {
          return compare_numbers(a, b);
        } else if constexpr (std::is_same_v<L, R>) {
          return compare_contents(left, right);
        } else {
          fail(7020);
        }
      },
      left, right);
}

int sort_order(value const& left, value const& right) {
  if (is_null(left) || is_null(right)) {
    return static_cast<int>(is_null(right)) - static_cast<int>(is_null(left));
  }
  if (left.index() != right.index()) throw failure{"exception: incompatible types"};
  switch (compare(left, right)) {
    case relation_of::less:
      return -1;
    case relation_of::equal:
      return 0;
    case relation_of::greater:
      return 1;
    default:
      fail(7041);
  }
}

bool same_group(value const& left, value const& right) {
  return left.index() == right.index() &&
         (is_null(left) || compare(left, right) == relation_of::equal);
}

bool same_group(row const& left, row const& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](value const& a, value const& b) { return same_group(a, b); });
}

bool identical(value const& left, value const& right) {
  if (left.index() != right.index()) return false;
  auto const same_number = [](auto a, auto b) {
    return std::isnan(a) ? std::isnan(b) : a == b && std::signbit(a) == std::signbit(b);
  };
  if (kind_of(left) == of_double) {
    return same_number(std::get<of_double>(left), std::get<of_double>(right));
  }
  if (kind_of(left) == of_float) {
    return same_number(std::get<of_float>(left), std::get<of_float>(right));
  }
  return same_group(left, right);
}

bool identical(row const& left, row const& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](value const& a, value const& b) { return identical(a, b); });
}

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

bool like(std::u16string const& text, std::u16string const& pattern) {
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != u'\\') continue;
    ++i;
    if (i == pattern.size() || std::u16string_view(u"%_\\").find(pattern[i]) == std::string::npos) {
      throw failure{"sql error 7042"};
    }
  }
  return matches(text, tokens_of(pattern), 0);
}

std::u16string like_prefix(std::u16string const& pattern) {
  std::u16string prefix;
  for (pattern_token const& token : tokens_of(pattern)) {
    if (token.wildcard) return prefix;
    prefix += token.unit;
  }
  return {};
}

place place_in(kind target, value const& number) {
  // Values of the kind are the whole multiples of a unit between two bounds.
  cpp_int least = 0;
  cpp_int greatest = 1;
  cpp_int units = 1;
  if (target == of_unsigned) greatest = std::numeric_limits<unsigned long>::max();
  if (target == of_signed) {
    least = std::numeric_limits<long>::min();
    greatest = std::numeric_limits<long>::max();
  }
  if (target == of_decimal) {
    least = -max_decimal;
    greatest = max_decimal;
    units = scale;
  }
  place result;
  auto const set_outside = [&](double sign) {
    result.below = sign < 0;
    result.above = sign > 0;
    return result;
  };
  return std::visit(
      [&]<typename T>(T const& content) -> place {
        if constexpr (!is_number<T>) {
          fail(7020);
        } else {
          if constexpr (is_floating<T>) {
            if (std::isnan(content)) {
              result.nan = true;
              return result;
            }
            if (std::isinf(content)) return set_outside(content);
          }
          rational placed = exact(content);
          placed.numerator *= units;
          if (placed < rational{least}) return set_outside(-1);
          if (rational{greatest} < placed) return set_outside(1);
          cpp_int const floor = placed.floor();
          result.exact = floor * placed.denominator == placed.numerator;
          cpp_int const ceil = result.exact ? floor : cpp_int(floor + 1);
          auto const as_kind = [&](cpp_int const& whole) -> value {
            switch (target) {
              case of_bool:
                return whole != 0;
              case of_unsigned:
                return static_cast<unsigned long>(whole);
              case of_signed:
                return static_cast<long>(whole);
              default:
                return decimal{static_cast<long>(whole)};
            }
          };
          result.floor = as_kind(floor);
          result.ceil = as_kind(ceil);
          return result;
        }
      },
      number);
}

std::string text_of(value const& source) {
  std::ostringstream text;
  auto const write_units = [&](auto const& units) {
    text << std::hex;
    for (auto const unit : units) text << ' ' << static_cast<unsigned>(unit);
  };
  std::visit(
      [&]<typename T>(T const& content) {
        if constexpr (std::is_same_v<T, bool>) {
          text << (content ? "true" : "false");
        } else if constexpr (std::is_same_v<T, std::u16string>) {
          text << "string";
          write_units(content);
        } else if constexpr (std::is_same_v<T, decimal>) {
          text << "decimal " << content.scaled;
        } else if constexpr (std::is_same_v<T, binary>) {
          text << "binary";
          write_units(content.bytes);
        } else if constexpr (std::is_same_v<T, object>) {
          text << "@" << content.oid;
        } else if constexpr (std::is_same_v<T, set_specifier>) {
          text << "set";
          write_units(content.text);
        } else if constexpr (std::is_same_v<T, null_value>) {
          text << "NULL";
        } else {
          text.precision(std::numeric_limits<double>::max_digits10);
          text << content << (is_floating<T> ? sizeof(T) == 4 ? "f" : "d" : "")
               << (std::is_same_v<T, unsigned long> ? "u" : "");
        }
      },
      source);
  return text.str();
}

std::string text_of(row const& source) {
  std::string text;
  for (value const& column : source) {
    if (!text.empty()) text += ", ";
    text += text_of(column);
  }
  return "(" + text + ")";
}

}  // namespace reference
