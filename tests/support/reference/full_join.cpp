// Both sides once; neither sees the other's rows while it is enumerated.
#include "support/reference/relation.h"

namespace reference {

namespace plan = physical_queryplan::QueryPlan;

namespace {

row padded(row const& left, row const& right) {
  row joined = left;
  joined.insert(joined.end(), right.begin(), right.end());
  return joined;
}

// Rows in the order in which they are added, or in any when a side's order is not defined.
struct output {
  relation& result;
  bool ordered;
  void add(row columns) {
    std::size_t const rank = ordered ? result.rows.size() : 0;
    result.add(std::move(columns), rank);
  }
};

// The right side is read whole first; then each left row meets every right row.
void join_on(Expression const& condition, plan::FullJoin const& join, relation const& left,
             relation const& right, environment& scope, output to) {
  layout const left_variables = layout_of(*join.left);
  layout const right_variables = layout_of(*join.right);
  row const no_left(left_variables.size(), null_value());
  row const no_right(right_variables.size(), null_value());
  if (right.at_end) throw *right.at_end;
  std::vector<bool> matched(right.rows.size(), false);
  for (row const& left_row : left.rows) {
    bool left_matched = false;
    for (std::size_t i = 0; i < right.rows.size(); ++i) {
      row const both = padded(left_row, right.rows[i]);
      scope.push(left_variables, left_row);
      scope.push(right_variables, right.rows[i]);
      bool matches = false;
      try {
        matches = is_true(evaluate(condition, scope));
      } catch (...) {
        scope.pop(both.size());
        throw;
      }
      scope.pop(both.size());
      if (!matches) continue;
      left_matched = true;
      matched[i] = true;
      to.add(both);
    }
    if (!left_matched) to.add(padded(left_row, no_right));
  }
  if (left.at_end) throw *left.at_end;
  for (std::size_t i = 0; i < right.rows.size(); ++i) {
    if (!matched[i]) to.add(padded(no_left, right.rows[i]));
  }
}

// The right side is asked for its first row before the left side is. With rows on both sides the
// right side is read anew for each left row, so its error ends the first of them.
void join_all(plan::FullJoin const& join, relation const& left, relation const& right, output to) {
  row const no_left(layout_of(*join.left).size(), null_value());
  row const no_right(layout_of(*join.right).size(), null_value());
  if (right.rows.empty()) {
    if (right.at_end) throw *right.at_end;
    for (row const& left_row : left.rows) to.add(padded(left_row, no_right));
    if (left.at_end) throw *left.at_end;
    return;
  }
  if (left.rows.empty()) {
    if (left.at_end) throw *left.at_end;
    for (row const& right_row : right.rows) to.add(padded(no_left, right_row));
    if (right.at_end) throw *right.at_end;
    return;
  }
  for (row const& left_row : left.rows) {
    for (row const& right_row : right.rows) to.add(padded(left_row, right_row));
    if (right.at_end) throw *right.at_end;
  }
  if (left.at_end) throw *left.at_end;
}

}  // namespace

relation enumerate(plan::FullJoin const& join, environment& scope) {
  relation result;
  relation const left = enumerate(*join.left, scope);
  result.unspecified = left.unspecified;
  if (left.at_start) {
    result.at_start = left.at_start;
    return result;
  }
  relation const right = enumerate(*join.right, scope);
  result.unspecified = result.unspecified || right.unspecified;
  if (right.at_start) {
    result.at_start = right.at_start;
    return result;
  }
  bool const ordered = !left.has_ties() && !right.has_ties();
  try {
    if (join.condition) {
      join_on(*join.condition, join, left, right, scope, {result, ordered});
    } else {
      join_all(join, left, right, {result, ordered});
    }
  } catch (failure const& raised) {
    result.at_end = over_rows(over_rows(raised, left), right);
  }
  return result;
}

}  // namespace reference
