#include "sql/plan/relations.h"

#include <algorithm>
#include <cmath>

#include "sql/error.h"
#include "sql/plan/literals.h"

namespace qd::sql::planning {

using algebra::relation;

namespace {

// Groups, as a power of the rows that are grouped.
constexpr double group_power = 0.7;

struct variable_collector {
  variable_numbers& numbers;
  variable_set& found;

  void operator()(algebra::one_row const&) const {}
  void operator()(algebra::table const& table) const { found.add(numbers.of(table.variable)); }
  void operator()(algebra::rows const& rows) const {
    for (auto const& variable : rows.variables) found.add(numbers.of(variable));
  }
  void operator()(algebra::join const& join) const {
    std::visit(*this, join.left->content);
    std::visit(*this, join.right->content);
  }
  void operator()(algebra::filter const& filter) const { std::visit(*this, filter.child->content); }
  void operator()(algebra::compute const& compute) const {
    std::visit(*this, compute.child->content);
    for (algebra::Alias const& alias : compute.aliases) found.add(numbers.of(alias.variable));
  }
  void operator()(algebra::aggregate const& aggregate) const {
    for (algebra::AggregateVariant const& each : aggregate.aggregates) {
      std::visit(
          [this](auto const& function) {
            std::visit([this](auto const& output) { found.add(numbers.of(output)); },
                       function.output);
          },
          each);
    }
    for (algebra::Alias const& alias : aggregate.group_by) found.add(numbers.of(alias.variable));
  }
  void operator()(algebra::sort const& sort) const { std::visit(*this, sort.child->content); }
  void operator()(algebra::limit const& limit) const { std::visit(*this, limit.child->content); }
  void operator()(algebra::union_all const& united) const {
    for (auto const& variable : united.outputs) found.add(numbers.of(variable));
  }
};

// Calls `visit` for the relation's children.
template <typename Visit>
void for_each_child(relation const& parent, Visit const& visit) {
  std::visit(
      [&]<typename T>(T const& content) {
        if constexpr (requires { content.child; }) visit(*content.child);
        if constexpr (requires { content.left; }) {
          visit(*content.left);
          visit(*content.right);
        }
      },
      parent.content);
}

}  // namespace

variable_set variables_of(relation const& relation, variable_numbers& numbers) {
  variable_set found;
  std::visit(variable_collector{numbers, found}, relation.content);
  return found;
}

bool may_have_transform(relation const& relation) {
  if (std::holds_alternative<algebra::union_all>(relation.content)) return true;
  auto const* const join = std::get_if<algebra::join>(&relation.content);
  if (join && join->kind == algebra::join_kind::full) return true;
  bool found = false;
  for_each_child(relation, [&](algebra::relation const& child) {
    found = found || may_have_transform(child);
  });
  return found;
}

bool is_simple(relation const& relation) {
  return std::visit(
      []<typename T>(T const& content) {
        if constexpr (std::is_same_v<T, algebra::filter> || std::is_same_v<T, algebra::compute>) {
          return is_simple(*content.child);
        } else if constexpr (std::is_same_v<T, algebra::rows>) {
          return content.expressions.size() == 1;
        } else {
          return std::is_same_v<T, algebra::table> || std::is_same_v<T, algebra::one_row>;
        }
      },
      relation.content);
}

table_info const& relation_facts::info_of(algebra::TableVariable const& variable) const {
  table_info const* const info = catalogue_.find(reader_, variable.table);
  if (!info) throw error(error_code::unknown_name, "a table of the query no longer exists");
  return *info;
}

double relation_facts::row_count(table_info const& table) const {
  return static_cast<double>(reader_.object_count(table.class_name));
}

double relation_facts::row_count(relation const& counted) const {
  auto const with_conditions = [](double rows, std::vector<Expression> const& conditions) {
    for (Expression const& each : conditions) rows *= share_left_by(each);
    return rows;
  };
  auto const visitor = [&]<typename T>(T const& content) -> double {
    if constexpr (std::is_same_v<T, algebra::table>) {
      return row_count(info_of(content.variable));
    } else if constexpr (std::is_same_v<T, algebra::rows>) {
      return static_cast<double>(content.expressions.size());
    } else if constexpr (std::is_same_v<T, algebra::join>) {
      double const left = row_count(*content.left);
      double const right = row_count(*content.right);
      double const joined = with_conditions(left * right, content.conditions);
      return content.kind == algebra::join_kind::inner ? joined : std::max(joined, left);
    } else if constexpr (std::is_same_v<T, algebra::filter>) {
      return with_conditions(row_count(*content.child), content.conditions);
    } else if constexpr (std::is_same_v<T, algebra::compute> || std::is_same_v<T, algebra::sort>) {
      return row_count(*content.child);
    } else if constexpr (std::is_same_v<T, algebra::aggregate>) {
      return content.group_by.empty() ? 1 : std::pow(row_count(*content.child), group_power);
    } else if constexpr (std::is_same_v<T, algebra::limit>) {
      double const rows = row_count(*content.child);
      std::optional<double> const most = content.rows ? literal_count(*content.rows) : std::nullopt;
      return most ? std::min(*most, rows) : rows;
    } else if constexpr (std::is_same_v<T, algebra::union_all>) {
      return row_count(*content.left) + row_count(*content.right);
    } else {
      return 1;
    }
  };
  return std::visit(visitor, counted.content);
}

double relation_facts::read_rows(relation const& read) const {
  if (auto const* table = std::get_if<algebra::table>(&read.content)) {
    return row_count(info_of(table->variable));
  }
  double rows = 0;
  for_each_child(read, [&](relation const& child) { rows += read_rows(child); });
  return rows;
}

double relation_facts::widest_rows(relation const& joined) const {
  if (auto const* join = std::get_if<algebra::join>(&joined.content)) {
    return std::max(widest_rows(*join->left), widest_rows(*join->right));
  }
  if (auto const* filter = std::get_if<algebra::filter>(&joined.content)) {
    return widest_rows(*filter->child);
  }
  if (auto const* compute = std::get_if<algebra::compute>(&joined.content)) {
    return widest_rows(*compute->child);
  }
  return row_count(joined);
}

double relation_facts::recomputed_rows(relation const& read, std::vector<condition> conditions,
                                       variable_set const& known) const {
  auto const add = [&](std::vector<Expression> const& more) {
    for (Expression const& each : more) conditions.push_back({each, numbers_.uses(each)});
  };
  auto const substitute = [&](std::vector<algebra::Alias> const& aliases) {
    for (condition& each : conditions) {
      each.expression = substituted(std::move(each.expression), aliases);
      each.uses = numbers_.uses(each.expression);
    }
  };
  auto const rows_of_side = [&](relation const& side, relation const& other) -> double {
    if (is_simple(side)) return 0;
    variable_set beside = known;
    beside.merge(variables_of(other, numbers_));
    bool const reached =
        std::any_of(conditions.begin(), conditions.end(),
                    [&](condition const& each) { return reaches_index(side, each, beside); });
    return reached ? recomputed_rows(side, conditions, beside) : read_rows(side);
  };
  auto const visitor = [&]<typename T>(T const& content) -> double {
    if constexpr (std::is_same_v<T, algebra::join>) {
      add(content.conditions);
      return rows_of_side(*content.left, *content.right) +
             rows_of_side(*content.right, *content.left);
    } else if constexpr (std::is_same_v<T, algebra::filter>) {
      add(content.conditions);
      return recomputed_rows(*content.child, std::move(conditions), known);
    } else if constexpr (std::is_same_v<T, algebra::compute>) {
      substitute(content.aliases);
      return recomputed_rows(*content.child, std::move(conditions), known);
    } else if constexpr (std::is_same_v<T, algebra::aggregate>) {
      substitute(content.group_by);
      return recomputed_rows(*content.child, std::move(conditions), known);
    } else if constexpr (std::is_same_v<T, algebra::sort>) {
      return recomputed_rows(*content.child, std::move(conditions), known);
    } else {
      return 0;
    }
  };
  return std::visit(visitor, read.content);
}

bool relation_facts::reaches_index(relation const& relation, condition const& equality,
                                   variable_set const& outer) const {
  auto const* const sides = operands_of<operator_library::Equal>(equality.expression);
  if (!sides || !equality.uses.intersects(outer)) return false;
  for (std::size_t i = 0; i < 2; ++i) {
    if (outer.includes(numbers_.uses((*sides)[1 - i])) && has_index_by(relation, (*sides)[i])) {
      return true;
    }
  }
  return false;
}

// Whether an index of a table within the relation begins with the value, so that a condition on it
// can be tested there. Goes only where conditions are pushed.
bool relation_facts::has_index_by(relation const& searched, Expression const& value) const {
  auto const renamed_in = [&](std::vector<algebra::Alias> const& aliases,
                              algebra::relation const& child) {
    for (algebra::Alias const& alias : aliases) {
      if (algebra::equal(physical_queryplan::AsExpression(alias.variable), value)) {
        return has_index_by(child, alias.expression);
      }
    }
    return false;
  };
  auto const leads = [&](table_info const& table, std::size_t number) {
    return std::any_of(table.indexes.begin(), table.indexes.end(), [&](index_info const& index) {
      return index.columns.front().number == number;
    });
  };
  auto const visitor = [&]<typename T>(T const& content) -> bool {
    if constexpr (std::is_same_v<T, algebra::table>) {
      table_info const& table = info_of(content.variable);
      if (auto const* whole = std::get_if<algebra::TableVariable>(&value.variant)) {
        return *whole == content.variable && leads(table, 0);
      }
      for (std::size_t i = 0; i < table.columns.size(); ++i) {
        bool const is_column = std::visit(
            [&](auto const& alternative) {
              if constexpr (requires { alternative.table_variable; }) {
                return alternative.column == table.columns[i].column &&
                       alternative.table_variable == content.variable;
              } else {
                return false;
              }
            },
            value.variant);
        if (is_column) return leads(table, i);
      }
      return false;
    } else if constexpr (std::is_same_v<T, algebra::join>) {
      if (content.kind == algebra::join_kind::full) return false;
      return has_index_by(*content.left, value) ||
             (content.kind == algebra::join_kind::inner && has_index_by(*content.right, value));
    } else if constexpr (std::is_same_v<T, algebra::filter> || std::is_same_v<T, algebra::sort>) {
      return has_index_by(*content.child, value);
    } else if constexpr (std::is_same_v<T, algebra::compute>) {
      return renamed_in(content.aliases, *content.child) || has_index_by(*content.child, value);
    } else if constexpr (std::is_same_v<T, algebra::aggregate>) {
      return renamed_in(content.group_by, *content.child);
    } else {
      return false;
    }
  };
  return std::visit(visitor, searched.content);
}

}  // namespace qd::sql::planning
