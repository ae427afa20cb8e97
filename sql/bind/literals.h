// Literals as values: exactly what is written, or an error.
#pragma once

#include <string>

#include "sql/algebra/expressions.h"
#include "sql/syntax/position.h"

namespace qd::sql {

// A number without point and exponent: signed up to 2^63 - 1, unsigned up to 2^64 - 1. With
// `negative` its negation, down to -2^63.
algebra::Expression integer_value(std::string const& digits, bool negative, text_position position);
// A number with a point: at most six places, |number| <= 4398046511103.999999.
algebra::Expression decimal_value(std::string const& digits, bool negative, text_position position);
// A number with an exponent: the nearest double.
algebra::Expression floating_value(std::string const& digits, bool negative,
                                   text_position position);
// UTF-8.
algebra::Expression text_value(std::string const& text, text_position position);
algebra::Expression binary_value(std::string const& bytes);

}  // namespace qd::sql
