#include "sql/plan/planner.h"

#include <algorithm>
#include <utility>

#include "physical_queryplan/build.h"
#include "sql/algebra/operations.h"
#include "sql/error.h"

namespace qd::sql::planning {
namespace {

namespace build = physical_queryplan::build;
namespace query_plan = physical_queryplan::QueryPlan;
using algebra::join_kind;

index_info const& extent_of(table_info const& table) {
  return *std::find_if(table.indexes.begin(), table.indexes.end(),
                       [](index_info const& index) { return index.extent; });
}

}  // namespace

planned planner::plan(algebra::relation_ptr relation) {
  return std::visit([this](auto& alternative) { return plan_of(std::move(alternative)); },
                    relation->content);
}

planned planner::plan_of(algebra::one_row) {
  return {query_plan::GenerativeAssignment{algebra::boolean_literal(true), markers_.next()}, 1};
}

planned planner::plan_of(algebra::table table) {
  table_info const& info = info_of(table.variable);
  auto const rows = static_cast<double>(context_.reader.object_count(info.class_name));
  return {build::scan(std::move(table.variable), extent_of(info).index), rows};
}

planned planner::plan_of(algebra::rows rows) {
  auto const count = static_cast<double>(rows.expressions.size());
  return {literal_rows(std::move(rows)), count};
}

planned planner::plan_of(algebra::join join) {
  planned left = plan(std::move(join.left));
  planned right = plan(std::move(join.right));
  double const rows = left.rows * right.rows;
  bool const has_transform = left.has_transform || right.has_transform;
  if (join.kind == join_kind::inner && right.has_transform && !left.has_transform) {
    std::swap(left, right);
  }
  if (join.kind == join_kind::full || right.has_transform) {
    return {joined_once(join.kind, std::move(join.conditions), std::move(left.plan),
                        std::move(right.plan), markers_),
            rows, has_transform};
  }
  PredicateVariant matches = filtered(std::move(join.conditions), std::move(right.plan));
  return {join.kind == join_kind::left
              ? build::left_join(std::move(left.plan), std::move(matches))
              : build::inner_join(std::move(left.plan), std::move(matches)),
          rows, has_transform};
}

planned planner::plan_of(algebra::filter filter) {
  planned child = plan(std::move(filter.child));
  child.plan = filtered(std::move(filter.conditions), std::move(child.plan));
  return child;
}

planned planner::plan_of(algebra::compute compute) {
  planned child = plan(std::move(compute.child));
  child.plan = build::extend(std::move(compute.aliases), std::move(child.plan));
  return child;
}

planned planner::plan_of(algebra::aggregate aggregate) {
  planned child = plan(std::move(aggregate.child));
  double const rows = aggregate.group_by.empty() ? 1 : child.rows;
  return {build::aggregation(std::move(aggregate.aggregates), std::move(aggregate.group_by),
                             std::move(child.plan)),
          rows, child.has_transform};
}

planned planner::plan_of(algebra::sort sort) {
  planned child = plan(std::move(sort.child));
  std::vector<query_plan::OrderBy::Key> keys;
  keys.reserve(sort.keys.size());
  for (algebra::sort_key& key : sort.keys) {
    keys.push_back({key.ascending, std::move(key.expression)});
  }
  child.plan = build::order_by(std::move(keys), std::move(child.plan));
  return child;
}

planned planner::plan_of(algebra::limit limit) {
  planned child = plan(std::move(limit.child));
  child.plan = build::limit(std::move(limit.rows), std::move(limit.offset), std::move(child.plan));
  return child;
}

planned planner::plan_of(algebra::union_all union_all) {
  planned left = plan(std::move(union_all.left));
  planned right = plan(std::move(union_all.right));
  PredicateVariant first = transformed(union_all.outputs, std::move(left.plan));
  PredicateVariant second = transformed(union_all.outputs, std::move(right.plan));
  return {build::union_all(std::move(first), std::move(second)), left.rows + right.rows, true};
}

table_info const& planner::info_of(TableVariable const& variable) {
  table_info const* const info =
      context_.catalogue.find(context_.reader, variable.table.FullName());
  if (!info) throw error(error_code::unknown_name, "a table of the query no longer exists");
  return *info;
}

}  // namespace qd::sql::planning
