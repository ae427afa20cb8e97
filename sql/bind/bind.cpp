#include "sql/bind/bind.h"

#include <algorithm>

#include "sql/bind/query_binder.h"

namespace qd::sql {

namespace {

// The number of a column that a statement writes to.
std::size_t target_column(table_info const& table, std::string const& name,
                          std::vector<std::size_t> const& others, text_position position) {
  auto const found = std::find_if(table.columns.begin(), table.columns.end(),
                                  [&](column_info const& column) { return column.name == name; });
  if (found == table.columns.end()) {
    std::vector<std::string> names;
    for (column_info const& column : table.columns) names.push_back(column.name);
    throw error(error_code::unknown_name,
                "table " + table.name + " has no column " + name + suggestion(name, names),
                position);
  }
  if (found->system) {
    throw error(error_code::wrong_type, "column " + name + " cannot be written", position);
  }
  auto const number = static_cast<std::size_t>(found - table.columns.begin());
  if (std::find(others.begin(), others.end(), number) != others.end()) {
    throw error(error_code::ambiguous_name, "column " + name + " is given twice", position);
  }
  return number;
}

}  // namespace

algebra::bound_query bind(syntax::query const& query, binding_context const& context) {
  return query_binder(context).bind(query);
}

bound_insert bind(syntax::insert const& insert, binding_context const& context) {
  query_binder binder(context);
  bound_insert result{&binder.table_named(insert.table), {}, {}};
  if (insert.columns.empty()) {
    for (std::size_t i = 0; i < result.table->columns.size(); ++i) {
      if (!result.table->columns[i].system) result.columns.push_back(i);
    }
  }
  for (std::size_t i = 0; i < insert.columns.size(); ++i) {
    result.columns.push_back(target_column(*result.table, insert.columns[i], result.columns,
                                           insert.column_positions[i]));
  }
  if (!insert.source) {
    // DEFAULT VALUES: one row of NULLs.
    result.columns.clear();
    result.source = binder.finish(algebra::make_relation(algebra::one_row{}), {});
    return result;
  }
  result.source = binder.bind(*insert.source);
  std::size_t const given = result.source.outputs.size();
  if (insert.columns.empty() && given < result.columns.size()) result.columns.resize(given);
  if (given != result.columns.size()) {
    throw error(error_code::syntax,
                "INSERT has " + std::to_string(result.columns.size()) + " columns and " +
                    std::to_string(given) + " values",
                insert.source->position);
  }
  return result;
}

bound_update bind(syntax::update const& update, binding_context const& context) {
  query_binder binder(context);
  algebra::relation_ptr rows;
  source& target = binder.open_table(update.table, update.alias, rows);
  scope names;
  names.sources.push_back(&target);
  binder.filter(rows, update.where.get(), names);
  bound_update result{target.table, {}, {}};
  std::vector<bound_output> outputs;
  outputs.push_back({"$self", *target.variable, update.table.position});
  for (syntax::assignment const& assignment : update.assignments) {
    result.columns.push_back(
        target_column(*target.table, assignment.column, result.columns, assignment.position));
    column_info const& column = target.table->columns[result.columns.back()];
    outputs.push_back({assignment.column,
                       binder.expressions().with_kind(
                           binder.expressions().bind(*assignment.value, names, "SET"), column.kind),
                       assignment.position});
  }
  result.source = binder.finish(std::move(rows), std::move(outputs));
  return result;
}

bound_delete bind(syntax::delete_rows const& deletion, binding_context const& context) {
  query_binder binder(context);
  algebra::relation_ptr rows;
  source& target = binder.open_table(deletion.table, deletion.alias, rows);
  scope names;
  names.sources.push_back(&target);
  binder.filter(rows, deletion.where.get(), names);
  std::vector<bound_output> outputs;
  outputs.push_back({"$self", *target.variable, deletion.table.position});
  bound_delete result{target.table, {}};
  result.source = binder.finish(std::move(rows), std::move(outputs));
  return result;
}

algebra::Expression bind_constant(syntax::expression const& expression,
                                  binding_context const& context) {
  query_binder binder(context);
  return binder.expressions().bind(expression, {}, "an argument");
}

}  // namespace qd::sql
