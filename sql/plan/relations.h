// What planning asks of relations before it plans them.
#pragma once

#include "sql/catalogue/catalogue.h"
#include "sql/plan/conditions.h"

namespace qd::sql::planning {

// The variables of a relation's rows.
variable_set variables_of(algebra::relation const& relation, variable_numbers& numbers);

// Whether its plan may have a Transform in it: those of a union's sides, as which a full join may be
// planned, too. Such a plan must never stand below the right side of an inner or left Join: a
// Transform's outputs are positions in its child's row, and there the left row lies in front of it.
bool may_have_transform(algebra::relation const& relation);

// Rows that are read from one table or written in the statement, filtered and extended at most: as
// cheap to read again as to keep.
bool is_simple(algebra::relation const& relation);

class relation_facts {
 public:
  relation_facts(sql::catalogue& catalogue, embedded::read_context const& reader,
                 variable_numbers& numbers)
      : catalogue_(catalogue), reader_(reader), numbers_(numbers) {}

  table_info const& info_of(algebra::TableVariable const& variable) const;
  // The rows of a table, and how many rows a relation is taken to have.
  double row_count(table_info const& table) const;
  double row_count(algebra::relation const& relation) const;

  // The rows of all tables in the relation, and of the part with the most rows that are joined.
  double read_rows(algebra::relation const& relation) const;
  double widest_rows(algebra::relation const& relation) const;
  // The rows that are read each time that the relation is read with what is `known`, because they
  // are those of a derived table in it that no index reaches from there and its neighbours.
  double recomputed_rows(algebra::relation const& relation, std::vector<condition> conditions,
                         variable_set const& known) const;

  // Whether the condition, an equality with something of `outer`, becomes a bound of an index scan
  // when it is planned with the relation.
  bool reaches_index(algebra::relation const& relation, condition const& equality,
                     variable_set const& outer) const;

 private:
  bool has_index_by(algebra::relation const& relation, Expression const& value) const;

  sql::catalogue& catalogue_;
  embedded::read_context const& reader_;
  variable_numbers& numbers_;
};

}  // namespace qd::sql::planning
