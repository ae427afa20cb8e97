#include "sql/bind/literals.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "db_string/string_encoder.h"
#include "physical_queryplan/query_plan.h"
#include "sql/error.h"

namespace qd::sql {

using physical_queryplan::QueryPlan::Constant;

namespace {

[[noreturn]] void refuse(std::string const& text, text_position position) {
  throw error(error_code::bad_literal, text, position);
}

// The number of all its digits; false when it does not fit.
bool read_digits(std::string const& digits, unsigned long& number) {
  char const* const end = digits.data() + digits.size();
  auto const [stop, failure] = std::from_chars(digits.data(), end, number);
  return failure == std::errc() && stop == end;
}

constexpr unsigned long signed_limit = 1UL << 63;  // The magnitude of the least signed number.

}  // namespace

algebra::Expression integer_value(std::string const& digits, bool negative,
                                  text_position position) {
  unsigned long magnitude = 0;
  if (!read_digits(digits, magnitude) || (negative && magnitude > signed_limit)) {
    refuse("the integer " + std::string(negative ? "-" : "") + digits + " is out of range",
           position);
  }
  if (negative) return Constant(static_cast<long>(0UL - magnitude));
  if (magnitude < signed_limit) return Constant(static_cast<long>(magnitude));
  return Constant(magnitude);
}

algebra::Expression decimal_value(std::string const& digits, bool negative,
                                  text_position position) {
  constexpr std::size_t places = 6;
  std::size_t const point = digits.find('.');
  std::string const whole = digits.substr(0, point);
  std::string fraction = point == std::string::npos ? "" : digits.substr(point + 1);
  if (fraction.size() > places) {
    refuse("the decimal " + digits + " has more than six places", position);
  }
  fraction.resize(places, '0');
  unsigned long scaled = 0;
  if (!read_digits(whole + fraction, scaled) ||
      scaled > static_cast<unsigned long>(operator_library::Decimal::max_scaled)) {
    refuse("the decimal " + digits + " is out of range", position);
  }
  long const magnitude = static_cast<long>(scaled);
  return Constant(operator_library::Decimal{negative ? -magnitude : magnitude});
}

algebra::Expression floating_value(std::string const& digits, bool negative,
                                   text_position position) {
  double number = 0;
  char const* const end = digits.data() + digits.size();
  auto const [stop, failure] = std::from_chars(digits.data(), end, number);
  if (failure != std::errc() || stop != end) {
    refuse("the number " + digits + " is out of range", position);
  }
  return Constant(negative ? -number : number);
}

algebra::Expression text_value(std::string const& text, text_position position) {
  try {
    return Constant(db_string::dt_string(encoder::utf8_to_utf16(text), false));
  } catch (std::range_error const&) {
    refuse("a text is not valid UTF-8", position);
  }
}

algebra::Expression binary_value(std::string const& bytes) {
  operator_library::Binary content;
  content.bytes.assign(bytes.begin(), bytes.end());
  return Constant(std::move(content));
}

}  // namespace qd::sql
