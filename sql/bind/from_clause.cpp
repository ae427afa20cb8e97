// FROM: tables, derived tables and joins, and the names that they bring into scope.
#include <algorithm>

#include "physical_queryplan/query_plan.h"
#include "sql/bind/query_binder.h"

namespace qd::sql {

using algebra::Expression;
using algebra::relation_ptr;

namespace {

std::string shown(syntax::object_name const& name) {
  std::string text;
  for (std::string const& part : name.parts) text += (text.empty() ? "" : ".") + part;
  return text;
}

void rename_columns(source& renamed, std::vector<std::string> const& names,
                    text_position position) {
  std::size_t next = 0;
  for (std::string const& name : names) {
    while (next < renamed.columns.size() && renamed.columns[next].hidden) ++next;
    if (next == renamed.columns.size()) {
      throw error(error_code::unknown_name, "there are more column names than columns", position);
    }
    renamed.columns[next++].name = name;
  }
}

}  // namespace

table_info const& query_binder::table_named(syntax::object_name const& name) const {
  table_info const* const table = context_.catalogue.find(context_.reader, name);
  if (!table) {
    throw error(error_code::unknown_name, "there is no table " + shown(name), name.position);
  }
  return *table;
}

void query_binder::add_source(scope& names, source added, text_position position) {
  for (source const* other : names.sources) {
    if (other->name == added.name) {
      throw error(error_code::ambiguous_name,
                  "the name " + added.name.back() + " stands for two tables", position);
    }
  }
  sources_.push_back(std::move(added));
  names.sources.push_back(&sources_.back());
}

source& query_binder::open_table(syntax::object_name const& name, std::string const& alias,
                                 relation_ptr& rows) {
  table_info const& table = table_named(name);
  algebra::TableVariable const variable = names_.new_variable(table, name.position);
  source opened{.name = alias.empty() ? name.parts : std::vector{alias},
                .table = &table,
                .variable = variable,
                .columns = {},
                .followed = {},
                .relation = nullptr,
                .position = name.position};
  opened.columns.reserve(table.columns.size());
  for (column_info const& column : table.columns) {
    opened.columns.push_back({column.name, algebra::column(column.kind, column.column, variable),
                              column.referenced_class, column.system});
  }
  rows = algebra::make_relation(algebra::table{variable});
  opened.relation = rows.get();
  sources_.push_back(std::move(opened));
  return sources_.back();
}

relation_ptr query_binder::bind_table(syntax::from_item const& item, scope& names) {
  syntax::object_name const& name = std::get<syntax::table_item>(item.content).table;
  if (name.parts.size() == 1) {
    for (std::size_t i = common_tables_.size(); i-- > 0;) {
      syntax::common_table const& common = *common_tables_[i];
      if (common.name != name.parts[0]) continue;
      // Its query sees those before it, and is bound anew for every use.
      visible_tables const outer = common_tables_;
      common_tables_.resize(i);
      scope inside;
      relation_ptr rows = bind_derived(*common.query, item, inside);
      common_tables_ = outer;
      source& added = *inside.sources.back();
      if (item.column_aliases.empty()) rename_columns(added, common.column_aliases, item.position);
      if (item.alias.empty()) added.name = name.parts;
      merge(names, {}, std::move(inside));
      return rows;
    }
  }
  relation_ptr rows;
  source& opened = open_table(name, item.alias, rows);
  rename_columns(opened, item.column_aliases, item.position);
  scope inside;
  inside.sources.push_back(&opened);
  merge(names, {}, std::move(inside));
  return rows;
}

relation_ptr query_binder::bind_derived(syntax::query const& query, syntax::from_item const& item,
                                        scope& names) {
  body inner = bind_query(query);
  name_outputs(inner.rows, inner.outputs);
  source derived{.name = {item.alias},
                 .table = nullptr,
                 .variable = {},
                 .columns = {},
                 .followed = {},
                 .relation = inner.rows.get(),
                 .position = item.position};
  for (bound_output const& output : inner.outputs) {
    derived.columns.push_back(
        {output.name, output.value, expressions_.referenced_class(output.value), false});
  }
  rename_columns(derived, item.column_aliases, item.position);
  add_source(names, std::move(derived), item.position);
  return std::move(inner.rows);
}

void query_binder::merge(scope& into, scope left, scope right) {
  for (scope* side : {&left, &right}) {
    for (source* from : side->sources) {
      for (source const* other : into.sources) {
        if (other->name == from->name) {
          throw error(error_code::ambiguous_name,
                      "the name " + from->name.back() + " stands for two tables", from->position);
        }
      }
      into.sources.push_back(from);
    }
    std::move(side->merged.begin(), side->merged.end(), std::back_inserter(into.merged));
  }
}

std::vector<Expression> query_binder::bind_using(syntax::join_item const& join, scope const& left,
                                                 scope const& right, scope& both,
                                                 text_position position) {
  std::vector<Expression> conditions;
  for (std::string const& name : join.using_columns) {
    std::optional<named_value> const from_left = names_.find_column(left, name, position);
    std::optional<named_value> const from_right = names_.find_column(right, name, position);
    if (!from_left || !from_right) {
      throw error(error_code::unknown_name,
                  "column " + name + " of USING is not on both sides of the join", position);
    }
    conditions.push_back(expressions_.equality(from_left->value, from_right->value, position));
    merged_column merged{name, from_left->value, from_left->referenced_class, {}};
    if (join.kind == syntax::join_kind::right) merged.value = from_right->value;
    if (join.kind == syntax::join_kind::full) {
      merged.value = expressions_.first_present(from_left->value, from_right->value, position);
    }
    for (scope const* side : {&left, &right}) {
      for (source const* from : side->sources) {
        bool const has = std::any_of(from->columns.begin(), from->columns.end(),
                                     [&](source_column const& one) { return one.name == name; });
        if (has) merged.from.push_back(from);
      }
    }
    std::erase_if(both.merged, [&](merged_column const& old) { return old.name == name; });
    both.merged.push_back(std::move(merged));
  }
  return conditions;
}

relation_ptr query_binder::bind_join(syntax::from_item const& item, scope& names) {
  auto const& join = std::get<syntax::join_item>(item.content);
  scope left_names;
  scope right_names;
  relation_ptr left = bind_item(*join.left, left_names);
  relation_ptr right = bind_item(*join.right, right_names);
  scope both;
  merge(both, left_names, right_names);
  std::vector<Expression> conditions;
  if (!join.using_columns.empty()) {
    conditions = bind_using(join, left_names, right_names, both, item.position);
  } else if (join.condition) {
    conditions =
        algebra::conjuncts(expressions_.bind_condition(*join.condition, both, "JOIN ... ON"));
  }
  merge(names, std::move(both), {});
  switch (join.kind) {
    case syntax::join_kind::cross:
    case syntax::join_kind::inner:
      return algebra::make_relation(algebra::join{algebra::join_kind::inner, std::move(left),
                                                  std::move(right), std::move(conditions)});
    case syntax::join_kind::left:
      return algebra::make_relation(algebra::join{algebra::join_kind::left, std::move(left),
                                                  std::move(right), std::move(conditions)});
    case syntax::join_kind::right:
      return algebra::make_relation(algebra::join{algebra::join_kind::left, std::move(right),
                                                  std::move(left), std::move(conditions)});
    case syntax::join_kind::full:
      break;
  }
  return algebra::make_relation(algebra::join{algebra::join_kind::full, std::move(left),
                                              std::move(right), std::move(conditions)});
}

relation_ptr query_binder::bind_item(syntax::from_item const& item, scope& names) {
  if (std::holds_alternative<syntax::table_item>(item.content)) return bind_table(item, names);
  if (auto const* derived = std::get_if<syntax::derived_item>(&item.content)) {
    scope inside;
    relation_ptr rows = bind_derived(*derived->query, item, inside);
    merge(names, {}, std::move(inside));
    return rows;
  }
  return bind_join(item, names);
}

relation_ptr query_binder::bind_from(std::vector<syntax::from_item_ptr> const& items,
                                     scope& names) {
  if (items.empty()) return algebra::make_relation(algebra::one_row{});
  relation_ptr rows;
  for (syntax::from_item_ptr const& item : items) {
    relation_ptr next = bind_item(*item, names);
    rows = rows ? algebra::make_relation(algebra::join{
                      algebra::join_kind::inner, std::move(rows), std::move(next), {}})
                : std::move(next);
  }
  return rows;
}

}  // namespace qd::sql
