// Queries: FROM, WHERE, GROUP BY, outputs, UNION, ORDER BY, LIMIT.
#pragma once

#include <deque>
#include <vector>

#include "sql/bind/expression_binder.h"

namespace qd::sql {

// Outputs of one query.
inline constexpr std::size_t max_outputs = 10000;

// An output of a query, over the variables of its relation.
struct bound_output {
  std::string name;
  algebra::Expression value;
  text_position position = no_position;
};

// Binds the queries of one statement, inner ones too.
class query_binder {
 public:
  explicit query_binder(binding_context const& context)
      : context_(context), names_(context), expressions_(context, names_) {}

  algebra::bound_query bind(syntax::query const& query);
  // The rows to insert into these columns, the last of which may lack values when `may_end_early`.
  // What is certain never to fit its column is refused. In a list of VALUES every value keeps its
  // own kind: an unsigned number beside a negative one need not share one with it.
  algebra::bound_query bind_source(syntax::query const& query,
                                   std::vector<column_info const*> const& columns,
                                   bool may_end_early);
  // A value for a column. Throws wrong_type when no value of its kind fits.
  algebra::Expression for_column(algebra::Expression value, column_info const& column,
                                 text_position position);

  // The pieces that UPDATE and DELETE are made of: a table in scope, and rows under a condition with
  // outputs.
  source& open_table(syntax::object_name const& name, std::string const& alias,
                     algebra::relation_ptr& rows);
  void filter(algebra::relation_ptr& rows, syntax::expression const* condition, scope const& names);
  algebra::bound_query finish(algebra::relation_ptr rows, std::vector<bound_output> outputs);
  // Computes what stands in sources' followed references; to be called once all is bound.
  void compute_paths();

  expression_binder& expressions() { return expressions_; }
  table_info const& table_named(syntax::object_name const& name) const;

 private:
  struct body {
    algebra::relation_ptr rows;
    std::vector<bound_output> outputs;
  };
  // The common table expressions in scope, inner ones last. Each sees those before it.
  struct common_table {
    syntax::common_table const* definition;
    bool used;
  };
  using visible_tables = std::vector<common_table>;

  body bind_query(syntax::query const& query);
  void open_common_tables(syntax::query const& query);
  // Binds those from `first` on that nothing used, for their errors.
  void check_unused_common_tables(std::size_t first);
  body bind_select(syntax::select_core const& select, syntax::query const& query);
  body bind_values(syntax::values_list const& values);
  std::vector<std::vector<algebra::Expression>> bind_rows(syntax::values_list const& values);
  // VALUES whose columns are known as variables of `kinds`.
  body rows_of(syntax::values_list const& values,
               std::vector<std::vector<algebra::Expression>> rows,
               std::vector<algebra::kind> const& kinds);
  body bind_union(syntax::union_of const& both);

  // FROM.
  algebra::relation_ptr bind_from(std::vector<syntax::from_item_ptr> const& items, scope& names);
  algebra::relation_ptr bind_item(syntax::from_item const& item, scope& names);
  algebra::relation_ptr bind_table(syntax::from_item const& item, scope& names);
  algebra::relation_ptr bind_derived(syntax::query const& query,
                                     std::vector<std::string> const& column_names,
                                     syntax::from_item const& item, scope& names);
  algebra::relation_ptr bind_join(syntax::from_item const& item, scope& names);
  static void rename_columns(source& renamed, std::vector<std::string> const& names,
                             text_position position);
  static void merge(scope& into, scope left, scope right);
  std::vector<algebra::Expression> bind_using(syntax::join_item const& join, scope const& left,
                                              scope const& right, scope& both,
                                              std::vector<algebra::Alias>& computed,
                                              text_position position);
  source& add_source(source added);

  // The parts of SELECT.
  struct selection;
  void expand_star(syntax::star const& star, text_position position, scope const& names,
                   std::vector<bound_output>& outputs);
  void bind_outputs(selection& current);
  void bind_group_by(selection& current);
  void bind_order(selection& current, syntax::query const& query);
  void group(selection& current);
  algebra::Expression grouped(selection const& current, algebra::Expression value,
                              text_position position) const;

  // Sorts by ORDER BY's keys; the outputs of `current` are those of `result` as they were bound.
  void order(body& result, selection& current);

  // Gives every output a variable; constants and NULLs of no kind get one, too.
  void name_outputs(algebra::relation_ptr& rows, std::vector<bound_output>& outputs);
  // Sorts by outputs alone, as behind UNION and VALUES.
  void sort_outputs(body& current, syntax::query const& query);
  void add_sort_key(std::vector<algebra::sort_key>& keys, syntax::sort_item const& item,
                    algebra::Expression key);
  // The output of that name; null without one. Two different ones are refused.
  bound_output const* output_named(std::vector<bound_output> const& outputs, scope const& names,
                                   syntax::expression const& item) const;
  // The output that a sort item names by its position; none when it is no integer literal.
  bound_output const* output_at(std::vector<bound_output> const& outputs,
                                syntax::expression const& item, char const* place) const;
  void limit(body& current, syntax::query const& query);
  std::optional<algebra::Expression> bind_count(syntax::expression const* count, char const* place);
  void distinct(body& current);
  static void sort(algebra::relation_ptr& rows, std::vector<algebra::sort_key> keys);

  binding_context const& context_;
  name_resolver names_;
  expression_binder expressions_;
  std::deque<source> sources_;  // Of the whole statement; scopes point into it.
  visible_tables common_tables_;
};

}  // namespace qd::sql
