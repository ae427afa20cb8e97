#include "sql_executor/aggregator.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <unordered_map>

#include "sql_executor/row_source.h"

namespace qd::sql_executor {

namespace {

void append_values(evaluation_context& context, std::vector<value>&& values) {
  context.bound_data.insert(context.bound_data.end(), std::move_iterator(values.begin()),
                            std::move_iterator(values.end()));
}

}  // namespace

// One row per group. `groups` is empty until the first call has read the input; afterwards `cursor`
// and `unequal_cursor` stand at the next group to go out, those of the map first.
class aggregator_enumerator final : public row_source {
 public:
  aggregator_enumerator(std::vector<operators::operator_ptr> const& node_group_by,
                        std::vector<aggregate_variant> const& node_aggregates,
                        std::unique_ptr<enumerator> rows)
      : group_by(node_group_by), aggregates(node_aggregates), child(std::move(rows)) {}

  bool append_next(evaluation_context& context) override {
    if (!groups) initialize_map(context);
    if (cursor != groups->end()) {
      append_group(context, cursor->first, cursor->second);
      ++cursor;
      return true;
    }
    if (unequal_cursor < unequal_groups.size()) {
      append_group(context, unequal_groups[unequal_cursor].first,
                   unequal_groups[unequal_cursor].second);
      ++unequal_cursor;
      return true;
    }
    return false;
  }

 private:
  // Boost's hash and no reserve: they decide the order in which groups come out.
  using group_map = std::unordered_map<row, std::vector<runner_variant>, boost_hash>;

  void initialize_map(evaluation_context& context) {
    groups.emplace();
    unsigned long const base = context.bound_data.size();
    while (child.append_next(context)) {
      add_value(context, group_of_bound_row(context));
      erase_new_bound(context, base);
    }
    cursor = groups->begin();
  }

  // The runners of the group to which the bound row belongs, made for its first row.
  std::vector<runner_variant>& group_of_bound_row(evaluation_context& context) {
    key.clear();
    for (operators::operator_ptr const& expression : group_by) {
      key.push_back(expression->eval(context));
    }
    if (std::any_of(key.begin(), key.end(), is_nan)) {
      return unequal_groups.emplace_back(std::move(key), make_runners(aggregates)).second;
    }
    group_map::iterator const found = groups->find(key);
    if (found != groups->end()) return found->second;
    return groups->emplace(key, make_runners(aggregates)).first->second;
  }

  static void append_group(evaluation_context& context, row const& group_key,
                           std::vector<runner_variant> const& runners) {
    append_values(context, get_result(runners));
    context.bound_data.insert(context.bound_data.end(), group_key.begin(), group_key.end());
  }

  std::optional<group_map> groups;
  group_map::iterator cursor;
  // Groups whose key holds a NaN: of one row each, as a NaN equals nothing. They all have one hash:
  // in the map, each would be compared with every other.
  std::vector<std::pair<row, std::vector<runner_variant>>> unequal_groups;
  unsigned long unequal_cursor = 0;
  std::vector<operators::operator_ptr> const& group_by;
  std::vector<aggregate_variant> const& aggregates;
  row_input child;
  row key;  // Scratch: the key of the bound row.
};

// The one row of an aggregation without grouping, also over no rows.
class empty_group_by_aggregator_enumerator final : public row_source {
 public:
  empty_group_by_aggregator_enumerator(std::vector<runner_variant> made_runners,
                                       std::unique_ptr<enumerator> rows)
      : runners(std::move(made_runners)), child(std::move(rows)) {}

  bool append_next(evaluation_context& context) override {
    if (!child) return false;
    unsigned long const base = context.bound_data.size();
    while (child.append_next(context)) {
      add_value(context, runners);
      erase_new_bound(context, base);
    }
    child.release();
    append_values(context, get_result(runners));
    return true;
  }

 private:
  std::vector<runner_variant> runners;
  row_input child;  // Released when its rows have been read.
};

aggregator::aggregator(std::unique_ptr<node>&& child_node,
                       std::vector<operators::operator_ptr>&& key_expressions,
                       std::vector<aggregate_variant>&& descriptions)
    : child(std::move(child_node)),
      group_by(std::move(key_expressions)),
      aggregates(std::move(descriptions)) {}

std::unique_ptr<enumerator> aggregator::enumerate(evaluation_context& context) {
  if (!group_by.empty()) {
    std::unique_ptr<enumerator> rows = child->enumerate(context);
    return std::make_unique<aggregator_enumerator>(group_by, aggregates, std::move(rows));
  }
  std::vector<runner_variant> runners = make_runners(aggregates);
  std::unique_ptr<enumerator> rows = child->enumerate(context);
  return std::make_unique<empty_group_by_aggregator_enumerator>(std::move(runners),
                                                                std::move(rows));
}

}  // namespace qd::sql_executor
