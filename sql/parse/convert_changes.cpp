#include "sql/parse/converter.h"

namespace qd::sql {

syntax::insert converter::convert_insert(PgQuery__InsertStmt const& insert) {
  text_position const begin = statement_begin();
  refuse_if(insert.with_clause != nullptr, "WITH before INSERT is", begin);
  refuse_if(insert.on_conflict_clause != nullptr, "ON CONFLICT is",
            place_of_name("conflict", begin));
  refuse_if(insert.n_returning_list > 0, "RETURNING is", place_of_name("returning", begin));
  refuse_if(insert.override > PG_QUERY__OVERRIDING_KIND__OVERRIDING_NOT_SET, "OVERRIDING is",
            place_of_name("overriding", begin));
  syntax::insert result;
  result.table = plain_table(*insert.relation, "INSERT");
  for (PgQuery__Node const* const node : QD_NODES(insert, cols)) {
    PgQuery__ResTarget const& column = *node->res_target;
    text_position const position = place(column.location);
    refuse_if(column.n_indirection > 0, "a part of a column is", position);
    result.columns.emplace_back(column.name);
    result.column_positions.push_back(position);
  }
  if (insert.select_stmt != nullptr) result.source = convert_query_node(*insert.select_stmt);
  return result;
}

syntax::update converter::convert_update(PgQuery__UpdateStmt const& update) {
  text_position const begin = statement_begin();
  refuse_if(update.with_clause != nullptr, "WITH before UPDATE is", begin);
  refuse_if(update.n_from_clause > 0, "UPDATE ... FROM is", place_of_name("from", begin));
  refuse_if(update.n_returning_list > 0, "RETURNING is", place_of_name("returning", begin));
  syntax::update result;
  result.table = table_name(*update.relation);
  result.alias = plain_alias(*update.relation);
  for (PgQuery__Node const* const node : QD_NODES(update, target_list)) {
    PgQuery__ResTarget const& target = *node->res_target;
    text_position const position = place(target.location);
    refuse_if(target.n_indirection > 0, "a part of a column is", position);
    refuse_if(target.val->node_case == PG_QUERY__NODE__NODE_MULTI_ASSIGN_REF,
              "assigning to several columns at once is", position);
    result.assignments.push_back({target.name, convert_expression(*target.val), position});
  }
  result.where = convert_optional(update.where_clause);
  return result;
}

syntax::delete_rows converter::convert_delete(PgQuery__DeleteStmt const& deletion) {
  text_position const begin = statement_begin();
  refuse_if(deletion.with_clause != nullptr, "WITH before DELETE is", begin);
  refuse_if(deletion.n_using_clause > 0, "DELETE ... USING is", place_of_name("using", begin));
  refuse_if(deletion.n_returning_list > 0, "RETURNING is", place_of_name("returning", begin));
  syntax::delete_rows result;
  result.table = table_name(*deletion.relation);
  result.alias = plain_alias(*deletion.relation);
  result.where = convert_optional(deletion.where_clause);
  return result;
}

std::string converter::plain_alias(PgQuery__RangeVar const& table) {
  if (table.alias == nullptr) return {};
  refuse_if(table.alias->n_colnames > 0, "other names for the columns here are",
            place(table.location));
  return table.alias->aliasname;
}

}  // namespace qd::sql
