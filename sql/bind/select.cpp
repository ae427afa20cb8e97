// SELECT ... FROM ... WHERE ... GROUP BY ... HAVING ... ORDER BY ...
#include <algorithm>
#include <charconv>

#include "db_string/string_encoder.h"
#include "physical_queryplan/query_plan.h"
#include "sql/bind/query_binder.h"

namespace qd::sql {

using algebra::Expression;
using algebra::kind;
using algebra::relation_ptr;
namespace plan = physical_queryplan::QueryPlan;

namespace {

// The expression as a variable, when it is one.
std::optional<algebra::PhysicalVariable> as_variable(Expression const& value) {
  return std::visit(
      []<typename T>(T const& alternative) -> std::optional<algebra::PhysicalVariable> {
        if constexpr (std::is_constructible_v<algebra::PhysicalVariable, T const&>) {
          return alternative;
        } else {
          return std::nullopt;
        }
      },
      value.variant);
}

// What an output without an alias is called.
std::string name_of(syntax::expression const& value) {
  if (auto const* path = std::get_if<syntax::column_path>(&value.content)) {
    return path->parts.back();
  }
  if (auto const* call = std::get_if<syntax::function_call>(&value.content)) return call->name;
  if (auto const* cast = std::get_if<syntax::cast>(&value.content)) return name_of(*cast->operand);
  if (std::holds_alternative<syntax::case_expression>(value.content)) return "case";
  return "?column?";
}

// A bare name, as ORDER BY and GROUP BY look outputs up by.
std::string const* bare_name(syntax::expression const& value) {
  auto const* const path = std::get_if<syntax::column_path>(&value.content);
  return path && path->parts.size() == 1 ? &path->parts[0] : nullptr;
}

// Whether it is a constant as it stands, signs included.
bool is_literal(syntax::expression const& value) {
  if (auto const* const sign = std::get_if<syntax::unary>(&value.content)) {
    return sign->operation != syntax::unary_operator::logical_not && is_literal(*sign->operand);
  }
  return std::visit(
      []<typename T>(T const&) {
        return std::is_same_v<T, syntax::null_literal> ||
               std::is_same_v<T, syntax::boolean_literal> ||
               std::is_same_v<T, syntax::integer_literal> ||
               std::is_same_v<T, syntax::decimal_literal> ||
               std::is_same_v<T, syntax::floating_literal> ||
               std::is_same_v<T, syntax::text_literal> || std::is_same_v<T, syntax::binary_literal>;
      },
      value.content);
}

// The name of a stored column, or what else a variable is.
std::string shown(algebra::PhysicalVariable const& variable) {
  return std::visit(
      []<typename T>(T const& alternative) -> std::string {
        if constexpr (requires { alternative.column; }) {
          return "column " + encoder::utf16_to_utf8(alternative.column.FullName());
        } else if constexpr (requires { alternative.table; }) {
          return "table " + encoder::utf16_to_utf8(alternative.table.FullName());
        } else {
          return "a column";
        }
      },
      variable);
}

}  // namespace

// A SELECT while it is bound.
struct query_binder::selection {
  syntax::select_core const& syntax;
  scope names;
  relation_ptr rows;
  std::vector<bound_output> outputs;
  std::vector<algebra::Alias> group_by;
  collected_aggregates aggregates;
  std::optional<Expression> having;
  struct key {
    Expression value;
    syntax::sort_item const* item;
  };
  std::vector<key> order;

  bool is_grouped() const {
    return !syntax.group_by.empty() || syntax.having || !aggregates.aggregates.empty();
  }
};

void query_binder::filter(relation_ptr& rows, syntax::expression const* condition,
                          scope const& names) {
  if (!condition) return;
  std::vector<Expression> conditions =
      algebra::conjuncts(expressions_.bind_condition(*condition, names, "WHERE"));
  rows = algebra::make_relation(algebra::filter{std::move(conditions), std::move(rows)});
}

void query_binder::expand_star(syntax::star const& star, text_position position, scope const& names,
                               std::vector<bound_output>& outputs) {
  std::size_t const before = outputs.size();
  if (star.qualifier.empty()) {
    for (merged_column const& merged : names.merged) {
      outputs.push_back({merged.name, merged.value, position});
    }
  }
  bool found = star.qualifier.empty();
  for (source const* from : names.sources) {
    bool const wanted = star.qualifier.empty() || from->name == star.qualifier ||
                        (star.qualifier.size() == 1 && from->name.back() == star.qualifier.back());
    if (!wanted) continue;
    found = true;
    for (source_column const& column : from->columns) {
      if (column.hidden) continue;
      bool const merged =
          star.qualifier.empty() &&
          std::any_of(names.merged.begin(), names.merged.end(), [&](merged_column const& other) {
            return other.name == column.name &&
                   std::find(other.from.begin(), other.from.end(), from) != other.from.end();
          });
      if (!merged) outputs.push_back({column.name, column.value, position});
    }
  }
  if (!found) {
    throw error(error_code::unknown_name, "there is no table " + star.qualifier.back(), position);
  }
  if (outputs.size() == before) {
    throw error(error_code::wrong_type, "* stands for no columns", position);
  }
}

void query_binder::bind_outputs(selection& current) {
  for (syntax::output_item const& item : current.syntax.outputs) {
    if (current.outputs.size() > max_outputs) {
      throw error(error_code::limit_exceeded,
                  "a query has at most " + std::to_string(max_outputs) + " outputs",
                  item.value->position);
    }
    if (auto const* star = std::get_if<syntax::star>(&item.value->content)) {
      expand_star(*star, item.value->position, current.names, current.outputs);
      continue;
    }
    Expression value = expressions_.bind(*item.value, current.names, current.aggregates);
    current.outputs.push_back({item.alias.empty() ? name_of(*item.value) : item.alias,
                               std::move(value), item.value->position});
  }
}

bound_output const* query_binder::output_named(std::vector<bound_output> const& outputs,
                                               scope const& names,
                                               syntax::expression const& item) const {
  std::string const* const name = bare_name(item);
  if (!name) return nullptr;
  auto const has_name = [&](bound_output const& output) { return output.name == *name; };
  auto const found = std::find_if(outputs.begin(), outputs.end(), has_name);
  if (found == outputs.end()) return nullptr;
  bool const alone = std::all_of(found, outputs.end(), [&](bound_output const& output) {
    return !has_name(output) || algebra::equal(output.value, found->value);
  });
  if (alone) return &*found;
  // Of several the one that the name stands for without any outputs.
  if (std::optional<named_value> const column = names_.find_column(names, *name, item.position)) {
    for (bound_output const& output : outputs) {
      if (has_name(output) && algebra::equal(output.value, column->value)) return &output;
    }
  }
  throw error(error_code::ambiguous_name, "the name " + *name + " stands for two outputs",
              item.position);
}

bound_output const* query_binder::output_at(std::vector<bound_output> const& outputs,
                                            syntax::expression const& item,
                                            char const* place) const {
  auto const* const literal = std::get_if<syntax::integer_literal>(&item.content);
  if (!literal && is_literal(item)) {
    throw error(
        error_code::not_supported,
        std::string(place) + " takes expressions and positions of outputs, and no constants",
        item.position);
  }
  if (!literal) return nullptr;
  std::size_t number = 0;
  char const* const end = literal->digits.data() + literal->digits.size();
  auto const [stop, failure] = std::from_chars(literal->digits.data(), end, number);
  if (failure != std::errc() || stop != end || number == 0 || number > outputs.size()) {
    throw error(error_code::unknown_name,
                std::string(place) + " position " + literal->digits + " is no output",
                item.position);
  }
  return &outputs[number - 1];
}

void query_binder::bind_group_by(selection& current) {
  if (current.syntax.group_by.empty()) return;
  check_list(current.syntax.group_by.size(), "GROUP BY", current.syntax.group_by[0]->position);
  for (syntax::expression_ptr const& item : current.syntax.group_by) {
    std::optional<Expression> value;
    if (bound_output const* output = output_at(current.outputs, *item, "GROUP BY")) {
      value = output->value;
    } else if (std::string const* name = bare_name(*item)) {
      // A column of the rows comes before an output of that name.
      std::optional<named_value> column = names_.find_column(current.names, *name, item->position);
      if (column) {
        value = std::move(column->value);
      } else if (bound_output const* named = output_named(current.outputs, current.names, *item)) {
        value = named->value;
      }
    }
    if (!value) value = expressions_.bind(*item, current.names, "GROUP BY");
    algebra::for_each_variable(*value, [&](algebra::PhysicalVariable const& variable) {
      for (collected_aggregates::origin const& aggregate : current.aggregates.origins) {
        if (aggregate.output == variable) {
          throw error(error_code::bad_grouping, "an aggregate cannot stand in GROUP BY",
                      item->position);
        }
      }
    });
    bool const known = std::any_of(
        current.group_by.begin(), current.group_by.end(),
        [&](algebra::Alias const& other) { return algebra::equal(other.expression, *value); });
    if (known) continue;
    if (algebra::kind_of(*value) == kind::null) {
      value = expressions_.converted(std::move(*value), kind::text);
    }
    std::optional<algebra::PhysicalVariable> variable = as_variable(*value);
    if (!variable) variable = expressions_.new_value(algebra::kind_of(*value));
    expressions_.note_referenced_class(*variable, expressions_.referenced_class(*value));
    current.group_by.push_back({std::move(*value), std::move(*variable)});
  }
}

void query_binder::bind_order(selection& current, syntax::query const& query) {
  check_list(query.order_by.size(), "ORDER BY", query.position);
  for (syntax::sort_item const& item : query.order_by) {
    std::optional<Expression> value;
    if (bound_output const* output = output_at(current.outputs, *item.key, "ORDER BY")) {
      value = output->value;
    } else if (bound_output const* named =
                   output_named(current.outputs, current.names, *item.key)) {
      value = named->value;
    }
    if (!value) value = expressions_.bind(*item.key, current.names, current.aggregates);
    current.order.push_back({std::move(*value), &item});
  }
}

Expression query_binder::grouped(selection const& current, Expression value,
                                 text_position position) const {
  value =
      algebra::replace(std::move(value), [&](Expression const& part) -> std::optional<Expression> {
        for (algebra::Alias const& key : current.group_by) {
          if (algebra::equal(key.expression, part)) {
            return physical_queryplan::AsExpression(key.variable);
          }
        }
        return std::nullopt;
      });
  algebra::for_each_variable(value, [&](algebra::PhysicalVariable const& variable) {
    bool const is_key =
        std::any_of(current.group_by.begin(), current.group_by.end(),
                    [&](algebra::Alias const& key) { return key.variable == variable; });
    bool const is_aggregate = std::any_of(
        current.aggregates.origins.begin(), current.aggregates.origins.end(),
        [&](collected_aggregates::origin const& one) { return one.output == variable; });
    if (!is_key && !is_aggregate) {
      throw error(error_code::bad_grouping,
                  shown(variable) + " must appear in GROUP BY or in an aggregate to be used here",
                  position);
    }
  });
  return value;
}

void query_binder::group(selection& current) {
  if (current.aggregates.aggregates.empty() && current.group_by.empty()) {
    // HAVING alone: one group, of which something must be known.
    current.aggregates.aggregates.push_back(
        algebra::count_rows(expressions_.new_value(kind::signed_integer)));
  }
  for (bound_output& output : current.outputs) {
    output.value = grouped(current, std::move(output.value), output.position);
  }
  if (current.having) {
    current.having = grouped(current, std::move(*current.having), current.syntax.having->position);
  }
  for (selection::key& key : current.order) {
    key.value = grouped(current, std::move(key.value), key.item->key->position);
  }
  current.rows = algebra::make_relation(algebra::aggregate{std::move(current.aggregates.aggregates),
                                                           std::move(current.group_by),
                                                           std::move(current.rows)});
  if (current.having) {
    current.rows = algebra::make_relation(
        algebra::filter{algebra::conjuncts(std::move(*current.having)), std::move(current.rows)});
  }
}

query_binder::body query_binder::bind_select(syntax::select_core const& select,
                                             syntax::query const& query) {
  selection current{select, {}, {}, {}, {}, {}, {}, {}};
  current.rows = bind_from(select.from, current.names);
  filter(current.rows, select.where.get(), current.names);
  bind_outputs(current);
  bind_group_by(current);
  if (select.having) {
    current.having = expressions_.as_condition(
        expressions_.bind(*select.having, current.names, current.aggregates),
        select.having->position, "HAVING");
  }
  bind_order(current, query);
  if (current.is_grouped()) group(current);

  body result{std::move(current.rows), std::move(current.outputs)};
  current.outputs.clear();
  if (select.distinct || !current.order.empty()) {
    // Outputs that are sorted by are computed once, below the sort.
    for (bound_output const& output : result.outputs) current.outputs.push_back(output);
    name_outputs(result.rows, result.outputs);
  }
  if (select.distinct) distinct(result);
  order(result, current);
  limit(result, query);
  return result;
}

void query_binder::order(body& result, selection& current) {
  std::vector<algebra::sort_key> keys;
  for (selection::key& key : current.order) {
    Expression value = algebra::replace(std::move(key.value),
                                        [&](Expression const& part) -> std::optional<Expression> {
                                          // Below its variable an output may be a literal, which stands for itself.
                                          if (algebra::is_constant(part)) return std::nullopt;
                                          for (std::size_t i = 0; i < result.outputs.size(); ++i) {
                                            if (algebra::equal(current.outputs[i].value, part))
                                              return result.outputs[i].value;
                                          }
                                          return std::nullopt;
                                        });
    if (current.syntax.distinct) {
      // Nothing but the outputs is left to sort by.
      algebra::for_each_variable(value, [&](algebra::PhysicalVariable const& variable) {
        bool const is_output = std::any_of(
            result.outputs.begin(), result.outputs.end(),
            [&](bound_output const& output) { return as_variable(output.value) == variable; });
        if (!is_output) {
          throw error(error_code::bad_grouping,
                      shown(variable) + " must be an output to sort SELECT DISTINCT by",
                      key.item->key->position);
        }
      });
    }
    add_sort_key(keys, *key.item, std::move(value));
  }
  sort(result.rows, std::move(keys));
}

void query_binder::name_outputs(relation_ptr& rows, std::vector<bound_output>& outputs) {
  std::vector<algebra::Alias> aliases;
  for (bound_output& output : outputs) {
    if (as_variable(output.value)) continue;
    auto const known = std::find_if(aliases.begin(), aliases.end(), [&](algebra::Alias const& one) {
      return algebra::equal(one.expression, output.value);
    });
    if (known != aliases.end()) {
      output.value = physical_queryplan::AsExpression(known->variable);
      continue;
    }
    if (algebra::kind_of(output.value) == kind::null) {
      output.value = expressions_.converted(std::move(output.value), kind::text);
    }
    if (algebra::kind_of(output.value) == kind::set_specifier) {
      throw error(error_code::not_supported, "a class cannot be an output", output.position);
    }
    algebra::PhysicalVariable const variable =
        expressions_.new_value(algebra::kind_of(output.value));
    expressions_.note_referenced_class(variable, expressions_.referenced_class(output.value));
    aliases.push_back({std::move(output.value), variable});
    output.value = physical_queryplan::AsExpression(variable);
  }
  if (!aliases.empty()) {
    rows = algebra::make_relation(algebra::compute{std::move(aliases), std::move(rows)});
  }
}

void query_binder::distinct(body& current) {
  name_outputs(current.rows, current.outputs);
  algebra::aggregate groups{{}, {}, {}};
  for (bound_output const& output : current.outputs) {
    algebra::PhysicalVariable const variable = *as_variable(output.value);
    bool const known =
        std::any_of(groups.group_by.begin(), groups.group_by.end(),
                    [&](algebra::Alias const& other) { return other.variable == variable; });
    if (!known) groups.group_by.push_back({output.value, variable});
  }
  groups.child = std::move(current.rows);
  current.rows = algebra::make_relation(std::move(groups));
}

void query_binder::add_sort_key(std::vector<algebra::sort_key>& keys, syntax::sort_item const& item,
                                Expression key) {
  if (algebra::is_constant(key)) return;  // Sorts nothing, and NULL has no kind to sort by.
  bool const decided = std::any_of(keys.begin(), keys.end(), [&](algebra::sort_key const& earlier) {
    return algebra::equal(earlier.expression, key);
  });
  if (decided) return;
  using nulls = syntax::sort_item::nulls;
  // NULL comes first ascending and last descending; the other way round takes a key of its own.
  if (item.ascending && item.where == nulls::last) {
    keys.push_back({true, algebra::null_test(false, key)});
  } else if (!item.ascending && item.where == nulls::first) {
    keys.push_back({false, algebra::null_test(false, key)});
  }
  keys.push_back({item.ascending, std::move(key)});
}

void query_binder::sort(relation_ptr& rows, std::vector<algebra::sort_key> keys) {
  if (keys.empty()) return;
  rows = algebra::make_relation(algebra::sort{std::move(keys), std::move(rows)});
}

}  // namespace qd::sql
