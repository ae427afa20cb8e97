// Queries around SELECT: VALUES, UNION, WITH, LIMIT.
#include <algorithm>

#include "physical_queryplan/query_plan.h"
#include "sql/bind/query_binder.h"

namespace qd::sql {

using algebra::Expression;
using algebra::kind;

void query_binder::open_common_tables(syntax::query const& query) {
  for (std::size_t i = 0; i < query.with.size(); ++i) {
    syntax::common_table const& added = query.with[i];
    for (std::size_t j = 0; j < i; ++j) {
      if (query.with[j].name != added.name) continue;
      throw error(error_code::ambiguous_name, "the name " + added.name + " stands for two queries",
                  added.position);
    }
    common_tables_.push_back({&added, false});
  }
}

void query_binder::check_unused_common_tables(std::size_t first) {
  for (std::size_t i = common_tables_.size(); i-- > first;) {
    if (common_tables_[i].used) continue;
    // Nobody asks for its rows; what is wrong with it is said all the same.
    visible_tables after(common_tables_.begin() + static_cast<std::ptrdiff_t>(i),
                         common_tables_.end());
    common_tables_.resize(i);
    std::size_t const sources = sources_.size();
    bind_query(*after.front().definition->query);
    sources_.erase(sources_.begin() + static_cast<std::ptrdiff_t>(sources), sources_.end());
    common_tables_.insert(common_tables_.end(), after.begin(), after.end());
  }
}

query_binder::body query_binder::bind_query(syntax::query const& query) {
  std::size_t const outer = common_tables_.size();
  open_common_tables(query);
  body result;
  if (auto const* select = std::get_if<syntax::select_core>(&query.body)) {
    result = bind_select(*select, query);
  } else {
    if (auto const* values = std::get_if<syntax::values_list>(&query.body)) {
      result = bind_values(*values);
    } else {
      result = bind_union(std::get<syntax::union_of>(query.body));
    }
    sort_outputs(result, query);
    limit(result, query);
  }
  check_unused_common_tables(outer);
  common_tables_.resize(outer);
  return result;
}

std::vector<std::vector<Expression>> query_binder::bind_rows(syntax::values_list const& values) {
  std::size_t const width = values.rows.front().size();
  scope const nothing;
  std::vector<std::vector<Expression>> rows;
  rows.reserve(values.rows.size());
  for (std::vector<syntax::expression_ptr> const& syntax_row : values.rows) {
    if (syntax_row.size() != width) {
      throw error(error_code::syntax, "the rows of VALUES have different lengths",
                  syntax_row.empty() ? no_position : syntax_row.front()->position);
    }
    std::vector<Expression>& row = rows.emplace_back();
    row.reserve(width);
    for (syntax::expression_ptr const& value : syntax_row) {
      row.push_back(expressions_.bind(*value, nothing, "VALUES"));
    }
  }
  return rows;
}

query_binder::body query_binder::rows_of(syntax::values_list const& values,
                                         std::vector<std::vector<Expression>> rows,
                                         std::vector<kind> const& kinds) {
  algebra::rows content{{}, std::move(rows)};
  body result;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    // What a computed reference refers to is read off the first expression that computes it, which
    // must not be NULL alone.
    if (kinds[i] == kind::reference) {
      for (std::vector<Expression>& row : content.expressions) {
        if (algebra::kind_of(row[i]) != kind::null) continue;
        row[i] = expressions_.converted(std::move(row[i]), kinds[i]);
      }
    }
    algebra::PhysicalVariable const variable = expressions_.new_value(kinds[i]);
    content.variables.push_back(variable);
    result.outputs.push_back({"column" + std::to_string(i + 1),
                              physical_queryplan::AsExpression(variable),
                              values.rows.front()[i]->position});
  }
  result.rows = algebra::make_relation(std::move(content));
  return result;
}

query_binder::body query_binder::bind_values(syntax::values_list const& values) {
  std::vector<std::vector<Expression>> rows = bind_rows(values);
  std::vector<kind> kinds(values.rows.front().size(), kind::null);
  for (std::size_t row = 0; row < rows.size(); ++row) {
    for (std::size_t i = 0; i < kinds.size(); ++i) {
      kinds[i] =
          expression_binder::common_kind(kinds[i], algebra::kind_of(rows[row][i]),
                                         "a column of VALUES", values.rows[row][i]->position);
    }
  }
  for (kind& column : kinds) {
    if (column == kind::null) column = kind::text;
  }
  for (std::vector<Expression>& row : rows) {
    for (std::size_t i = 0; i < kinds.size(); ++i) {
      // NULL is NULL in every kind.
      row[i] = algebra::kind_of(row[i]) == kind::null
                   ? expressions_.with_kind(std::move(row[i]), kinds[i])
                   : expressions_.converted(std::move(row[i]), kinds[i]);
    }
  }
  return rows_of(values, std::move(rows), kinds);
}

query_binder::body query_binder::bind_union(syntax::union_of const& both) {
  body left = bind_query(*both.left);
  body right = bind_query(*both.right);
  if (left.outputs.size() != right.outputs.size()) {
    throw error(error_code::syntax, "the sides of UNION have different numbers of columns",
                both.right->position);
  }
  algebra::union_all united{{}, {}, {}};
  std::vector<algebra::Alias> left_values;
  std::vector<algebra::Alias> right_values;
  body result;
  for (std::size_t i = 0; i < left.outputs.size(); ++i) {
    bound_output& first = left.outputs[i];
    bound_output& second = right.outputs[i];
    kind common = expression_binder::common_kind(algebra::kind_of(first.value),
                                                 algebra::kind_of(second.value),
                                                 "a column of UNION", second.position);
    if (common == kind::null) common = kind::text;
    algebra::PhysicalVariable const variable = expressions_.new_value(common);
    std::u16string class_name = expressions_.referenced_class(first.value);
    if (class_name == expressions_.referenced_class(second.value)) {
      expressions_.note_referenced_class(variable, std::move(class_name));
    }
    left_values.push_back({expressions_.enforced(std::move(first.value), common), variable});
    right_values.push_back({expressions_.enforced(std::move(second.value), common), variable});
    united.outputs.push_back(variable);
    result.outputs.push_back(
        {first.name, physical_queryplan::AsExpression(variable), first.position});
  }
  united.left =
      algebra::make_relation(algebra::compute{std::move(left_values), std::move(left.rows)});
  united.right =
      algebra::make_relation(algebra::compute{std::move(right_values), std::move(right.rows)});
  result.rows = algebra::make_relation(std::move(united));
  if (!both.all) distinct(result);
  return result;
}

void query_binder::sort_outputs(body& current, syntax::query const& query) {
  if (query.order_by.empty()) return;
  check_list(query.order_by.size(), "ORDER BY", query.position);
  // Only outputs are in scope: columns of a source without a name.
  source outputs{.name = {""},
                 .table = nullptr,
                 .variable = {},
                 .columns = {},
                 .followed = {},
                 .relation = current.rows.get(),
                 .position = query.position};
  for (bound_output const& output : current.outputs) {
    outputs.columns.push_back(
        {output.name, output.value, expressions_.referenced_class(output.value), false});
  }
  sources_.push_back(std::move(outputs));
  scope names;
  names.sources.push_back(&sources_.back());
  std::vector<algebra::sort_key> keys;
  for (syntax::sort_item const& item : query.order_by) {
    bound_output const* const output = output_at(current.outputs, *item.key, "ORDER BY");
    add_sort_key(keys, item,
                 output ? output->value : expressions_.bind(*item.key, names, "ORDER BY"));
  }
  sort(current.rows, std::move(keys));
}

std::optional<Expression> query_binder::bind_count(syntax::expression const* count,
                                                   char const* place) {
  if (!count) return std::nullopt;
  scope const nothing;
  Expression value =
      expressions_.with_kind(expressions_.bind(*count, nothing, place), kind::signed_integer);
  kind const own = algebra::kind_of(value);
  if (!algebra::is_numeric(own) && own != kind::null) {
    throw error(error_code::wrong_type,
                std::string(place) + " takes a number, not " + algebra::kind_name(own),
                count->position);
  }
  return value;
}

void query_binder::limit(body& current, syntax::query const& query) {
  std::optional<Expression> rows = bind_count(query.limit.get(), "LIMIT");
  std::optional<Expression> offset = bind_count(query.offset.get(), "OFFSET");
  if (!rows && !offset) return;
  current.rows = algebra::make_relation(
      algebra::limit{std::move(rows), std::move(offset), std::move(current.rows)});
}

void query_binder::compute_paths() {
  for (source& from : sources_) compute_followed(from);
}

algebra::bound_query query_binder::finish(algebra::relation_ptr rows,
                                          std::vector<bound_output> outputs) {
  name_outputs(rows, outputs);
  compute_paths();
  algebra::bound_query result{std::move(rows), {}};
  result.outputs.reserve(outputs.size());
  for (bound_output& output : outputs) {
    if (algebra::kind_of(output.value) == kind::set_specifier) {
      throw error(error_code::not_supported, "a class cannot be an output", output.position);
    }
    result.outputs.push_back(
        {std::move(output.name), physical_queryplan::AsPhysicalVariable(output.value)});
  }
  return result;
}

algebra::bound_query query_binder::bind(syntax::query const& query) {
  body bound = bind_query(query);
  return finish(std::move(bound.rows), std::move(bound.outputs));
}

}  // namespace qd::sql
