// Queries: FROM, WHERE, GROUP BY, outputs, UNION, ORDER BY, LIMIT.
#pragma once

#include <deque>
#include <vector>

#include "sql/bind/expression_binder.h"

namespace qd::sql {

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
  // A common table expression, and how many of its query's own stand before it.
  using visible_tables = std::vector<syntax::common_table const*>;

  body bind_query(syntax::query const& query);
  body bind_select(syntax::select_core const& select, syntax::query const& query);
  body bind_values(syntax::values_list const& values);
  body bind_union(syntax::union_of const& both);

  // FROM.
  algebra::relation_ptr bind_from(std::vector<syntax::from_item_ptr> const& items, scope& names);
  algebra::relation_ptr bind_item(syntax::from_item const& item, scope& names);
  algebra::relation_ptr bind_table(syntax::from_item const& item, scope& names);
  algebra::relation_ptr bind_derived(syntax::query const& query, syntax::from_item const& item,
                                     scope& names);
  algebra::relation_ptr bind_join(syntax::from_item const& item, scope& names);
  void merge(scope& into, scope left, scope right);
  std::vector<algebra::Expression> bind_using(syntax::join_item const& join, scope const& left,
                                              scope const& right, scope& both,
                                              text_position position);
  void add_source(scope& names, source added, text_position position);

  // The parts of SELECT.
  struct selection;
  void expand_star(syntax::star const& star, text_position position, scope const& names,
                   std::vector<bound_output>& outputs);
  void bind_outputs(selection& current);
  void bind_group_by(selection& current);
  void bind_having(selection& current);
  void bind_order(selection& current, syntax::query const& query);
  void group(selection& current);
  algebra::Expression grouped(selection const& current, algebra::Expression value,
                              text_position position) const;

  // Gives every output a variable; constants and NULLs of no kind get one, too.
  void name_outputs(algebra::relation_ptr& rows, std::vector<bound_output>& outputs);
  // Sorts by outputs alone, as behind DISTINCT, UNION and VALUES.
  void sort_outputs(body& current, syntax::query const& query);
  void add_sort_key(std::vector<algebra::sort_key>& keys, syntax::sort_item const& item,
                    algebra::Expression key);
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
