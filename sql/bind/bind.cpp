#include "sql/bind/bind.h"

#include <algorithm>

#include "sql/bind/query_binder.h"

namespace qd::sql {

using algebra::Expression;
using algebra::kind;

namespace {

// Whether some value of a kind fits a column. Numbers do where they are exactly a number of the
// column's kind, and floating ones never are meant to be a numeric.
bool can_fit(column_info const& column, kind given) {
  if (given == kind::null || given == column.kind) return true;
  // Looked up among the referenced objects, by a column of any kind.
  if (column.kind == kind::reference) return !column.lookup_column.empty();
  if (!algebra::is_numeric(given) || !algebra::is_numeric(column.kind)) return false;
  bool const from_floating = given == kind::double_float || given == kind::single_float;
  return column.kind != kind::decimal || !from_floating;
}

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

// The rows that an UPDATE or DELETE touches; the first output is the row itself.
struct touched_rows {
  template <typename Change>
  touched_rows(query_binder& binder, Change const& change)
      : target(binder.open_table(change.table, change.alias, rows)) {
    names.sources.push_back(&target);
    binder.filter(rows, change.where.get(), names);
    outputs.push_back({"$self", *target.variable, change.table.position});
  }

  algebra::relation_ptr rows;
  source& target;
  scope names;
  std::vector<bound_output> outputs;
};

}  // namespace

Expression query_binder::for_column(Expression value, column_info const& column,
                                    text_position position) {
  value = expressions_.with_kind(std::move(value), column.kind);
  kind const given = algebra::kind_of(value);
  if (!can_fit(column, given)) {
    throw error(error_code::wrong_type,
                "column " + column.name + " of type " + algebra::kind_name(column.kind) +
                    " cannot hold " + algebra::kind_name(given),
                position);
  }
  return value;
}

algebra::bound_query query_binder::bind_source(syntax::query const& query,
                                               std::vector<column_info const*> const& columns,
                                               bool may_end_early) {
  auto const* const list = std::get_if<syntax::values_list>(&query.body);
  bool const plain = list && query.order_by.empty() && !query.limit && !query.offset;
  std::vector<std::vector<Expression>> rows;
  body bound;
  if (plain) {
    rows = bind_rows(*list);
  } else {
    bound = bind_query(query);
  }
  std::size_t const given = plain ? rows.front().size() : bound.outputs.size();
  if (given > columns.size() || (given < columns.size() && !may_end_early)) {
    throw error(error_code::syntax,
                "INSERT has " + std::to_string(columns.size()) + " columns and " +
                    std::to_string(given) + " values",
                query.position);
  }
  if (plain) {
    std::vector<kind> kinds;
    for (std::size_t i = 0; i < given; ++i) {
      kinds.push_back(columns[i]->kind);
      for (std::size_t row = 0; row < rows.size(); ++row) {
        Expression& value = rows[row][i];
        value = for_column(std::move(value), *columns[i], list->rows[row][i]->position);
        // What references are looked up by makes the column one of those values.
        if (algebra::kind_of(value) != kind::null) kinds.back() = algebra::kind_of(value);
      }
    }
    bound = rows_of(*list, std::move(rows), kinds);
  } else {
    for (std::size_t i = 0; i < given; ++i) {
      bound_output& output = bound.outputs[i];
      output.value = for_column(std::move(output.value), *columns[i], output.position);
    }
  }
  return finish(std::move(bound.rows), std::move(bound.outputs));
}

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
    // DEFAULT VALUES: one row of NULLs, whatever the columns.
    result.source = binder.finish(algebra::make_relation(algebra::one_row{}), {});
    return result;
  }
  std::vector<column_info const*> columns;
  for (std::size_t const number : result.columns) {
    columns.push_back(&result.table->columns[number]);
  }
  result.source = binder.bind_source(*insert.source, columns, insert.columns.empty());
  result.columns.resize(result.source.outputs.size());
  return result;
}

bound_update bind(syntax::update const& update, binding_context const& context) {
  query_binder binder(context);
  touched_rows touched(binder, update);
  bound_update result{touched.target.table, {}, {}};
  for (syntax::assignment const& assignment : update.assignments) {
    result.columns.push_back(
        target_column(*result.table, assignment.column, result.columns, assignment.position));
    column_info const& column = result.table->columns[result.columns.back()];
    text_position const position = assignment.value->position;
    Expression value = binder.expressions().bind(*assignment.value, touched.names, "SET");
    touched.outputs.push_back(
        {assignment.column, binder.for_column(std::move(value), column, position), position});
  }
  result.source = binder.finish(std::move(touched.rows), std::move(touched.outputs));
  return result;
}

bound_delete bind(syntax::delete_rows const& deletion, binding_context const& context) {
  query_binder binder(context);
  touched_rows touched(binder, deletion);
  return {touched.target.table, binder.finish(std::move(touched.rows), std::move(touched.outputs))};
}

}  // namespace qd::sql
