#include "sql/plan/join_order.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <numeric>
#include <tuple>

namespace qd::sql::planning {

namespace {

// Trying every start takes the cube of the members' number; beyond this only some are tried.
constexpr std::size_t max_members_for_all_starts = 8;
constexpr std::size_t starts_of_large_groups = 3;

// Of testing a pair of rows, and of computing a row of a derived table.
constexpr double pair_cost = 1.5;
constexpr double derived_row_cost = 3;

struct step {
  double rows;  // Per left row.
  double cost;  // Per left row.
  double once;  // Besides, however many left rows there are.
  // Whether no condition is between the rows and the left ones, and they may be several: however
  // few they are taken to be, such a member comes after all others.
  bool crossed = false;
};

// The variables and what can be computed from them.
variable_set with_computed(join_group const& group, variable_set variables) {
  for (join_group::computed const& each : group.computes) {
    if (variables.includes(each.uses)) variables.add(each.number);
  }
  return variables;
}

// Stays where it is made: its paths point into it.
class candidate {
 public:
  candidate(candidate const&) = delete;
  candidate& operator=(candidate const&) = delete;
  candidate(join_group const& group, join_group::member const& member, relation_facts const& facts,
            variable_numbers& numbers)
      : group_(group), member_(member), facts_(facts), constants_(with_computed(group, {})) {
    own_ = with_computed(group, member.variables).without(constants_);
    if (auto const* table = std::get_if<algebra::table>(&member.relation->content)) {
      table_ = &facts.info_of(table->variable);
      bounds_ = find_bounds(*table_, table->variable, group.conditions, numbers);
      number_ = numbers.of(table->variable);
      paths_.emplace(*table_, group.conditions, bounds_, number_, [this] { return row_count(); });
    }
  }

  step as_first(variable_set const& outer, wanted_order const* wanted, bool& sorted) const {
    sorted = !wanted || wanted->keys.empty();
    if (!table_) return {row_count() * share_of(outer), 0, row_count() * derived_row_cost};
    bool const wanted_here = wanted && wanted->table == number_;
    access_path const first = paths_->best(outer, wanted_here ? wanted : nullptr);
    if (wanted_here) sorted = first.sorted;
    return {first.rows, 0, first.cost};
  }

  step as_next(variable_set const& known) const {
    if (table_) {
      access_path const next = paths_->best(known, nullptr);
      return {next.rows, next.cost, 0, !next.single && !is_linked(known)};
    }
    double const rows = row_count();
    bool const reaches =
        std::any_of(group_.conditions.begin(), group_.conditions.end(), [&](condition const& each) {
          return facts_.reaches_index(*member_.relation, each, known);
        });
    if (reaches) {
      double const found = std::max(1.0, std::sqrt(rows));
      return {found, found * derived_row_cost * 2, 0, false};
    }
    return {rows * share_of(known), rows * pair_cost, rows * derived_row_cost,
            rows > 1 && !is_linked(known)};
  }

 private:
  // Whether a condition says which of the member's rows belong to a left row.
  bool is_linked(variable_set const& known) const {
    return std::any_of(group_.conditions.begin(), group_.conditions.end(),
                       [&](condition const& each) {
                         variable_set const others = each.uses.without(own_);
                         return each.uses.intersects(own_) && known.includes(others) &&
                                !constants_.includes(others);
                       });
  }

  double row_count() const {
    if (row_count_ < 0) {
      row_count_ =
          table_ ? facts_.row_count(*table_) : std::max(1.0, facts_.row_count(*member_.relation));
    }
    return row_count_;
  }

  // Of the conditions on the member that can be tested.
  double share_of(variable_set const& known) const {
    double share = 1;
    for (condition const& each : group_.conditions) {
      if (!each.uses.intersects(member_.variables)) continue;
      if (known.includes(each.uses.without(member_.variables))) {
        share *= share_left_by(each.expression);
      }
    }
    return share;
  }

  join_group const& group_;
  join_group::member const& member_;
  relation_facts const& facts_;
  variable_set constants_;             // Computed from nothing.
  variable_set own_;                   // The member's, and what is computed from them.
  table_info const* table_ = nullptr;  // Null of any other relation.
  variable_number number_ = 0;
  std::vector<bound> bounds_;
  std::optional<path_finder> paths_;  // Of a table.
  mutable double row_count_ = -1;     // Negative until it is asked for.
};

struct order {
  std::vector<std::size_t> members;
  double cost;
};

order greedy_from(std::size_t start, std::deque<candidate> const& candidates,
                  join_group const& group, variable_set const& outer, wanted_order const* wanted) {
  order result{{start}, 0};
  bool sorted = false;
  step const first = candidates[start].as_first(outer, wanted, sorted);
  double rows = std::max(first.rows, 1.0);
  result.cost = first.once;
  variable_set known = outer;
  auto const learn = [&](std::size_t member) {
    known.merge(group.members[member].variables);
    known = with_computed(group, std::move(known));
  };
  learn(start);
  std::vector<std::size_t> rest(candidates.size());
  std::iota(rest.begin(), rest.end(), std::size_t{0});
  rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(start));
  while (!rest.empty()) {
    auto best = rest.begin();
    step best_step = candidates[*best].as_next(known);
    for (auto each = rest.begin() + 1; each != rest.end(); ++each) {
      step const next = candidates[*each].as_next(known);
      if (std::tuple(next.crossed, next.rows, next.cost) <
          std::tuple(best_step.crossed, best_step.rows, best_step.cost)) {
        best = each;
        best_step = next;
      }
    }
    result.cost += rows * best_step.cost + best_step.once;
    rows = std::max(rows * best_step.rows, 1.0);
    learn(*best);
    result.members.push_back(*best);
    rest.erase(best);
  }
  if (!sorted) {
    result.cost += sort_cost(rows);
  } else if (wanted && wanted->rows && *wanted->rows < rows) {
    result.cost *= *wanted->rows / rows;
  }
  return result;
}

}  // namespace

std::vector<std::size_t> order_of_joins(join_group const& group, variable_set const& outer,
                                        wanted_order const* wanted, relation_facts const& facts,
                                        variable_numbers& numbers) {
  if (group.members.size() == 1) return {0};
  std::deque<candidate> candidates;
  for (join_group::member const& each : group.members) {
    candidates.emplace_back(group, each, facts, numbers);
  }
  std::vector<std::size_t> starts(candidates.size());
  std::iota(starts.begin(), starts.end(), std::size_t{0});
  if (starts.size() > max_members_for_all_starts) {
    std::vector<double> rows;
    for (candidate const& each : candidates) {
      bool sorted = false;
      rows.push_back(each.as_first(outer, wanted, sorted).rows);
    }
    std::sort(starts.begin(), starts.end(), [&](std::size_t left, std::size_t right) {
      return std::pair(rows[left], left) < std::pair(rows[right], right);
    });
    starts.resize(starts_of_large_groups);
  }
  order best = greedy_from(starts[0], candidates, group, outer, wanted);
  for (std::size_t i = 1; i < starts.size(); ++i) {
    order next = greedy_from(starts[i], candidates, group, outer, wanted);
    if (next.cost < best.cost) best = std::move(next);
  }
  return best.members;
}

}  // namespace qd::sql::planning
