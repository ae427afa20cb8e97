#include "sql/parse/converter.h"

namespace qd::sql {

// The grammar keeps no place for a SELECT: it is that of its first output, row or table.
text_position converter::place_of(PgQuery__SelectStmt const& select) {
  for (PgQuery__SelectStmt const* each = &select; each != nullptr; each = each->larg) {
    for (node_list const nodes : {QD_NODES(*each, target_list), QD_NODES(*each, values_lists)}) {
      if (!nodes.empty()) return place_of(*nodes.front());
    }
  }
  return no_position;
}

syntax::query_ptr converter::convert_query_node(PgQuery__Node const& node) {
  if (node.node_case != PG_QUERY__NODE__NODE_SELECT_STMT) {
    refuse("a statement that changes rows is, inside another one,", statement_begin());
  }
  return std::make_unique<syntax::query>(convert_query(*node.select_stmt));
}

syntax::query converter::convert_query(PgQuery__SelectStmt const& select) {
  syntax::query query;
  query.position = place_of(select);
  level const deeper(*this, query.position);
  refuse_if(select.into_clause != nullptr, "SELECT INTO is", place_of_name("into", query.position));
  refuse_if(select.n_locking_clause > 0, "FOR UPDATE and its kin are", query.position);
  if (select.limit_option == PG_QUERY__LIMIT_OPTION__LIMIT_OPTION_WITH_TIES) {
    text_position const count = place_of(*select.limit_count);
    refuse("FETCH ... WITH TIES is",
           place_of_name("ties", count == no_position ? query.position : count));
  }
  if (select.with_clause != nullptr) convert_with(*select.with_clause, query);
  switch (select.op) {
    case PG_QUERY__SET_OPERATION__SETOP_NONE:
      if (select.n_values_lists > 0) {
        query.body = convert_values(select);
      } else {
        query.body = convert_core(select);
      }
      break;
    case PG_QUERY__SET_OPERATION__SETOP_UNION: {
      auto left = std::make_unique<syntax::query>(convert_query(*select.larg));
      auto right = std::make_unique<syntax::query>(convert_query(*select.rarg));
      query.body = syntax::union_of{select.all != 0, std::move(left), std::move(right)};
      break;
    }
    case PG_QUERY__SET_OPERATION__SETOP_INTERSECT:
      refuse("INTERSECT is", place_of_name("intersect", query.position));
    case PG_QUERY__SET_OPERATION__SETOP_EXCEPT:
      refuse("EXCEPT is", place_of_name("except", query.position));
    default:
      refuse("this set operation is", query.position);
  }
  for (PgQuery__Node const* const each : QD_NODES(select, sort_clause)) {
    query.order_by.push_back(convert_sort(*each));
  }
  // LIMIT ALL is LIMIT NULL.
  PgQuery__Node const* const limit = select.limit_count;
  bool const no_limit = limit != nullptr && limit->node_case == PG_QUERY__NODE__NODE_A_CONST &&
                        limit->a_const->isnull;
  query.limit = convert_optional(no_limit ? nullptr : limit);
  query.offset = convert_optional(select.limit_offset);
  return query;
}

void converter::convert_with(PgQuery__WithClause const& with, syntax::query& query) {
  text_position const position = place(with.location);
  refuse_if(with.recursive, "WITH RECURSIVE is", position);
  refuse_if(in_common_table_, "WITH inside WITH is", position);
  in_common_table_ = true;
  for (PgQuery__Node const* const node : QD_NODES(with, ctes)) {
    PgQuery__CommonTableExpr const& table = *node->common_table_expr;
    syntax::common_table result;
    result.position = place(table.location);
    refuse_if(table.ctematerialized == PG_QUERY__CTEMATERIALIZE__CTEMaterializeAlways,
              "MATERIALIZED is", result.position);
    refuse_if(table.ctematerialized == PG_QUERY__CTEMATERIALIZE__CTEMaterializeNever,
              "NOT MATERIALIZED is", result.position);
    refuse_if(table.search_clause != nullptr, "SEARCH is", result.position);
    refuse_if(table.cycle_clause != nullptr, "CYCLE is", result.position);
    if (table.ctequery->node_case != PG_QUERY__NODE__NODE_SELECT_STMT) {
      refuse("WITH of anything but a query is", result.position);
    }
    result.name = table.ctename;
    result.column_aliases = strings_of(QD_NODES(table, aliascolnames), result.position);
    result.query = convert_query_node(*table.ctequery);
    query.with.push_back(std::move(result));
  }
  in_common_table_ = false;
}

syntax::select_core converter::convert_core(PgQuery__SelectStmt const& select) {
  text_position const position = place_of(select);
  syntax::select_core core;
  // Plain DISTINCT arrives as one empty node.
  core.distinct = select.n_distinct_clause > 0;
  if (core.distinct && select.distinct_clause[0]->node_case != PG_QUERY__NODE__NODE__NOT_SET) {
    refuse("DISTINCT ON is", place_of(*select.distinct_clause[0]));
  }
  if (select.n_target_list == 0) {
    refuse("SELECT without an output is", place_of_name("select", statement_begin()));
  }
  refuse_if(select.group_distinct, "GROUP BY DISTINCT is", position);
  refuse_if(select.n_window_clause > 0, "window functions are", position);
  for (PgQuery__Node const* const node : QD_NODES(select, target_list)) {
    PgQuery__ResTarget const& target = *node->res_target;
    refuse_if(target.n_indirection > 0, "a subscript is", place(target.location));
    PgQuery__Node const& value = *target.val;
    core.outputs.push_back({value.node_case == PG_QUERY__NODE__NODE_COLUMN_REF
                                ? convert_column(*value.column_ref, true)
                                : convert_expression(value),
                            target.name});
  }
  for (PgQuery__Node const* const each : QD_NODES(select, from_clause)) {
    core.from.push_back(convert_from(*each));
  }
  core.where = convert_optional(select.where_clause);
  core.group_by = convert_expressions(QD_NODES(select, group_clause));
  core.having = convert_optional(select.having_clause);
  return core;
}

syntax::values_list converter::convert_values(PgQuery__SelectStmt const& select) {
  syntax::values_list values;
  values.rows.reserve(select.n_values_lists);
  for (PgQuery__Node const* const row : QD_NODES(select, values_lists)) {
    values.rows.push_back(convert_expressions(QD_NODES(*row->list, items)));
    if (values.rows.back().size() != values.rows.front().size()) {
      throw error(error_code::syntax, "the rows of VALUES have different lengths", place_of(*row));
    }
  }
  return values;
}

syntax::from_item_ptr converter::convert_from(PgQuery__Node const& node) {
  auto item = std::make_unique<syntax::from_item>();
  switch (node.node_case) {
    case PG_QUERY__NODE__NODE_RANGE_VAR:
      item->position = place_of(node);
      item->content = syntax::table_item{table_name(*node.range_var)};
      convert_alias(node.range_var->alias, *item);
      return item;
    case PG_QUERY__NODE__NODE_RANGE_SUBSELECT: {
      PgQuery__RangeSubselect const& derived = *node.range_subselect;
      auto query = convert_query_node(*derived.subquery);
      item->position = query->position;
      if (derived.lateral) refuse("LATERAL is", place_of_last_name("lateral", item->position));
      item->content = syntax::derived_item{std::move(query)};
      convert_alias(derived.alias, *item);
      return item;
    }
    case PG_QUERY__NODE__NODE_JOIN_EXPR:
      return convert_join(*node.join_expr);
    case PG_QUERY__NODE__NODE_RANGE_TABLE_SAMPLE: {
      text_position const position = place(node.range_table_sample->location);
      refuse("TABLESAMPLE is", position);
    }
    case PG_QUERY__NODE__NODE_RANGE_FUNCTION: {
      PgQuery__RangeFunction const& functions = *node.range_function;
      text_position position = no_position;
      if (functions.n_functions > 0) position = place_of(*functions.functions[0]);
      refuse("a function in FROM is", position);
    }
    default:
      refuse("this item of FROM is", place_of_name("from", statement_begin()));
  }
}

syntax::from_item_ptr converter::convert_join(PgQuery__JoinExpr const& join) {
  level const deeper(*this, place_of(*join.rarg));
  auto left = convert_from(*join.larg);
  auto right = convert_from(*join.rarg);
  auto item = std::make_unique<syntax::from_item>();
  item->position = right->position;
  if (join.is_natural) {
    refuse("NATURAL JOIN is", place_of_last_name("natural", item->position));
  }
  refuse_if(join.alias != nullptr, "an alias of a join is", item->position);
  refuse_if(join.join_using_alias != nullptr, "an alias of USING is", item->position);
  auto const kind = [&] {
    switch (join.jointype) {
      case PG_QUERY__JOIN_TYPE__JOIN_INNER:
        return join.quals == nullptr && join.n_using_clause == 0 ? syntax::join_kind::cross
                                                                 : syntax::join_kind::inner;
      case PG_QUERY__JOIN_TYPE__JOIN_LEFT:
        return syntax::join_kind::left;
      case PG_QUERY__JOIN_TYPE__JOIN_RIGHT:
        return syntax::join_kind::right;
      case PG_QUERY__JOIN_TYPE__JOIN_FULL:
        return syntax::join_kind::full;
      default:
        refuse("this join is", item->position);
    }
  }();
  item->content =
      syntax::join_item{kind, std::move(left), std::move(right), convert_optional(join.quals),
                        strings_of(QD_NODES(join, using_clause), item->position)};
  return item;
}

void converter::convert_alias(PgQuery__Alias const* alias, syntax::from_item& item) const {
  if (alias == nullptr) return;
  item.alias = alias->aliasname;
  item.column_aliases = strings_of(QD_NODES(*alias, colnames), item.position);
}

syntax::sort_item converter::convert_sort(PgQuery__Node const& node) {
  PgQuery__SortBy const& sort = *node.sort_by;
  text_position const position = place_of(*sort.node);
  syntax::sort_item item;
  switch (sort.sortby_dir) {
    case PG_QUERY__SORT_BY_DIR__SORTBY_DEFAULT:
    case PG_QUERY__SORT_BY_DIR__SORTBY_ASC:
      break;
    case PG_QUERY__SORT_BY_DIR__SORTBY_DESC:
      item.ascending = false;
      break;
    default:
      refuse("ORDER BY ... USING is", position);
  }
  switch (sort.sortby_nulls) {
    case PG_QUERY__SORT_BY_NULLS__SORTBY_NULLS_FIRST:
      item.where = syntax::sort_item::nulls::first;
      break;
    case PG_QUERY__SORT_BY_NULLS__SORTBY_NULLS_LAST:
      item.where = syntax::sort_item::nulls::last;
      break;
    default:
      break;
  }
  item.key = convert_expression(*sort.node);
  return item;
}

}  // namespace qd::sql
