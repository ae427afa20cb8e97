// FROM: tables, derived tables and joins, and the names that they bring into scope.
#include <algorithm>

#include "db_string/string_encoder.h"
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

}  // namespace

table_info const& query_binder::table_named(syntax::object_name const& name) const {
  table_info const* const table = context_.catalogue.find(context_.reader, name);
  if (!table) {
    std::vector<std::string> known;
    for (common_table const& common : common_tables_) known.push_back(common.definition->name);
    for (std::u16string const& one : context_.reader.class_names()) {
      known.push_back(encoder::utf16_to_utf8(one));
    }
    throw error(error_code::unknown_name,
                "there is no table " + shown(name) + suggestion(shown(name), known), name.position);
  }
  return *table;
}

void query_binder::rename_columns(source& renamed, std::vector<std::string> const& names,
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

source& query_binder::add_source(source added) {
  if (sources_.size() >= max_statement_tables) {
    throw error(error_code::limit_exceeded,
                "a statement reads at most " + std::to_string(max_statement_tables) + " tables",
                added.position);
  }
  sources_.push_back(std::move(added));
  return sources_.back();
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
  return add_source(std::move(opened));
}

relation_ptr query_binder::bind_table(syntax::from_item const& item, scope& names) {
  syntax::object_name const& name = std::get<syntax::table_item>(item.content).table;
  if (name.parts.size() == 1) {
    for (std::size_t i = common_tables_.size(); i-- > 0;) {
      syntax::common_table const& common = *common_tables_[i].definition;
      if (common.name != name.parts[0]) continue;
      common_tables_[i].used = true;
      // Its query sees those before it, and is bound anew for every use.
      visible_tables after(common_tables_.begin() + static_cast<std::ptrdiff_t>(i),
                           common_tables_.end());
      common_tables_.resize(i);
      scope inside;
      relation_ptr rows = bind_derived(*common.query, common.column_aliases, item, inside);
      common_tables_.insert(common_tables_.end(), after.begin(), after.end());
      if (item.alias.empty()) inside.sources.back()->name = name.parts;
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

relation_ptr query_binder::bind_derived(syntax::query const& query,
                                        std::vector<std::string> const& column_names,
                                        syntax::from_item const& item, scope& names) {
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
  rename_columns(derived, column_names, item.position);
  rename_columns(derived, item.column_aliases, item.position);
  names.sources.push_back(&add_source(std::move(derived)));
  return std::move(inner.rows);
}

void query_binder::merge(scope& into, scope left, scope right) {
  for (scope* side : {&left, &right}) {
    for (source* from : side->sources) {
      for (source const* other : into.sources) {
        // A derived table without an alias has no name.
        if (other->name == from->name && !from->name.back().empty()) {
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
                                                 std::vector<algebra::Alias>& computed,
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
      // A value of its own, as chains of such joins would use each side's twice.
      Expression present =
          expressions_.first_present(from_left->value, from_right->value, position);
      algebra::PhysicalVariable const variable = expressions_.new_value(algebra::kind_of(present));
      expressions_.note_referenced_class(variable, from_left->referenced_class);
      merged.value = physical_queryplan::AsExpression(variable);
      computed.push_back({std::move(present), variable});
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
  std::vector<algebra::Alias> computed;
  if (!join.using_columns.empty()) {
    conditions = bind_using(join, left_names, right_names, both, computed, item.position);
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
  relation_ptr joined = algebra::make_relation(algebra::join{
      algebra::join_kind::full, std::move(left), std::move(right), std::move(conditions)});
  if (computed.empty()) return joined;
  return algebra::make_relation(algebra::compute{std::move(computed), std::move(joined)});
}

relation_ptr query_binder::bind_item(syntax::from_item const& item, scope& names) {
  if (std::holds_alternative<syntax::table_item>(item.content)) return bind_table(item, names);
  if (auto const* derived = std::get_if<syntax::derived_item>(&item.content)) {
    scope inside;
    relation_ptr rows = bind_derived(*derived->query, {}, item, inside);
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
