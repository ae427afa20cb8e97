#include "sql_executor/aggregator.h"

#include <algorithm>
#include <iterator>
#include <memory_resource>
#include <optional>
#include <unordered_map>
#include <utility>

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
    if (unequal_cursor == unequal_groups.size()) return false;
    auto const& [group_key, runners] = unequal_groups[unequal_cursor++];
    append_group(context, group_key, runners);
    return true;
  }

 private:
  using key_row = std::pmr::vector<value>;
  using runner_list = std::pmr::vector<runner_variant>;
  // Boost's hash and no reserve: they decide the order in which groups come out.
  using group_map = std::pmr::unordered_map<key_row, runner_list, boost_hash>;

  void initialize_map(evaluation_context& context) {
    groups.emplace(&memory);
    unsigned long const base = context.bound_data.size();
    while (child.append_next(context)) {
      add_value(context, group_of_bound_row(context));
      erase_new_bound(context, base);
    }
    cursor = groups->begin();
  }

  // The runners of the group to which the bound row belongs, made for its first row.
  runner_list& group_of_bound_row(evaluation_context& context) {
    key.clear();
    for (operators::operator_ptr const& expression : group_by) {
      key.push_back(expression->eval(context));
    }
    if (std::any_of(key.begin(), key.end(), is_nan)) {
      auto& [group_key, runners] = unequal_groups.emplace_back(key, runner_list(&memory));
      append_runners(runners);
      return runners;
    }
    auto const [group, is_new] = groups->try_emplace(key);
    if (is_new) append_runners(group->second);
    return group->second;
  }

  void append_runners(runner_list& runners) const {
    runners.reserve(aggregates.size());
    for (aggregate_variant const& aggregate : aggregates) runners.push_back(make_runner(aggregate));
  }

  static void append_group(evaluation_context& context, key_row const& group_key,
                           runner_list const& runners) {
    append_values(context, get_result(runners));
    context.bound_data.insert(context.bound_data.end(), group_key.begin(), group_key.end());
  }

  // Keys and runners of one group stand side by side here, and all go at once.
  std::pmr::monotonic_buffer_resource memory;
  std::optional<group_map> groups;
  group_map::iterator cursor;
  // Groups whose key holds a NaN: of one row each, as a NaN equals nothing. They all have one hash:
  // in the map, each would be compared with every other.
  std::vector<std::pair<key_row, runner_list>> unequal_groups;
  unsigned long unequal_cursor = 0;
  std::vector<operators::operator_ptr> const& group_by;
  std::vector<aggregate_variant> const& aggregates;
  row_input child;
  key_row key;  // Scratch: the key of the bound row.
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
