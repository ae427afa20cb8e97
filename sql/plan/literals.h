// Literals as values of a column's own kind.
#pragma once

#include <optional>
#include <string>

#include "sql/algebra/expressions.h"

namespace qd::sql::planning {

// The literal as one of `wanted`; none when the expression is no literal, or NULL, or when no value
// of that kind equals it. Never of the floating kinds, where equal values can differ in content.
std::optional<algebra::Expression> literal_of_kind(algebra::kind wanted,
                                                   algebra::Expression const& expression);

// Whether the expression is a literal, and of the values of `wanted`, a kind that keys have, equals
// none: NULL, or a number between or beyond them.
bool equals_no_key(algebra::kind wanted, algebra::Expression const& expression);

// The content of a text literal; none of any other expression.
std::optional<std::u16string> literal_text(algebra::Expression const& expression);
algebra::Expression text_literal(std::u16string const& content);

// The content of a literal that counts rows; none of any other expression.
std::optional<double> literal_count(algebra::Expression const& expression);

}  // namespace qd::sql::planning
