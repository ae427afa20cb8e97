#include "sql/plan/group_planner.h"

#include <stdexcept>
#include <utility>

#include "physical_queryplan/build.h"
#include "sql/plan/join_order.h"

namespace qd::sql::planning {

namespace build = physical_queryplan::build;

group_planner::group_planner(planner& planner, join_group& group, request& asked)
    : planner_(planner), group_(group), asked_(asked), needed_(asked.needed) {
  for (condition const& each : group_.conditions) needed_.merge(each.uses);
  for (join_group::computed const& each : group_.computes) needed_.merge(each.uses);
}

planned group_planner::plan() {
  std::vector<std::size_t> const order =
      order_of_joins(group_, asked_.outer, asked_.wanted, planner_.facts_, planner_.numbers_);
  join_group::member& first = group_.members[order.front()];
  available_ = asked_.outer;
  available_.merge(first.variables);
  wanted_order const* wanted = asked_.wanted;
  if (wanted && wanted->table && !first.variables.has(*wanted->table)) wanted = nullptr;
  current_ = planner_.plan_member(std::move(first.relation),
                                  {.conditions = take_conditions(available_),
                                   .needed = needed_,
                                   .outer = asked_.outer,
                                   .wanted = wanted,
                                   .keep_order = asked_.keep_order && order.size() == 1});
  test_conditions();
  for (std::size_t i = 1; i < order.size(); ++i) join(group_.members[order[i]]);
  variable_set all;
  for (join_group::computed const& each : group_.computes) all.add(each.number);
  compute(all);
  if (!group_.conditions.empty()) {
    throw std::logic_error("a condition uses a variable that no relation has");
  }
  return std::move(*current_);
}

void group_planner::join(join_group::member& member) {
  variable_set both = available_;
  both.merge(member.variables);
  // Values of the left side first: they may become bounds of the right one.
  compute(values_for_conditions(both, available_));
  both.merge(available_);
  variable_set const left = available_.without(asked_.outer);
  current_ =
      planner_.join_with(algebra::join_kind::inner, std::move(*current_), left,
                         std::move(member.relation), take_conditions(both), needed_, asked_.outer);
  available_ = std::move(both);
  test_conditions();
}

void group_planner::test_conditions() {
  if (group_.conditions.empty() || group_.computes.empty()) return;
  compute(values_for_conditions(available_, available_));
  std::vector<condition> testable = take_conditions(available_);
  current_->plan = filtered(expressions_of(std::move(testable)), std::move(current_->plan));
}

std::vector<condition> group_planner::take_conditions(variable_set const& variables) {
  std::vector<condition> taken;
  std::vector<condition> left;
  for (condition& each : group_.conditions) {
    (variables.includes(each.uses) ? taken : left).push_back(std::move(each));
  }
  group_.conditions = std::move(left);
  return taken;
}

variable_set group_planner::values_for_conditions(variable_set const& variables,
                                                  variable_set const& computable_from) const {
  variable_set computable = computable_from;
  for (join_group::computed const& each : group_.computes) {
    if (computable.includes(each.uses)) computable.add(each.number);
  }
  variable_set known = variables;
  known.merge(computable);
  variable_set wanted;
  for (condition const& each : group_.conditions) {
    if (known.includes(each.uses)) wanted.merge(each.uses.without(variables));
  }
  return wanted;
}

void group_planner::compute(variable_set wanted) {
  if (wanted.empty()) return;
  for (std::size_t i = group_.computes.size(); i-- > 0;) {
    join_group::computed const& each = group_.computes[i];
    if (wanted.has(each.number)) wanted.merge(each.uses);
  }
  std::vector<algebra::Alias> aliases;
  variable_set computed;
  auto const extend = [&] {
    if (aliases.empty()) return;
    current_->plan = build::extend(std::move(aliases), std::move(current_->plan));
    aliases.clear();
    available_.merge(computed);
    computed = {};
  };
  std::vector<join_group::computed> rest;
  for (join_group::computed& each : group_.computes) {
    if (!wanted.has(each.number)) {
      rest.push_back(std::move(each));
      continue;
    }
    // The values of one Extend do not see each other.
    if (each.uses.intersects(computed)) extend();
    aliases.push_back(std::move(each.alias));
    computed.add(each.number);
  }
  extend();
  group_.computes = std::move(rest);
}

}  // namespace qd::sql::planning
