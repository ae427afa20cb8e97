// The grammar's tree becomes syntax.
#pragma once

#include <pg_query/pg_query.pb-c.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sql/error.h"
#include "sql/parse/parse.h"
#include "sql/syntax/statement.h"

namespace qd::sql {

// Converts one statement. Every field of the grammar's nodes is either converted or refused when it
// is set: no clause is ignored. Refusals are sql::error, not_supported, with the construct's name
// and place.
class converter {
 public:
  explicit converter(std::string_view text) : text_(text) {}

  syntax::statement convert_statement(PgQuery__Node const& node);

 private:
  using node_list = std::span<PgQuery__Node* const>;
  using expression_list = std::vector<syntax::expression_ptr>;

  // Counts levels of the syntax tree while it lives; refuses those beyond the limit.
  class level {
   public:
    level(converter& owner, text_position position, std::size_t count = 1);
    level(level const&) = delete;
    level& operator=(level const&) = delete;
    ~level() { owner_.depth_ -= count_; }

   private:
    converter& owner_;
    std::size_t count_;
  };

  // Places. The grammar gives a byte offset, or -1.
  static text_position place(int location, text_position otherwise = no_position) {
    return location < 0 ? otherwise : static_cast<text_position>(location);
  }
  static text_position place_of(PgQuery__Node const& node);
  static text_position place_of(PgQuery__SelectStmt const& select);
  // Where a name without a location stands, looking from `from` on; `from` when it is not found.
  text_position place_of_name(std::string_view name, text_position from) const;
  // Where it stands the last time before `end`; `end` when it is not found.
  text_position place_of_last_name(std::string_view name, text_position end) const;
  // The first `count` words from a place on, in capitals.
  std::string words_at(text_position position, int count = 1) const;
  // The words at a place that name what stands there: GREATEST, AT TIME ZONE, IS DOCUMENT.
  std::string construct_at(text_position position) const;
  text_position statement_begin() const;

  // "`construct` not supported": construct is "window functions are", "ALTER is".
  [[noreturn]] static void refuse(std::string const& construct, text_position position);
  static void refuse_if(bool given, char const* construct, text_position position) {
    if (given) refuse(construct, position);
  }

  // Names.
  static std::string string_of(PgQuery__Node const& node);
  std::vector<std::string> strings_of(node_list names, text_position position) const;
  static syntax::object_name table_name(PgQuery__RangeVar const& table);
  syntax::object_name plain_table(PgQuery__RangeVar const& table, char const* statement) const;
  syntax::type_name convert_type(PgQuery__TypeName const& type);

  // Expressions.
  syntax::expression_ptr convert_expression(PgQuery__Node const& node);
  syntax::expression_ptr convert_optional(PgQuery__Node const* node);
  expression_list convert_expressions(node_list nodes);
  syntax::expression_ptr convert_constant(PgQuery__AConst const& constant);
  syntax::expression_ptr convert_number(std::string_view digits, text_position position);
  syntax::expression_ptr convert_bits(std::string_view bits, text_position position);
  syntax::expression_ptr convert_column(PgQuery__ColumnRef const& column, bool star_allowed);
  syntax::expression_ptr convert_operation(PgQuery__AExpr const& operation);
  syntax::expression_ptr convert_operator(PgQuery__AExpr const& operation, text_position position);
  syntax::expression_ptr convert_like(PgQuery__AExpr const& operation, text_position position);
  syntax::expression_ptr convert_logic(PgQuery__BoolExpr const& logic);
  syntax::expression_ptr convert_case(PgQuery__CaseExpr const& cases);
  syntax::expression_ptr convert_call(PgQuery__FuncCall const& call);
  syntax::expression_ptr convert_null_test(PgQuery__NullTest const& test);
  syntax::expression_ptr convert_boolean_test(PgQuery__BooleanTest const& test);
  [[noreturn]] void refuse_subquery(PgQuery__SubLink const& subquery);
  [[noreturn]] void refuse_expression(PgQuery__Node const& node);

  // Queries.
  syntax::query_ptr convert_query_node(PgQuery__Node const& node);
  syntax::query convert_query(PgQuery__SelectStmt const& select);
  void convert_with(PgQuery__WithClause const& with, syntax::query& query);
  syntax::select_core convert_core(PgQuery__SelectStmt const& select);
  syntax::values_list convert_values(PgQuery__SelectStmt const& select);
  syntax::from_item_ptr convert_from(PgQuery__Node const& node);
  syntax::from_item_ptr convert_join(PgQuery__JoinExpr const& join);
  void convert_alias(PgQuery__Alias const* alias, syntax::from_item& item) const;
  syntax::sort_item convert_sort(PgQuery__Node const& node);

  // Changes.
  syntax::insert convert_insert(PgQuery__InsertStmt const& insert);
  syntax::update convert_update(PgQuery__UpdateStmt const& update);
  syntax::delete_rows convert_delete(PgQuery__DeleteStmt const& deletion);
  static std::string plain_alias(PgQuery__RangeVar const& table);

  // Definitions.
  syntax::create_table convert_create_table(PgQuery__CreateStmt const& create);
  syntax::column_definition convert_column_definition(PgQuery__ColumnDef const& column);
  void convert_column_constraint(PgQuery__Constraint const& constraint,
                                 syntax::column_definition& column);
  void convert_reference(PgQuery__Constraint const& constraint, syntax::column_definition& column);
  syntax::unique_constraint convert_table_constraint(PgQuery__Constraint const& constraint);
  void refuse_constraint_clauses(PgQuery__Constraint const& constraint);
  [[noreturn]] void refuse_constraint(PgQuery__Constraint const& constraint);
  syntax::create_index convert_create_index(PgQuery__IndexStmt const& create);
  syntax::drop convert_drop(PgQuery__DropStmt const& drop);

  // The rest.
  void convert_transaction(PgQuery__TransactionStmt const& transaction,
                           syntax::statement& statement);
  syntax::explain convert_explain(PgQuery__ExplainStmt const& explain);
  syntax::prepare convert_prepare(PgQuery__PrepareStmt const& prepare);
  syntax::copy convert_copy(PgQuery__CopyStmt const& copy);
  void convert_copy_option(PgQuery__DefElem const& option, syntax::copy& copy);

  std::string_view text_;
  std::size_t depth_ = 0;
  bool in_common_table_ = false;
};

// The elements of a list of the grammar's.
#define QD_NODES(message, field) \
  (std::span<PgQuery__Node* const>((message).field, (message).n_##field))

}  // namespace qd::sql
