#include "sql/parse/converter.h"

namespace qd::sql {

syntax::statement converter::convert_statement(PgQuery__Node const& node) {
  syntax::statement result;
  result.position = statement_begin();
  switch (node.node_case) {
    case PG_QUERY__NODE__NODE_SELECT_STMT:
      result.content = convert_query(*node.select_stmt);
      break;
    case PG_QUERY__NODE__NODE_INSERT_STMT:
      result.content = convert_insert(*node.insert_stmt);
      break;
    case PG_QUERY__NODE__NODE_UPDATE_STMT:
      result.content = convert_update(*node.update_stmt);
      break;
    case PG_QUERY__NODE__NODE_DELETE_STMT:
      result.content = convert_delete(*node.delete_stmt);
      break;
    case PG_QUERY__NODE__NODE_CREATE_STMT:
      result.content = convert_create_table(*node.create_stmt);
      break;
    case PG_QUERY__NODE__NODE_INDEX_STMT:
      result.content = convert_create_index(*node.index_stmt);
      break;
    case PG_QUERY__NODE__NODE_DROP_STMT:
      result.content = convert_drop(*node.drop_stmt);
      break;
    case PG_QUERY__NODE__NODE_TRANSACTION_STMT:
      convert_transaction(*node.transaction_stmt, result);
      break;
    case PG_QUERY__NODE__NODE_COPY_STMT:
      result.content = convert_copy(*node.copy_stmt);
      break;
    case PG_QUERY__NODE__NODE_EXPLAIN_STMT:
      result.content = convert_explain(*node.explain_stmt);
      break;
    case PG_QUERY__NODE__NODE_PREPARE_STMT:
      result.content = convert_prepare(*node.prepare_stmt);
      break;
    case PG_QUERY__NODE__NODE_EXECUTE_STMT:
      result.content = syntax::execute{node.execute_stmt->name,
                                       convert_expressions(QD_NODES(*node.execute_stmt, params))};
      break;
    case PG_QUERY__NODE__NODE_DEALLOCATE_STMT:
      result.content = syntax::deallocate{node.deallocate_stmt->name};
      break;
    case PG_QUERY__NODE__NODE_CREATE_TABLE_AS_STMT: {
      bool const is_table =
          node.create_table_as_stmt->objtype == PG_QUERY__OBJECT_TYPE__OBJECT_TABLE;
      refuse(is_table ? "CREATE TABLE ... AS is" : "CREATE MATERIALIZED VIEW is", result.position);
    }
    default: {
      std::string const first = words_at(result.position);
      bool const by_two_words = first == "CREATE" || first == "DROP";
      refuse((by_two_words ? words_at(result.position, 2) : first) + " is", result.position);
    }
  }
  return result;
}

// Transactions run one after the other, so every isolation level is had.
void converter::convert_transaction(PgQuery__TransactionStmt const& transaction,
                                    syntax::statement& statement) {
  text_position const begin = statement.position;
  refuse_if(transaction.chain, "AND CHAIN is", place_of_name("chain", begin));
  switch (transaction.kind) {
    case PG_QUERY__TRANSACTION_STMT_KIND__TRANS_STMT_BEGIN:
    case PG_QUERY__TRANSACTION_STMT_KIND__TRANS_STMT_START:
      statement.content = syntax::begin{};
      break;
    case PG_QUERY__TRANSACTION_STMT_KIND__TRANS_STMT_COMMIT:
      statement.content = syntax::commit{};
      break;
    case PG_QUERY__TRANSACTION_STMT_KIND__TRANS_STMT_ROLLBACK:
      statement.content = syntax::roll_back{};
      break;
    case PG_QUERY__TRANSACTION_STMT_KIND__TRANS_STMT_SAVEPOINT:
    case PG_QUERY__TRANSACTION_STMT_KIND__TRANS_STMT_RELEASE:
    case PG_QUERY__TRANSACTION_STMT_KIND__TRANS_STMT_ROLLBACK_TO:
      refuse("savepoints are", begin);
    default:
      refuse("two-phase commit is", begin);
  }
  for (PgQuery__Node const* const node : QD_NODES(transaction, options)) {
    PgQuery__DefElem const& option = *node->def_elem;
    std::string_view const name = option.defname;
    bool const is_set = option.arg != nullptr &&
                        option.arg->node_case == PG_QUERY__NODE__NODE_A_CONST &&
                        option.arg->a_const->val_case == PG_QUERY__A__CONST__VAL_IVAL &&
                        option.arg->a_const->ival->ival != 0;
    if (name == "transaction_isolation") continue;
    if (name == "transaction_read_only" && !is_set) continue;
    if (name == "transaction_deferrable" && !is_set) continue;
    refuse(name == "transaction_read_only" ? "READ ONLY is" : "DEFERRABLE is",
           place(option.location, begin));
  }
}

syntax::explain converter::convert_explain(PgQuery__ExplainStmt const& explain) {
  if (explain.n_options > 0) {
    PgQuery__DefElem const& option = *explain.options[0]->def_elem;
    refuse("an option of EXPLAIN is", place(option.location));
  }
  text_position const begin = statement_begin();
  switch (explain.query->node_case) {
    case PG_QUERY__NODE__NODE_SELECT_STMT:
    case PG_QUERY__NODE__NODE_UPDATE_STMT:
    case PG_QUERY__NODE__NODE_DELETE_STMT:
    case PG_QUERY__NODE__NODE_INSERT_STMT:
    case PG_QUERY__NODE__NODE_EXECUTE_STMT:
      break;
    default:
      refuse("EXPLAIN of this statement is", begin);
  }
  return {std::make_unique<syntax::statement>(convert_statement(*explain.query))};
}

syntax::prepare converter::convert_prepare(PgQuery__PrepareStmt const& prepare) {
  if (prepare.n_argtypes > 0) {
    refuse("a list of types in PREPARE is", place(prepare.argtypes[0]->type_name->location));
  }
  return {prepare.name, std::make_unique<syntax::statement>(convert_statement(*prepare.query))};
}

}  // namespace qd::sql
