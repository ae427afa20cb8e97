// The columns that an expression can name, and where each comes from.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "sql/algebra/relation.h"
#include "sql/bind/bind.h"
#include "sql/error.h"

namespace qd::sql {

// Tables that one statement can read, those behind references and every use of a common table
// expression counted. Common table expressions that use one another twice each grow without it.
inline constexpr std::size_t max_statement_tables = 1000;

// A column of a source.
struct source_column {
  std::string name;
  algebra::Expression value;
  std::u16string referenced_class;  // Of a reference, when it is known.
  bool hidden = false;              // A system column: named only when it is asked for.
};

// The objects that a reference leads to, as a variable of its own.
struct followed_reference {
  algebra::Expression reference;
  algebra::TableVariable variable;
  table_info const* table;
};

// A table or a derived table of a FROM clause.
struct source {
  std::vector<std::string> name;                   // Its alias, or the parts of its table's name.
  table_info const* table = nullptr;               // Null of a derived table.
  std::optional<algebra::TableVariable> variable;  // Of a table.
  std::vector<source_column> columns;              // In order; system columns first.
  std::vector<followed_reference> followed;        // In the order in which they need one another.
  algebra::relation* relation = nullptr;           // Its rows; `followed` is computed on top.
  text_position position = no_position;
};

// A column that USING made of two.
struct merged_column {
  std::string name;
  algebra::Expression value;
  std::u16string referenced_class;
  std::vector<source const*> from;  // The sources whose columns of that name it stands for.
};

// What is in scope at one place: sources in the order of FROM.
struct scope {
  std::vector<source*> sources;
  std::vector<merged_column> merged;
};

// A value that a name stands for.
struct named_value {
  algebra::Expression value;
  std::u16string referenced_class;  // Of a reference, when it is known.
};

// Resolves `parts` in a scope: a column, a column of a named source, or a path from such a column
// through references. Throws unknown_name and ambiguous_name.
class name_resolver {
 public:
  explicit name_resolver(binding_context const& context) : context_(context) {}

  named_value resolve(scope const& names, std::vector<std::string> const& parts,
                      text_position position);
  // The same, none for a name that is not there; only of one part, and never a path.
  std::optional<named_value> find_column(scope const& names, std::string const& name,
                                         text_position position) const;

  // A variable for one more occurrence of a table.
  algebra::TableVariable new_variable(table_info const& table, text_position position);

 private:
  // The source that the first parts name, and how many of them do.
  source* find_source(scope const& names, std::vector<std::string> const& parts, std::size_t& used,
                      text_position position) const;
  // Goes through the reference columns that are the parts from `next` on, up to the last column.
  named_value follow(source& from, named_value value, std::vector<std::string> const& parts,
                     std::size_t next, text_position position);

  binding_context const& context_;
  std::int32_t occurrences_ = 0;
};

// Puts the computation of every followed reference of a source on top of its relation.
void compute_followed(source& from);

// The name among `candidates` that is nearest to `name`, as " (did you mean ...?)"; empty when none
// is near.
std::string suggestion(std::string const& name, std::vector<std::string> const& candidates);

}  // namespace qd::sql
