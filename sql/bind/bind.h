// Binding: syntax becomes algebra. Resolves names against the tables in scope, gives every
// expression the overload that fits its operands, and refuses what has no meaning.
#pragma once

#include "sql/algebra/relation.h"
#include "sql/catalogue/catalogue.h"
#include "sql/syntax/statement.h"

namespace qd::sql {

struct binding_context {
  sql::catalogue& catalogue;
  embedded::read_context const& reader;  // Bound to the calling thread.
  // Kind per parameter ($1 first), as its surroundings suggest; grows while binding. It says what
  // a result column of that parameter is called, and restricts nothing: any value may be bound.
  std::vector<algebra::kind>& parameters;
};

// All throw sql::error with the place, and what the catalogue throws.

algebra::bound_query bind(syntax::query const& query, binding_context const& context);

// The rows to insert: one output per target column, not yet converted to the columns' kinds.
struct bound_insert {
  table_info const* table;
  std::vector<std::size_t> columns;  // The target columns, by number.
  algebra::bound_query source;
};
bound_insert bind(syntax::insert const& insert, binding_context const& context);

// Output 0 is the object, output 1 + n the new value of column n of `columns`.
struct bound_update {
  table_info const* table;
  std::vector<std::size_t> columns;
  algebra::bound_query source;
};
bound_update bind(syntax::update const& update, binding_context const& context);

// Output 0 is the object.
struct bound_delete {
  table_info const* table;
  algebra::bound_query source;
};
bound_delete bind(syntax::delete_rows const& deletion, binding_context const& context);

}  // namespace qd::sql
