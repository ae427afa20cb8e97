// Conditions as bounds on the columns of a table.
#pragma once

#include <span>
#include <vector>

#include "sql/catalogue/catalogue.h"
#include "sql/plan/conditions.h"

namespace qd::sql::planning {

enum class bound_kind { equal, less, less_or_equal, greater, greater_or_equal, starts_with };

// A condition that can narrow an index scan: column <kind> value.
struct bound {
  std::size_t condition;  // Its position in the list of conditions.
  std::size_t column;     // Its number in the table.
  bound_kind kind;
  // The operand, without variables of the table. Several are alternatives, for `equal` only:
  // literals of the column's own kind, no two of them equal. Alternatives that no key equals, such
  // as NULL, are left out.
  std::vector<Expression> values;
  variable_set uses;  // What the operand reads.
  bool exclude_null;  // False of the bounds that stand for IS NULL and IS NOT NULL.
  // Whether the keys within the bound are those for which the condition holds, whatever value the
  // operand turns out to have, as long as it is on the last column that is bounded. It is not when
  // it stands for a part of a pattern.
  bool exact;
  // Whether it is an equality with a value that is known now: a literal of the column's own kind,
  // or the NULL of IS NULL. Bounds on a following column then apply to a single key. An equality
  // with anything else may turn out to be an empty interval, of which an earlier column of a key
  // keeps the key and not the emptiness.
  bool pins;
  double share;  // Of the rows, as estimated; of equalities by the index instead.
};

// The bounds that the conditions on a table give. One condition gives one at most, a comparison of
// two columns of the table none. Operands whose evaluation can fail are left out when a condition
// before them may have kept them from being evaluated.
std::vector<bound> find_bounds(table_info const& table, algebra::TableVariable const& variable,
                               std::span<condition const> conditions, variable_numbers& numbers);

}  // namespace qd::sql::planning
