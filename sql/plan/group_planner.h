// The plan of a join group: its members joined one by one, every condition and computation as soon
// as it is possible or needed.
#pragma once

#include "sql/plan/planner.h"

namespace qd::sql::planning {

class group_planner {
 public:
  // Both outlive it.
  group_planner(planner& planner, join_group& group, request& asked);

  planned plan();

 private:
  void join(join_group::member& member);
  // Filters and computes what the rows joined so far allow, computations only for conditions.
  void test_conditions();
  void compute(variable_set wanted);

  // Removes the conditions that use nothing else.
  std::vector<condition> take_conditions(variable_set const& variables);
  // The computed values that conditions need which become testable once `variables` are known and
  // all that can be computed from `computable_from`.
  variable_set values_for_conditions(variable_set const& variables,
                                     variable_set const& computable_from) const;

  planner& planner_;
  join_group& group_;
  request& asked_;
  variable_set needed_;             // Above the group or within it.
  std::optional<planned> current_;  // What is joined so far; empty before the first member.
  variable_set available_;          // The variables of `current_` and the outer ones.
};

}  // namespace qd::sql::planning
