#include "support/reference/relation.h"

#include <algorithm>
#include <limits>

namespace reference {

namespace plan = physical_queryplan::QueryPlan;

namespace {

row join_rows(row left, row const& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// Evaluates something over a row of a child.
template <typename Evaluate>
auto over(layout const& variables, row const& values, environment& scope,
          Evaluate const& evaluate_row) {
  scope.push(variables, values);
  try {
    auto result = evaluate_row();
    scope.pop(values.size());
    return result;
  } catch (...) {
    scope.pop(values.size());
    throw;
  }
}

// Hands each row of a child with its rank to `take`; what that throws ends the result.
template <typename Take>
relation for_each_row(relation const& child, Take const& take) {
  relation result;
  result.at_start = child.at_start;
  result.unspecified = child.unspecified;
  for (std::size_t i = 0; i < child.rows.size(); ++i) {
    try {
      take(result, child.rows[i], child.ranks[i]);
    } catch (failure const& raised) {
      result.at_end = over_rows(raised, child);
      return result;
    }
  }
  result.at_end = child.at_end;
  return result;
}

relation enumerate_node(plan::Filter const& filter, environment& scope) {
  layout const variables = layout_of(*filter.child);
  return for_each_row(enumerate(*filter.child, scope),
                      [&](relation& result, row const& columns, std::size_t rank) {
                        if (over(variables, columns, scope,
                                 [&] { return is_true(evaluate(filter.condition, scope)); })) {
                          result.add(columns, rank);
                        }
                      });
}

relation enumerate_node(plan::Transform const& transform, environment& scope) {
  layout const variables = layout_of(*transform.child);
  // The outputs see the child alone.
  static std::vector<value> const no_parameters;
  return for_each_row(enumerate(*transform.child, scope),
                      [&](relation& result, row const& columns, std::size_t rank) {
                        environment alone(scope.data(), no_parameters);
                        alone.push(variables, columns);
                        row outputs;
                        for (Expression const& output : transform.outputs) {
                          outputs.push_back(evaluate(output, alone));
                        }
                        result.add(std::move(outputs), rank);
                      });
}

relation enumerate_node(plan::Extend const& extend, environment& scope) {
  layout const variables = layout_of(*extend.child);
  return for_each_row(enumerate(*extend.child, scope),
                      [&](relation& result, row const& columns, std::size_t rank) {
                        result.add(over(variables, columns, scope,
                                        [&] {
                                          // The child's variables, too, are read by name.
                                          row values;
                                          for (auto const& variable : variables) {
                                            values.push_back(*scope.find(variable));
                                          }
                                          for (plan::Alias const& alias : extend.aliases) {
                                            values.push_back(evaluate(alias.expression, scope));
                                          }
                                          return values;
                                        }),
                                   rank);
                      });
}

relation enumerate_node(plan::GenerativeAssignment const& assignment, environment& scope) {
  relation result;
  try {
    result.add({evaluate(assignment.expression, scope)}, 0);
  } catch (failure const& raised) {
    result.at_end = raised;
  }
  return result;
}

// The inner join, and the left join, which pads a left row without a match.
relation join(PredicateVariant const& left_plan, PredicateVariant const& right_plan,
              bool keeps_unmatched, environment& scope) {
  layout const variables = layout_of(left_plan);
  row const nulls(layout_of(right_plan).size(), null_value());
  relation const left = enumerate(left_plan, scope);
  relation result;
  result.at_start = left.at_start;
  result.unspecified = left.unspecified;
  bool const ties = left.has_ties();
  std::size_t rank = 0;
  for (row const& left_row : left.rows) {
    scope.push(variables, left_row);
    relation const right = enumerate(right_plan, scope);
    scope.pop(left_row.size());
    result.unspecified = result.unspecified || right.unspecified;
    for (std::size_t i = 0; i < right.rows.size(); ++i) {
      if (!ties && (i == 0 || right.ranks[i] != right.ranks[i - 1])) ++rank;
      result.add(join_rows(left_row, right.rows[i]), rank);
    }
    std::optional<failure> const& raised = right.at_start ? right.at_start : right.at_end;
    if (raised) {
      result.at_end = over_rows(*raised, left);
      return result;
    }
    if (right.rows.empty() && keeps_unmatched) {
      if (!ties) ++rank;
      result.add(join_rows(left_row, nulls), rank);
    }
  }
  result.at_end = left.at_end;
  return result;
}

relation enumerate_node(plan::Join<shared_classes::Inner> const& inner, environment& scope) {
  return join(*inner.left, *inner.right, false, scope);
}
relation enumerate_node(plan::Join<shared_classes::Left> const& left, environment& scope) {
  return join(*left.left, *left.right, true, scope);
}

struct keyed_row {
  row keys;
  row columns;
};

// Sorts as std::sort does with this order, which decides what meets what, so what fails.
struct key_order {
  std::vector<plan::OrderBy::Key> const& keys;

  int compare(row const& left, row const& right) const {
    for (std::size_t i = 0; i < left.size(); ++i) {
      int const order = sort_order(left[i], right[i]);
      if (order != 0) return keys[i].ascending ? order : -order;
    }
    return 0;
  }
  bool operator()(keyed_row const& left, keyed_row const& right) const {
    return compare(left.keys, right.keys) < 0;
  }
};

// Reads and sorts everything when it starts.
relation enumerate_node(plan::OrderBy const& order_by, environment& scope) {
  layout const variables = layout_of(*order_by.child);
  relation const child = enumerate(*order_by.child, scope);
  relation result;
  result.unspecified = child.unspecified;
  result.at_start = child.at_start;
  if (child.at_start) return result;
  std::vector<keyed_row> sorted;
  key_order const order{order_by.keys};
  try {
    for (row const& columns : child.rows) {
      row keys = over(variables, columns, scope, [&] {
        row values;
        for (auto const& key : order_by.keys) values.push_back(evaluate(key.expression, scope));
        return values;
      });
      sorted.push_back({std::move(keys), columns});
    }
    if (child.at_end) throw *child.at_end;
    std::sort(sorted.begin(), sorted.end(), order);
  } catch (failure const& raised) {
    result.at_start = over_rows(raised, child);
    return result;
  }
  // Keys that cannot be ordered may not have met; which do depends on the order of the input.
  auto const differ = [&](std::size_t i) {
    try {
      return order.compare(sorted[i - 1].keys, sorted[i].keys) != 0;
    } catch (failure const&) {
      result.unspecified = true;
      return false;
    }
  };
  for (std::size_t i = 0, rank = 0; i < sorted.size(); ++i) {
    if (i > 0 && differ(i)) rank = i;
    result.add(sorted[i].columns, rank);
  }
  return result;
}

unsigned long count_of(std::optional<Expression> const& expression, unsigned long without,
                       environment const& scope) {
  if (!expression) return without;
  value const count = convert(evaluate(*expression, scope), of_unsigned, {});
  if (is_null(count)) fail(7020);
  return std::get<of_unsigned>(count);
}

// Whether the rows before `position` are always the same ones.
bool is_sharp_cut(relation const& source, std::size_t position) {
  if (position == 0 || position >= source.rows.size()) return true;
  return source.ranks[position - 1] != source.ranks[position];
}

// The offset is skipped when it starts; the child is asked for no row behind the last one needed.
relation enumerate_node(plan::LimitOffset const& cut, environment& scope) {
  relation result;
  unsigned long limit = 0;
  unsigned long offset = 0;
  try {
    limit = count_of(cut.limit, std::numeric_limits<unsigned long>::max(), scope);
    offset = count_of(cut.offset, 0, scope);
  } catch (failure const& raised) {
    result.at_start = raised;
    return result;
  }
  relation const child = enumerate(*cut.child, scope);
  result.at_start = child.at_start;
  result.unspecified = child.unspecified;
  if (child.at_start) return result;
  if (child.at_end && child.is_loose()) result.unspecified = true;
  std::size_t const size = child.rows.size();
  if (offset > size) {
    result.at_start = child.at_end;
    return result;
  }
  std::size_t const end = offset + std::min(limit, size - offset);
  for (std::size_t i = offset; i < end; ++i) result.add(child.rows[i], child.ranks[i]);
  if (limit > size - offset) result.at_end = child.at_end;
  if (!is_sharp_cut(child, offset) || !is_sharp_cut(child, end)) result.unspecified = true;
  return result;
}

relation enumerate_node(plan::Union const& both, environment& scope) {
  relation result = enumerate(*both.left, scope);
  if (result.at_start) return result;
  relation const right = enumerate(*both.right, scope);
  if (right.at_start) {
    relation failed;
    failed.at_start = right.at_start;
    failed.unspecified = result.unspecified || right.unspecified;
    return failed;
  }
  if (result.at_end) return result;
  std::size_t const behind = result.ranks.empty() ? 0 : result.ranks.back() + 1;
  for (std::size_t i = 0; i < right.rows.size(); ++i) {
    result.add(right.rows[i], behind + right.ranks[i]);
  }
  result.at_end = right.at_end;
  result.unspecified = result.unspecified || right.unspecified;
  return result;
}

relation enumerate_node(plan::Scan const& scan, environment& scope) {
  return enumerate(scan, scope);
}
relation enumerate_node(plan::Aggregation const& aggregation, environment& scope) {
  return enumerate(aggregation, scope);
}
relation enumerate_node(plan::FullJoin const& full, environment& scope) {
  return enumerate(full, scope);
}

}  // namespace

relation enumerate(PredicateVariant const& plan, environment& scope) {
  relation result =
      std::visit([&](auto const& node) { return enumerate_node(node, scope); }, plan.variant);
  return result;
}

}  // namespace reference
