#include "sql/plan/join_group.h"

#include <algorithm>
#include <iterator>

#include "sql/plan/implied.h"

namespace qd::sql::planning {

using algebra::join_kind;
using algebra::relation_ptr;

namespace {

class group_maker {
 public:
  explicit group_maker(variable_numbers& numbers) : numbers_(numbers) {}

  join_group make(relation_ptr relation, std::vector<condition> conditions,
                  variable_set const& needed) {
    flatten(std::move(relation));
    std::move(conditions.begin(), conditions.end(), std::back_inserter(group_.conditions));
    replace_renamed();
    // A join that becomes an inner one brings conditions that may do the same to another.
    while (simplify_outer_join()) replace_renamed();
    add_implied();
    drop_unused(needed);
    return std::move(group_);
  }

 private:
  void flatten(relation_ptr relation) {
    if (auto* filter = std::get_if<algebra::filter>(&relation->content)) {
      flatten(std::move(filter->child));
      add_conditions(std::move(filter->conditions));
    } else if (auto* compute = std::get_if<algebra::compute>(&relation->content)) {
      flatten(std::move(compute->child));
      for (algebra::Alias& alias : compute->aliases) {
        variable_set uses = numbers_.uses(alias.expression);
        variable_number const number = numbers_.of(alias.variable);
        group_.computes.push_back({std::move(alias), std::move(uses), number});
      }
    } else if (auto* join = std::get_if<algebra::join>(&relation->content);
               join && join->kind == join_kind::inner) {
      flatten(std::move(join->left));
      flatten(std::move(join->right));
      add_conditions(std::move(join->conditions));
    } else {
      variable_set variables = variables_of(*relation, numbers_);
      group_.members.push_back({std::move(relation), std::move(variables)});
    }
  }

  void add_conditions(std::vector<Expression> expressions) {
    for (Expression& each : expressions) {
      variable_set uses = numbers_.uses(each);
      group_.conditions.push_back({std::move(each), std::move(uses)});
    }
  }

  void replace_renamed() {
    for (std::size_t i = group_.computes.size(); i-- > 0;) {
      join_group::computed const& renamed = group_.computes[i];
      if (!is_renamed(renamed)) continue;
      Expression const variable = physical_queryplan::AsExpression(renamed.alias.variable);
      for (condition& each : group_.conditions) {
        if (!each.uses.has(renamed.number)) continue;
        each.expression = algebra::replace(
            std::move(each.expression), [&](Expression const& part) -> std::optional<Expression> {
              if (!algebra::equal(part, variable)) return std::nullopt;
              return renamed.alias.expression;
            });
        each.uses = numbers_.uses(each.expression);
      }
    }
  }

  // A value that is another variable's, and no table variable: that has columns.
  static bool is_renamed(join_group::computed const& computed) {
    return !std::holds_alternative<algebra::TableVariable>(computed.alias.variable) &&
           std::visit(
               []<typename T>(T const&) {
                 return std::is_constructible_v<algebra::PhysicalVariable, T const&>;
               },
               computed.alias.expression.variant);
  }

  bool rejects(variable_set const& padded) {
    return std::any_of(
        group_.conditions.begin(), group_.conditions.end(),
        [&](condition const& each) { return rejects_nulls(each.expression, padded, numbers_); });
  }

  // Makes one outer join an inner or a left one; false when there is none to make.
  bool simplify_outer_join() {
    for (std::size_t i = 0; i < group_.members.size(); ++i) {
      auto* const join = std::get_if<algebra::join>(&group_.members[i].relation->content);
      if (!join) continue;
      bool const no_padded_right = rejects(variables_of(*join->right, numbers_));
      bool const no_padded_left =
          join->kind == join_kind::left || rejects(variables_of(*join->left, numbers_));
      if (no_padded_left && no_padded_right) {
        dissolve(i);
        return true;
      }
      if (join->kind == join_kind::left || no_padded_left == no_padded_right) continue;
      // Rows of the one side that stay without a match are padded, those of the other are not.
      if (no_padded_right) std::swap(join->left, join->right);
      join->kind = join_kind::left;
      return true;
    }
    return false;
  }

  // An outer join that is an inner one: its sides take its place, its conditions come first.
  void dissolve(std::size_t position) {
    group_maker inner(numbers_);
    relation_ptr relation = std::move(group_.members[position].relation);
    std::get<algebra::join>(relation->content).kind = join_kind::inner;
    inner.flatten(std::move(relation));
    auto const place = group_.members.begin() + static_cast<std::ptrdiff_t>(position);
    auto const after = group_.members.erase(place);
    group_.members.insert(after, std::move_iterator(inner.group_.members.begin()),
                          std::move_iterator(inner.group_.members.end()));
    prepend(group_.conditions, std::move(inner.group_.conditions));
    prepend(group_.computes, std::move(inner.group_.computes));
  }

  template <typename T>
  static void prepend(std::vector<T>& list, std::vector<T> first) {
    std::move(list.begin(), list.end(), std::back_inserter(first));
    list = std::move(first);
  }

  // A table is found by the rows that it is joined with; a derived table is computed sooner when it
  // is known which of its rows are wanted.
  void add_implied() {
    for (join_group::member const& each : group_.members) {
      if (is_simple(*each.relation)) continue;
      auto implied = implied_equalities(group_.conditions, each.variables, numbers_);
      std::move(implied.begin(), implied.end(), std::back_inserter(group_.conditions));
    }
  }

  void drop_unused(variable_set const& needed) {
    if (group_.computes.empty()) return;
    variable_set used = needed;
    for (condition const& each : group_.conditions) used.merge(each.uses);
    std::vector<join_group::computed> kept;
    for (std::size_t i = group_.computes.size(); i-- > 0;) {
      join_group::computed& each = group_.computes[i];
      if (!used.has(each.number)) continue;
      used.merge(each.uses);
      kept.push_back(std::move(each));
    }
    std::reverse(kept.begin(), kept.end());
    group_.computes = std::move(kept);
  }

  variable_numbers& numbers_;
  join_group group_;
};

}  // namespace

join_group make_group(relation_ptr relation, std::vector<condition> conditions,
                      variable_set const& needed, variable_numbers& numbers) {
  return group_maker(numbers).make(std::move(relation), std::move(conditions), needed);
}

}  // namespace qd::sql::planning
