#include "sql/run/update_order.h"

#include <algorithm>
#include <unordered_map>

namespace qd::sql {
namespace {

using key = std::vector<value>;

struct key_hash {
  std::size_t operator()(key const* content) const {
    std::size_t hash = 0;
    for (value const& each : *content) hash = hash * 31 + hash_value(each);
    return hash;
  }
};
struct key_equal {
  bool operator()(key const* left, key const* right) const { return *left == *right; }
};
// Which row has a key now.
using owner_map = std::unordered_map<key const*, std::size_t, key_hash, key_equal>;

bool has_null(key const& content) {
  return std::any_of(content.begin(), content.end(),
                     [](value const& each) { return each.is_null(); });
}

constexpr std::size_t no_row = ~std::size_t{0};

class ordering {
 public:
  ordering(std::size_t row_count, std::span<std::vector<key_change> const> changes)
      : changes_(changes), owners_(changes.size()), states_(row_count, state::unseen) {
    for (std::size_t index = 0; index < changes.size(); ++index) {
      owners_[index].reserve(row_count);
      for (std::size_t row = 0; row < row_count; ++row) {
        key const& before = changes[index][row].before;
        if (!has_null(before)) owners_[index].emplace(&before, row);
      }
    }
  }

  std::vector<update_step> order() {
    for (std::size_t row = 0; row < states_.size(); ++row) {
      if (states_[row] == state::unseen) visit(row);
    }
    // Those that stepped aside: everything else has its place now.
    for (std::size_t const row : aside_) steps_.push_back({row, false});
    return std::move(steps_);
  }

 private:
  enum class state { unseen, waiting, stepped_aside, placed };
  // A row that waits for those in its way; `next_index` is the index to look at next.
  struct frame {
    std::size_t row;
    std::size_t next_index;
  };

  // The row that has the new key of `row` in an index.
  std::size_t in_the_way(std::size_t row, std::size_t index) const {
    key_change const& change = changes_[index][row];
    auto const owner = owners_[index].find(&change.after);
    if (owner == owners_[index].end() || owner->second == row) return no_row;
    return owner->second;
  }

  // Depth first without recursion: chains are as long as the update.
  void visit(std::size_t first) {
    stack_.push_back({first, 0});
    states_[first] = state::waiting;
    while (!stack_.empty()) {
      frame& top = stack_.back();
      if (top.next_index == changes_.size()) {
        place(top.row);
        stack_.pop_back();
        continue;
      }
      std::size_t const blocking = in_the_way(top.row, top.next_index++);
      if (blocking == no_row) continue;
      if (states_[blocking] == state::unseen) {
        states_[blocking] = state::waiting;
        stack_.push_back({blocking, 0});
      } else if (states_[blocking] == state::waiting) {
        // A circle: the row further down the stack makes way.
        steps_.push_back({blocking, true});
        states_[blocking] = state::stepped_aside;
      }
    }
  }

  void place(std::size_t row) {
    if (states_[row] == state::stepped_aside) {
      aside_.push_back(row);
    } else {
      steps_.push_back({row, false});
      states_[row] = state::placed;
    }
  }

  std::span<std::vector<key_change> const> changes_;
  std::vector<owner_map> owners_;
  std::vector<state> states_;
  std::vector<frame> stack_;
  std::vector<std::size_t> aside_;
  std::vector<update_step> steps_;
};

}  // namespace

std::vector<update_step> order_updates(std::size_t row_count,
                                       std::span<std::vector<key_change> const> changes) {
  return ordering(row_count, changes).order();
}

}  // namespace qd::sql
