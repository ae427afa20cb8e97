// Planning of one query: relation by relation, from the root down.
#pragma once

#include "sql/plan/nodes.h"
#include "sql/plan/plan.h"

namespace qd::sql::planning {

class planner {
 public:
  explicit planner(planning_context const& context) : context_(context) {}

  planned plan(algebra::relation_ptr relation);

 private:
  planned plan_of(algebra::one_row);
  planned plan_of(algebra::table table);
  planned plan_of(algebra::rows rows);
  planned plan_of(algebra::join join);
  planned plan_of(algebra::filter filter);
  planned plan_of(algebra::compute compute);
  planned plan_of(algebra::aggregate aggregate);
  planned plan_of(algebra::sort sort);
  planned plan_of(algebra::limit limit);
  planned plan_of(algebra::union_all union_all);

  table_info const& info_of(TableVariable const& variable);

  planning_context const& context_;
  marker_source markers_;
};

}  // namespace qd::sql::planning
