// Outer joins, and the right sides of all joins.
#include <algorithm>
#include <iterator>
#include <utility>

#include "physical_queryplan/build.h"
#include "sql/algebra/operations.h"
#include "sql/plan/implied.h"
#include "sql/plan/planner.h"

namespace qd::sql::planning {

namespace build = physical_queryplan::build;
using algebra::join_kind;
using algebra::relation_ptr;

namespace {

// Rows are kept when reading them again would cost this many times as much as testing them, and
// not beyond a number that memory surely holds.
constexpr double kept_rows_gain = 4;
constexpr double max_kept_rows = 200000;

// Separates the conditions that use nothing but `variables`.
std::vector<condition> take_using_only(variable_set const& variables,
                                       std::vector<condition>& conditions) {
  std::vector<condition> taken;
  std::vector<condition> rest;
  for (condition& each : conditions) {
    (variables.includes(each.uses) ? taken : rest).push_back(std::move(each));
  }
  conditions = std::move(rest);
  return taken;
}

// The side with the stored columns that the conditions read as values: they are read once per row
// then, otherwise once per pair.
PredicateVariant with_columns(std::vector<condition> const& conditions,
                              variable_set const& variables, variable_numbers& numbers,
                              PredicateVariant side) {
  std::vector<Alias> columns;
  auto const add = [&](PhysicalVariable const& variable) {
    if (!is_stored_column(variable) || !variables.has(numbers.of(variable))) return;
    bool const known = std::any_of(columns.begin(), columns.end(), [&](Alias const& column) {
      return column.variable == variable;
    });
    if (!known) columns.push_back({physical_queryplan::AsExpression(variable), variable});
  };
  for (condition const& each : conditions) algebra::for_each_variable(each.expression, add);
  return columns.empty() ? std::move(side) : build::extend(std::move(columns), std::move(side));
}

}  // namespace

planned planner::plan_of(algebra::join join, request asked) {
  std::vector<condition> conditions = conditions_of(std::move(join.conditions));
  return join.kind == join_kind::full
             ? plan_full_join(std::move(join), std::move(conditions), std::move(asked))
             : plan_left_join(std::move(join), std::move(conditions), std::move(asked));
}

planned planner::plan_full_join(algebra::join join, std::vector<condition> conditions,
                                request asked) {
  if (is_found_from_both_sides(join, conditions, asked.outer)) {
    return plan_as_left_joins(join, conditions, std::move(asked));
  }
  variable_set needed = asked.needed;
  for (condition const& each : conditions) needed.merge(each.uses);
  for (condition const& each : asked.conditions) needed.merge(each.uses);
  variable_set const left_variables = variables_of(*join.left, numbers_);
  variable_set const right_variables = variables_of(*join.right, numbers_);
  planned left =
      plan(std::move(join.left), {.conditions = {}, .needed = needed, .outer = asked.outer});
  planned right =
      plan(std::move(join.right), {.conditions = {}, .needed = needed, .outer = asked.outer});
  left.plan = with_columns(conditions, left_variables, numbers_, std::move(left.plan));
  right.plan = with_columns(conditions, right_variables, numbers_, std::move(right.plan));
  PredicateVariant both = joined_once(join_kind::full, expressions_of(std::move(conditions)),
                                      std::move(left.plan), std::move(right.plan), markers_);
  return {filtered(expressions_of(std::move(asked.conditions)), std::move(both)),
          left.rows + right.rows};
}

// Whether both sides are tables, an index leads from either to the other, and a test of every pair
// costs more than two left joins through the indexes.
bool planner::is_found_from_both_sides(algebra::join const& join,
                                       std::vector<condition> const& conditions,
                                       variable_set const& outer) {
  bool const of_tables = std::holds_alternative<algebra::table>(join.left->content) &&
                         std::holds_alternative<algebra::table>(join.right->content);
  if (!of_tables) return false;
  double const left_rows = facts_.row_count(*join.left);
  double const right_rows = facts_.row_count(*join.right);
  if (left_rows * right_rows <= kept_rows_gain * (left_rows + right_rows)) return false;
  auto const leads = [&](algebra::relation const& from, algebra::relation const& to) {
    variable_set known = variables_of(from, numbers_);
    known.merge(outer);
    return std::any_of(conditions.begin(), conditions.end(), [&](condition const& each) {
      return facts_.reaches_index(to, each, known);
    });
  };
  return leads(*join.left, *join.right) && leads(*join.right, *join.left);
}

// The left rows with their matches, then the right rows that have none. Both are rows of two
// references, through which everything above reads their columns.
planned planner::plan_as_left_joins(algebra::join const& join,
                                    std::vector<condition> const& conditions, request asked) {
  TableVariable const left = std::get<algebra::table>(join.left->content).variable;
  TableVariable const right = std::get<algebra::table>(join.right->content).variable;
  std::vector<PhysicalVariable> const outputs = {left, right};
  variable_set needed;
  for (PhysicalVariable const& each : outputs) needed.add(numbers_.of(each));
  auto const left_joined = [&](TableVariable const& first, TableVariable const& second) {
    variable_set of_first;
    of_first.add(numbers_.of(first));
    planned rows = plan(algebra::make_relation(algebra::table{first}),
                        {.conditions = {}, .needed = needed, .outer = asked.outer});
    return join_with(join_kind::left, std::move(rows), of_first,
                     algebra::make_relation(algebra::table{second}), conditions, needed,
                     asked.outer);
  };
  planned matched = left_joined(left, right);
  planned unmatched = left_joined(right, left);
  std::vector<Expression> without_left;
  without_left.push_back(
      algebra::null_test(false, physical_queryplan::AsExpression(PhysicalVariable(left))));
  unmatched.plan = filtered(std::move(without_left), std::move(unmatched.plan));
  PredicateVariant both = build::union_all(transformed(outputs, std::move(matched.plan)),
                                           transformed(outputs, std::move(unmatched.plan)));
  return {filtered(expressions_of(std::move(asked.conditions)), std::move(both)),
          matched.rows + unmatched.rows};
}

// Conditions above that do not concern the right side hold for left rows; those of the join itself
// say which right rows match, whatever side they are about.
planned planner::plan_left_join(algebra::join join, std::vector<condition> conditions,
                                request asked) {
  variable_set needed = asked.needed;
  for (condition const& each : conditions) needed.merge(each.uses);
  for (condition const& each : asked.conditions) needed.merge(each.uses);
  variable_set const left_variables = variables_of(*join.left, numbers_);
  variable_set of_left = left_variables;
  of_left.merge(asked.outer);
  std::vector<condition> on_left = take_using_only(of_left, asked.conditions);
  if (!is_simple(*join.right)) {
    std::vector<condition> known = conditions;
    std::copy(on_left.begin(), on_left.end(), std::back_inserter(known));
    auto implied = implied_equalities(known, variables_of(*join.right, numbers_), numbers_);
    std::move(implied.begin(), implied.end(), std::back_inserter(conditions));
  }
  wanted_order const* wanted = asked.wanted;
  if (wanted && wanted->table && !left_variables.has(*wanted->table)) wanted = nullptr;
  planned left = plan(
      std::move(join.left),
      {.conditions = std::move(on_left), .needed = needed, .outer = asked.outer, .wanted = wanted});
  planned both = join_with(join_kind::left, std::move(left), left_variables, std::move(join.right),
                           std::move(conditions), needed, asked.outer);
  both.plan = filtered(expressions_of(std::move(asked.conditions)), std::move(both.plan));
  return both;
}

bool planner::is_kept(algebra::relation const& right, variable_set const& right_variables,
                      std::vector<condition> const& conditions, variable_set const& outer,
                      double left_rows) {
  if (may_have_transform(right)) return true;
  variable_set others = outer;
  for (condition const& each : conditions) others.merge(each.uses.without(right_variables));
  bool const reaches =
      std::any_of(conditions.begin(), conditions.end(),
                  [&](condition const& each) { return facts_.reaches_index(right, each, others); });
  if (reaches) {
    if (left_rows < kept_rows_gain) return false;
    double const recomputed = facts_.recomputed_rows(right, conditions, others);
    double const kept = facts_.read_rows(right) + left_rows * facts_.widest_rows(right);
    return left_rows * recomputed > kept_rows_gain * kept;
  }
  if (!is_simple(right)) return true;
  auto const* const table = std::get_if<algebra::table>(&right.content);
  if (!table || left_rows < kept_rows_gain) return false;
  table_info const& info = facts_.info_of(table->variable);
  std::vector<bound> const bounds = find_bounds(info, table->variable, conditions, numbers_);
  path_finder const paths(info, conditions, bounds, numbers_.of(table->variable),
                          [&] { return facts_.row_count(info); });
  if (paths.best(others, nullptr).uses_outer) return false;
  access_path const alone = paths.best(outer, nullptr);
  return alone.rows < max_kept_rows && alone.cost > kept_rows_gain * alone.rows;
}

planned planner::join_with(join_kind kind, planned left, variable_set const& left_variables,
                           relation_ptr right, std::vector<condition> conditions,
                           variable_set const& needed, variable_set const& outer) {
  variable_set const right_variables = variables_of(*right, numbers_);
  if (is_kept(*right, right_variables, conditions, outer, left.rows)) {
    variable_set of_right = right_variables;
    of_right.merge(outer);
    std::vector<condition> on_right = take_using_only(of_right, conditions);
    planned kept = plan(std::move(right),
                        {.conditions = std::move(on_right), .needed = needed, .outer = outer});
    left.plan = with_columns(conditions, left_variables, numbers_, std::move(left.plan));
    kept.plan = with_columns(conditions, right_variables, numbers_, std::move(kept.plan));
    double const rows = std::max(left.rows * kept.rows * (conditions.empty() ? 1 : 0.1), 1.0);
    return {joined_once(kind, expressions_of(std::move(conditions)), std::move(left.plan),
                        std::move(kept.plan), markers_),
            rows, left.sorted};
  }
  variable_set bound_above = outer;
  bound_above.merge(left_variables);
  planned matches =
      plan(std::move(right),
           {.conditions = std::move(conditions), .needed = needed, .outer = bound_above});
  double rows = left.rows * matches.rows;
  if (kind == join_kind::left) rows = std::max(rows, left.rows);
  return {kind == join_kind::left
              ? build::left_join(std::move(left.plan), std::move(matches.plan))
              : build::inner_join(std::move(left.plan), std::move(matches.plan)),
          rows, left.sorted};
}

}  // namespace qd::sql::planning
