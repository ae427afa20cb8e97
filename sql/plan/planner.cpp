#include "sql/plan/planner.h"

#include <algorithm>
#include <utility>

#include "physical_queryplan/build.h"
#include "sql/algebra/operations.h"
#include "sql/plan/group_planner.h"
#include "sql/plan/literals.h"
#include "sql/plan/read_table.h"

namespace qd::sql::planning {

namespace build = physical_queryplan::build;
namespace query_plan = physical_queryplan::QueryPlan;
using algebra::relation_ptr;

namespace {

// Whether the rows are groups, which hold what they were grouped by.
bool is_grouped(algebra::relation const& relation) {
  return std::visit(
      []<typename T>(T const& content) {
        if constexpr (std::is_same_v<T, algebra::filter> || std::is_same_v<T, algebra::compute>) {
          return is_grouped(*content.child);
        } else {
          return std::is_same_v<T, algebra::aggregate>;
        }
      },
      relation.content);
}

}  // namespace

PredicateVariant planner::plan(algebra::bound_query query) {
  std::vector<PhysicalVariable> outputs;
  variable_set needed;
  outputs.reserve(query.outputs.size());
  for (algebra::output_column& output : query.outputs) {
    needed.add(numbers_.of(output.variable));
    outputs.push_back(std::move(output.variable));
  }
  planned root = plan(
      std::move(query.root),
      {.conditions = {}, .needed = needed, .outer = {}, .keep_order = true, .outputs = &outputs});
  return transformed(outputs, std::move(root.plan));
}

std::vector<condition> planner::conditions_of(std::vector<Expression> expressions) {
  std::vector<condition> conditions;
  conditions.reserve(expressions.size());
  for (Expression& each : expressions) {
    variable_set uses = numbers_.uses(each);
    conditions.push_back({std::move(each), std::move(uses)});
  }
  return conditions;
}

planned planner::plan(relation_ptr relation, request asked) {
  bool const is_group = std::visit(
      []<typename T>(T const&) {
        return std::is_same_v<T, algebra::filter> || std::is_same_v<T, algebra::compute> ||
               std::is_same_v<T, algebra::join>;
      },
      relation->content);
  if (!is_group) return plan_member(std::move(relation), std::move(asked));
  join_group group =
      make_group(std::move(relation), std::move(asked.conditions), asked.needed, numbers_);
  return group_planner(*this, group, asked).plan();
}

planned planner::plan_member(relation_ptr relation, request asked) {
  return std::visit(
      [&]<typename T>(T& alternative) -> planned {
        if constexpr (std::is_same_v<T, algebra::filter> || std::is_same_v<T, algebra::compute>) {
          return plan(std::move(relation), std::move(asked));
        } else {
          return plan_of(std::move(alternative), std::move(asked));
        }
      },
      relation->content);
}

planned planner::plan_of(algebra::one_row, request asked) {
  PredicateVariant row =
      query_plan::GenerativeAssignment{algebra::boolean_literal(true), markers_.next()};
  return {filtered(expressions_of(std::move(asked.conditions)), std::move(row)), 1};
}

planned planner::plan_of(algebra::rows rows, request asked) {
  auto const count = static_cast<double>(rows.expressions.size());
  return {filtered(expressions_of(std::move(asked.conditions)), literal_rows(std::move(rows))),
          count};
}

planned planner::plan_of(algebra::table table, request asked) {
  table_info const& info = facts_.info_of(table.variable);
  std::vector<bound> const bounds = find_bounds(info, table.variable, asked.conditions, numbers_);
  access_path const path =
      path_finder(info, asked.conditions, bounds, numbers_.of(table.variable), [&] {
        return facts_.row_count(info);
      }).best(asked.outer, asked.wanted);
  return {read_table(std::move(table.variable), path, std::move(asked.conditions), bounds),
          path.rows, path.sorted && asked.wanted};
}

// Conditions on the groups' values hold for whole groups and can be tested before grouping; those
// without any must not be: an aggregate over no rows is a row.
planned planner::plan_of(algebra::aggregate aggregate, request asked) {
  variable_set grouped;
  for (algebra::Alias const& alias : aggregate.group_by) grouped.add(numbers_.of(alias.variable));
  std::vector<condition> below;
  std::vector<condition> above;
  for (condition& each : asked.conditions) {
    bool const on_groups =
        each.uses.intersects(grouped) && (grouped.includes(each.uses.without(asked.outer)));
    if (!on_groups) {
      above.push_back(std::move(each));
      continue;
    }
    Expression tested = substituted(std::move(each.expression), aggregate.group_by);
    variable_set uses = numbers_.uses(tested);
    below.push_back({std::move(tested), std::move(uses)});
  }
  variable_set read = asked.needed;
  for (condition const& each : above) read.merge(each.uses);
  std::erase_if(aggregate.aggregates, [&](algebra::AggregateVariant const& each) {
    // The last one of a single group stays: it makes the row.
    if (aggregate.group_by.empty() && aggregate.aggregates.size() == 1) return false;
    return !std::visit(
        [&](auto const& function) {
          return std::visit([&](auto const& output) { return read.has(numbers_.of(output)); },
                            function.output);
        },
        each);
  });
  variable_set needed;
  for (algebra::Alias const& alias : aggregate.group_by) {
    numbers_.add_uses(alias.expression, needed);
  }
  for (algebra::AggregateVariant const& each : aggregate.aggregates) {
    std::visit(
        [&](auto const& function) {
          for (Expression const& argument : function.arguments) numbers_.add_uses(argument, needed);
        },
        each);
  }
  planned child = plan(std::move(aggregate.child),
                       {.conditions = std::move(below), .needed = needed, .outer = asked.outer});
  double const rows = aggregate.group_by.empty() ? 1 : child.rows;
  PredicateVariant groups = build::aggregation(
      std::move(aggregate.aggregates), std::move(aggregate.group_by), std::move(child.plan));
  return {filtered(expressions_of(std::move(above)), std::move(groups)), rows};
}

planned planner::plan_of(algebra::sort sort, request asked) {
  if (!asked.keep_order) return plan(std::move(sort.child), std::move(asked));
  variable_set needed = asked.needed;
  wanted_order wanted;
  bool by_columns = true;  // Of one table: an index may give the order.
  for (algebra::sort_key const& key : sort.keys) {
    numbers_.add_uses(key.expression, needed);
    std::visit(
        [&]<typename T>(T const& alternative) {
          std::optional<meta_data::Column> column;
          std::optional<variable_number> table;
          if constexpr (requires { alternative.table_variable; }) {
            column = alternative.column;
            table = numbers_.of(alternative.table_variable);
          } else if constexpr (std::is_same_v<T, TableVariable>) {
            table = numbers_.of(alternative);
          }
          by_columns = by_columns && table && (!wanted.table || wanted.table == table);
          wanted.table = table;
          wanted.keys.push_back({column, key.ascending});
        },
        key.expression.variant);
  }
  if (asked.wanted) wanted.rows = asked.wanted->rows;
  bool const reads_early = asked.outputs != nullptr && !is_grouped(*sort.child);
  planned child = plan(std::move(sort.child), {.conditions = std::move(asked.conditions),
                                               .needed = needed,
                                               .outer = asked.outer,
                                               .wanted = by_columns ? &wanted : nullptr});
  if (child.sorted) return child;
  if (reads_early) child.plan = read_early(*asked.outputs, std::move(child.plan));
  std::vector<query_plan::OrderBy::Key> keys;
  keys.reserve(sort.keys.size());
  for (algebra::sort_key& key : sort.keys) {
    keys.push_back({key.ascending, std::move(key.expression)});
  }
  child.plan = build::order_by(std::move(keys), std::move(child.plan));
  return child;
}

// Sorted rows come out in an order in which each object's record has to be waited for. On the way in
// records lie side by side: a few columns of the query are read there and carried along.
PredicateVariant planner::read_early(std::vector<PhysicalVariable>& outputs,
                                     PredicateVariant rows) {
  constexpr std::size_t max_carried = 4;
  std::vector<PhysicalVariable*> columns;
  for (PhysicalVariable& output : outputs) {
    if (is_stored_column(output)) columns.push_back(&output);
  }
  if (columns.empty() || columns.size() > max_carried) return rows;
  std::vector<Alias> carried;
  carried.reserve(columns.size());
  for (PhysicalVariable* column : columns) {
    PhysicalVariable early = markers_.next(algebra::kind_of(*column));
    carried.push_back({physical_queryplan::AsExpression(*column), early});
    *column = std::move(early);
  }
  return build::extend(std::move(carried), std::move(rows));
}

planned planner::plan_of(algebra::limit limit, request asked) {
  variable_set needed = asked.needed;
  for (condition const& each : asked.conditions) needed.merge(each.uses);
  wanted_order wanted;
  if (limit.rows) wanted.rows = literal_count(*limit.rows);
  if (wanted.rows && limit.offset) {
    wanted.rows = *wanted.rows + literal_count(*limit.offset).value_or(0);
  }
  planned child = plan(std::move(limit.child), {.conditions = {},
                                                .needed = needed,
                                                .outer = asked.outer,
                                                .wanted = &wanted,
                                                .keep_order = true});
  if (wanted.rows) child.rows = std::min(child.rows, *wanted.rows);
  child.plan =
      filtered(expressions_of(std::move(asked.conditions)),
               build::limit(std::move(limit.rows), std::move(limit.offset), std::move(child.plan)));
  child.sorted = false;
  return child;
}

planned planner::plan_of(algebra::union_all united, request asked) {
  variable_set read = asked.needed;
  for (condition const& each : asked.conditions) read.merge(each.uses);
  std::vector<PhysicalVariable> outputs;
  for (PhysicalVariable& output : united.outputs) {
    if (read.has(numbers_.of(output))) outputs.push_back(std::move(output));
  }
  // Rows that are only counted keep one column.
  if (outputs.empty()) outputs.push_back(std::move(united.outputs.front()));
  variable_set needed;
  for (PhysicalVariable const& output : outputs) needed.add(numbers_.of(output));
  auto const side = [&](relation_ptr relation, std::vector<condition> conditions) {
    planned result =
        plan(std::move(relation),
             {.conditions = std::move(conditions), .needed = needed, .outer = asked.outer});
    result.plan = transformed(outputs, std::move(result.plan));
    return result;
  };
  planned left = side(std::move(united.left), asked.conditions);
  planned right = side(std::move(united.right), std::move(asked.conditions));
  return {build::union_all(std::move(left.plan), std::move(right.plan)), left.rows + right.rows};
}

}  // namespace qd::sql::planning
