#include "sql_executor/aggregator.h"

#include <algorithm>
#include <iterator>
#include <memory_resource>
#include <optional>
#include <unordered_map>
#include <utility>

#include "sql_executor/exec_utils.h"
#include "sql_executor/group_arena.h"
#include "sql_executor/group_memo.h"
#include "sql_executor/row_source.h"

namespace qd::sql_executor {

// One row per group. `groups` is empty until the first call has read the input; afterwards `cursor`
// and `unequal_cursor` stand at the next group to go out, those of the map first.
class aggregator_enumerator final : public row_source {
 public:
  aggregator_enumerator(std::vector<operators::operator_ptr> const& node_group_by,
                        std::vector<aggregate_variant> const& node_aggregates,
                        std::unique_ptr<enumerator> rows)
      : arena(node_group_by.size(), node_aggregates),
        group_by(node_group_by),
        child(std::move(rows)) {}

  bool append_next(evaluation_context& context) override {
    if (!groups) initialize_map(context);
    if (cursor != groups->end()) {
      if (ahead != groups->end()) arena.prefetch((ahead++)->second);
      append_group(context, (cursor++)->second);
      return true;
    }
    if (unequal_cursor == unequal_groups.size()) return false;
    append_group(context, unequal_groups[unequal_cursor++]);
    return true;
  }

 private:
  // A key row with its hash. The map's nodes hold no more than that and where the group is: with as
  // many groups as rows, what the map visits when it grows had better be small.
  struct hashed_key {
    std::size_t hash;
    // The group's own; while the group is looked for, that of the bound row.
    mutable value const* key;
  };
  struct stored_hash {
    std::size_t operator()(hashed_key const& of) const noexcept { return of.hash; }
  };
  struct equal_keys {
    std::size_t width;
    bool operator()(hashed_key const& left, hashed_key const& right) const {
      return left.hash == right.hash && std::equal(left.key, left.key + width, right.key);
    }
  };
  // Boost's hash and no reserve: they decide the order in which groups come out.
  using group_map = std::pmr::unordered_map<hashed_key, group, stored_hash, equal_keys>;
  // Groups are made in one order and go out in another: they are fetched so far ahead.
  static constexpr int prefetch_distance = 8;

  void initialize_map(evaluation_context& context) {
    groups.emplace(0, stored_hash(), equal_keys{group_by.size()}, &memory);
    unsigned long const base = context.bound_data.size();
    while (child.append_next(context)) {
      add_value(context, arena.runners_of(group_of_bound_row(context)));
      erase_new_bound(context, base);
    }
    cursor = groups->begin();
    ahead = cursor;
    for (int i = 0; i < prefetch_distance && ahead != groups->end(); ++i) ++ahead;
  }

  // The group to which the bound row belongs, made for its first row.
  group group_of_bound_row(evaluation_context& context) {
    key = eval_operators(context, group_by, std::move(key));
    if (std::any_of(key.begin(), key.end(), is_nan)) {
      return unequal_groups.emplace_back(arena.make(key));
    }
    std::size_t const hash = boost_hash()(std::span<value const>(key));
    if (group const* const known = memo.find(hash)) {
      if (std::equal(key.begin(), key.end(), known->key)) return *known;
    }
    auto const [found, is_new] = groups->try_emplace(hashed_key{hash, key.data()});
    if (is_new) {
      found->second = arena.make(key);
      found->first.key = found->second.key;
      memo.make_room(groups->size());
    }
    memo.note(hash, found->second);
    return found->second;
  }

  // Each group goes out once: its key may be moved.
  void append_group(evaluation_context& context, group const& made) const {
    for (runner_variant const& runner : arena.runners_of(made)) {
      context.bound_data.push_back(result_of(runner));
    }
    std::span<value> const own_key = arena.key_of(made);
    context.bound_data.insert(context.bound_data.end(), std::move_iterator(own_key.begin()),
                              std::move_iterator(own_key.end()));
  }

  group_arena arena;
  group_memo memo;
  std::pmr::monotonic_buffer_resource memory;  // The map's, which all goes at once.
  std::optional<group_map> groups;
  group_map::iterator cursor;
  group_map::iterator ahead;  // As far before the cursor as there are groups, at most the distance.
  // Groups whose key holds a NaN: of one row each, as a NaN equals nothing. They all have one hash:
  // in the map, each would be compared with every other.
  std::vector<group> unequal_groups;
  unsigned long unequal_cursor = 0;
  std::vector<operators::operator_ptr> const& group_by;
  row_input child;
  std::vector<value> key;  // Scratch: the key of the bound row.
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
    std::vector<value> result = get_result(runners);
    append_row(context, result);
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
