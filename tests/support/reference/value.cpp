#include "support/reference/value.h"

#include <algorithm>
#include <limits>
#include <sstream>

#include "support/reference/numbers.h"

namespace reference {

using namespace numbers;

namespace {

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
