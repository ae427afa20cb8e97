// Planning of one query: relation by relation, from the root down. Conditions, the variables that
// are read above and the order that is wanted go down; plans come up.
#pragma once

#include "sql/plan/access_path.h"
#include "sql/plan/join_group.h"
#include "sql/plan/nodes.h"
#include "sql/plan/plan.h"

namespace qd::sql::planning {

// What the surroundings of a relation ask of its plan.
struct request {
  std::vector<condition> conditions;  // Hold for the rows; may use `outer`.
  variable_set const& needed;         // Read above, the conditions aside.
  // Bound by the nodes above: the left rows of the joins on whose right side the relation stands.
  variable_set const& outer;
  wanted_order const* wanted = nullptr;
  bool keep_order = false;  // An order that the relation has is seen above.
  // The outputs of the query of which the relation is the root, else null. Where columns of its rows
  // had better be read early, other variables take their place.
  std::vector<PhysicalVariable>* outputs = nullptr;
};

class planner {
 public:
  explicit planner(planning_context const& context)
      : facts_(context.catalogue, context.reader, numbers_) {}

  // The plan of a whole query.
  PredicateVariant plan(algebra::bound_query query);

 private:
  friend class group_planner;

  planned plan(algebra::relation_ptr relation, request asked);
  // Of a relation that is no inner join, filter or compute.
  planned plan_member(algebra::relation_ptr relation, request asked);

  planned plan_of(algebra::one_row one, request asked);
  planned plan_of(algebra::table table, request asked);
  planned plan_of(algebra::rows rows, request asked);
  planned plan_of(algebra::join join, request asked);
  planned plan_of(algebra::aggregate aggregate, request asked);
  planned plan_of(algebra::sort sort, request asked);
  planned plan_of(algebra::limit limit, request asked);
  planned plan_of(algebra::union_all united, request asked);
  PredicateVariant read_early(std::vector<PhysicalVariable>& outputs, PredicateVariant rows);
  planned plan_full_join(algebra::join join, std::vector<condition> conditions, request asked);
  bool is_found_from_both_sides(algebra::join const& join, std::vector<condition> const& conditions,
                                variable_set const& outer);
  planned plan_as_left_joins(algebra::join const& join, std::vector<condition> const& conditions,
                             request asked);
  planned plan_left_join(algebra::join join, std::vector<condition> conditions, request asked);

  // `left` and the right relation, whose conditions may use both. `outer` is what is bound above.
  // The right side is read again for every left row when that is cheap, else once and kept.
  planned join_with(algebra::join_kind kind, planned left, variable_set const& left_variables,
                    algebra::relation_ptr right, std::vector<condition> conditions,
                    variable_set const& needed, variable_set const& outer);
  bool is_kept(algebra::relation const& right, variable_set const& right_variables,
               std::vector<condition> const& conditions, variable_set const& outer,
               double left_rows);

  std::vector<condition> conditions_of(std::vector<Expression> expressions);

  variable_numbers numbers_;
  relation_facts facts_;
  marker_source markers_;
};

}  // namespace qd::sql::planning
