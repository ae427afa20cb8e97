#include "sql/parse/converter.h"

namespace qd::sql {

syntax::create_table converter::convert_create_table(PgQuery__CreateStmt const& create) {
  syntax::create_table result;
  result.table = plain_table(*create.relation, "CREATE TABLE");
  text_position const position = result.table.position;
  refuse_if(create.partbound != nullptr || create.partspec != nullptr, "partitions are", position);
  refuse_if(create.of_typename != nullptr, "CREATE TABLE ... OF is", position);
  refuse_if(create.n_constraints > 0, "this constraint is", position);
  refuse_if(create.n_options > 0, "WITH (...) of CREATE TABLE is", position);
  refuse_if(create.oncommit > PG_QUERY__ON_COMMIT_ACTION__ONCOMMIT_NOOP, "ON COMMIT is", position);
  refuse_if(create.tablespacename[0] != '\0', "TABLESPACE is", position);
  refuse_if(create.access_method[0] != '\0', "USING of CREATE TABLE is", position);
  result.if_not_exists = create.if_not_exists;
  if (create.n_inh_relations > 1) {
    refuse("INHERITS of several tables is", place_of(*create.inh_relations[1]));
  }
  if (create.n_inh_relations == 1) result.base = table_name(*create.inh_relations[0]->range_var);
  bool has_primary_key = false;
  auto const count_primary_key = [&](PgQuery__Constraint const& constraint) {
    if (constraint.contype != PG_QUERY__CONSTR_TYPE__CONSTR_PRIMARY) return;
    if (has_primary_key) {
      throw error(error_code::bad_definition, "a table has one PRIMARY KEY",
                  place(constraint.location));
    }
    has_primary_key = true;
  };
  for (PgQuery__Node const* const node : QD_NODES(create, table_elts)) {
    switch (node->node_case) {
      case PG_QUERY__NODE__NODE_COLUMN_DEF:
        for (PgQuery__Node const* const each : QD_NODES(*node->column_def, constraints)) {
          count_primary_key(*each->constraint);
        }
        result.columns.push_back(convert_column_definition(*node->column_def));
        break;
      case PG_QUERY__NODE__NODE_CONSTRAINT:
        count_primary_key(*node->constraint);
        result.constraints.push_back(convert_table_constraint(*node->constraint));
        break;
      case PG_QUERY__NODE__NODE_TABLE_LIKE_CLAUSE:
        refuse("LIKE in CREATE TABLE is", place_of_name("like", position));
      default:
        refuse("this element of CREATE TABLE is", position);
    }
  }
  return result;
}

syntax::column_definition converter::convert_column_definition(PgQuery__ColumnDef const& column) {
  text_position const position = place(column.location);
  refuse_if(column.compression[0] != '\0', "COMPRESSION is", position);
  refuse_if(column.storage[0] != '\0', "STORAGE is", position);
  refuse_if(column.raw_default != nullptr || column.cooked_default != nullptr, "DEFAULT is",
            position);
  refuse_if(column.identity[0] != '\0' || column.identity_sequence != nullptr, "IDENTITY is",
            position);
  refuse_if(column.generated[0] != '\0', "GENERATED is", position);
  if (column.coll_clause != nullptr) refuse("COLLATE is", place(column.coll_clause->location));
  refuse_if(column.n_fdwoptions > 0, "OPTIONS of a column is", position);
  refuse_if(column.type_name == nullptr, "a column without a type is", position);
  syntax::column_definition result;
  result.name = column.colname;
  result.position = position;
  result.type = convert_type(*column.type_name);
  result.not_null = column.is_not_null;
  bool nullable_said = false;
  for (PgQuery__Node const* const node : QD_NODES(column, constraints)) {
    nullable_said |= node->constraint->contype == PG_QUERY__CONSTR_TYPE__CONSTR_NULL;
    convert_column_constraint(*node->constraint, result);
  }
  if (nullable_said && result.not_null) {
    throw error(error_code::bad_definition, "column " + result.name + " is both NULL and NOT NULL",
                position);
  }
  return result;
}

void converter::convert_column_constraint(PgQuery__Constraint const& constraint,
                                          syntax::column_definition& column) {
  refuse_constraint_clauses(constraint);
  switch (constraint.contype) {
    case PG_QUERY__CONSTR_TYPE__CONSTR_NULL:
      return;
    case PG_QUERY__CONSTR_TYPE__CONSTR_NOTNULL:
      column.not_null = true;
      return;
    case PG_QUERY__CONSTR_TYPE__CONSTR_UNIQUE:
      column.unique = true;
      return;
    case PG_QUERY__CONSTR_TYPE__CONSTR_PRIMARY:
      column.unique = true;
      column.not_null = true;
      return;
    case PG_QUERY__CONSTR_TYPE__CONSTR_FOREIGN:
      return convert_reference(constraint, column);
    default:
      refuse_constraint(constraint);
  }
}

// An object that others refer to is never deleted, so NO ACTION and RESTRICT say what happens; its
// key may change, which no reference notices.
void converter::convert_reference(PgQuery__Constraint const& constraint,
                                  syntax::column_definition& column) {
  text_position const position = place(constraint.location);
  refuse_if(!column.references.parts.empty(), "a second REFERENCES of a column is", position);
  refuse_if(constraint.n_fk_attrs > 0, "FOREIGN KEY is", position);
  refuse_if(constraint.fk_matchtype[0] != 's', "MATCH of REFERENCES is", position);
  refuse_if(constraint.fk_upd_action[0] != 'a', "ON UPDATE is", position);
  refuse_if(constraint.fk_del_action[0] != 'a' && constraint.fk_del_action[0] != 'r',
            "ON DELETE, other than NO ACTION and RESTRICT, is", position);
  refuse_if(constraint.n_fk_del_set_cols > 0, "SET of several columns is", position);
  refuse_if(constraint.n_pk_attrs > 1, "REFERENCES to several columns is", position);
  column.references = plain_table(*constraint.pktable, "REFERENCES");
  // A table keeps no record of which of its keys is the primary one.
  refuse_if(constraint.n_pk_attrs == 0, "REFERENCES without a column to look values up by is",
            position);
  column.lookup_column = string_of(*constraint.pk_attrs[0]);
}

syntax::unique_constraint converter::convert_table_constraint(
    PgQuery__Constraint const& constraint) {
  refuse_constraint_clauses(constraint);
  syntax::unique_constraint result;
  result.position = place(constraint.location);
  result.primary_key = constraint.contype == PG_QUERY__CONSTR_TYPE__CONSTR_PRIMARY;
  if (!result.primary_key && constraint.contype != PG_QUERY__CONSTR_TYPE__CONSTR_UNIQUE) {
    refuse_constraint(constraint);
  }
  result.columns = strings_of(QD_NODES(constraint, keys), result.position);
  return result;
}

void converter::refuse_constraint_clauses(PgQuery__Constraint const& constraint) {
  text_position const position = place(constraint.location);
  refuse_if(constraint.conname[0] != '\0', "a name of a constraint is", position);
  refuse_if(constraint.deferrable || constraint.initdeferred, "DEFERRABLE is", position);
  refuse_if(constraint.is_no_inherit, "NO INHERIT is", position);
  refuse_if(constraint.nulls_not_distinct, "NULLS NOT DISTINCT is", position);
  refuse_if(constraint.n_including > 0, "INCLUDE is", position);
  refuse_if(constraint.n_options > 0, "WITH (...) of a constraint is", position);
  refuse_if(constraint.indexname[0] != '\0', "USING INDEX is", position);
  refuse_if(constraint.indexspace[0] != '\0', "USING INDEX TABLESPACE is", position);
  refuse_if(constraint.skip_validation, "NOT VALID is", position);
}

void converter::refuse_constraint(PgQuery__Constraint const& constraint) {
  text_position const position = place(constraint.location);
  switch (constraint.contype) {
    case PG_QUERY__CONSTR_TYPE__CONSTR_DEFAULT:
      refuse("DEFAULT is", position);
    case PG_QUERY__CONSTR_TYPE__CONSTR_CHECK:
      refuse("CHECK is", position);
    case PG_QUERY__CONSTR_TYPE__CONSTR_IDENTITY:
    case PG_QUERY__CONSTR_TYPE__CONSTR_GENERATED:
      refuse("GENERATED is", position);
    case PG_QUERY__CONSTR_TYPE__CONSTR_EXCLUSION:
      refuse("EXCLUDE is", position);
    case PG_QUERY__CONSTR_TYPE__CONSTR_FOREIGN:
      refuse("FOREIGN KEY of a table, rather than REFERENCES of a column, is", position);
    default:
      refuse(words_at(position) + " of a column is", position);
  }
}

syntax::create_index converter::convert_create_index(PgQuery__IndexStmt const& create) {
  text_position const begin = statement_begin();
  refuse_if(create.idxname[0] == '\0', "an index without a name is", begin);
  refuse_if(create.concurrent, "CONCURRENTLY is", place_of_name("concurrently", begin));
  refuse_if(create.nulls_not_distinct, "NULLS NOT DISTINCT is", begin);
  refuse_if(create.n_options > 0, "WITH (...) of CREATE INDEX is", begin);
  refuse_if(create.table_space[0] != '\0', "TABLESPACE is", place_of_name("tablespace", begin));
  refuse_if(create.n_index_including_params > 0, "INCLUDE is", place_of_name("include", begin));
  refuse_if(create.where_clause != nullptr, "an index with WHERE is",
            place_of_name("where", begin));
  refuse_if(std::string_view(create.access_method) != "btree", "USING of CREATE INDEX is",
            place_of_name("using", begin));
  syntax::create_index result;
  result.index = {{create.idxname}, place_of_name(create.idxname, begin)};
  result.if_not_exists = create.if_not_exists;
  result.unique = create.unique;
  result.table = plain_table(*create.relation, "CREATE INDEX");
  text_position place_before = result.table.position;
  for (PgQuery__Node const* const node : QD_NODES(create, index_params)) {
    PgQuery__IndexElem const& element = *node->index_elem;
    if (element.expr != nullptr) {
      refuse("an index of an expression is", place_of(*element.expr));
    }
    text_position const position = place_of_name(element.name, place_before + 1);
    place_before = position;
    refuse_if(element.n_collation > 0, "COLLATE is", position);
    refuse_if(element.n_opclass > 0 || element.n_opclassopts > 0, "an operator class is", position);
    bool const ascending = element.ordering != PG_QUERY__SORT_BY_DIR__SORTBY_DESC;
    // NULL is below every value.
    auto const other_nulls = ascending ? PG_QUERY__SORT_BY_NULLS__SORTBY_NULLS_LAST
                                       : PG_QUERY__SORT_BY_NULLS__SORTBY_NULLS_FIRST;
    refuse_if(element.nulls_ordering == other_nulls,
              ascending ? "an ascending index with NULLS LAST is"
                        : "a descending index with NULLS FIRST is",
              position);
    result.columns.push_back({element.name, ascending, position});
  }
  return result;
}

syntax::drop converter::convert_drop(PgQuery__DropStmt const& drop) {
  text_position const begin = statement_begin();
  syntax::drop result;
  switch (drop.remove_type) {
    case PG_QUERY__OBJECT_TYPE__OBJECT_TABLE:
      result.kind = syntax::drop::what::table;
      break;
    case PG_QUERY__OBJECT_TYPE__OBJECT_INDEX:
      result.kind = syntax::drop::what::index;
      break;
    default:
      refuse(words_at(begin, 2) + " is", begin);
  }
  refuse_if(drop.concurrent, "CONCURRENTLY is", place_of_name("concurrently", begin));
  result.if_exists = drop.missing_ok;
  result.cascade = drop.behavior == PG_QUERY__DROP_BEHAVIOR__DROP_CASCADE;
  for (PgQuery__Node const* const node : QD_NODES(drop, objects)) {
    syntax::object_name name;
    name.parts = strings_of(QD_NODES(*node->list, items), begin);
    name.position = place_of_name(name.parts.front(), begin);
    result.names.push_back(std::move(name));
  }
  return result;
}

}  // namespace qd::sql
