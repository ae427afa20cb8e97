// Remembers where the groups of an aggregation are.
#pragma once

#include <cstddef>
#include <vector>

#include "sql_executor/group_arena.h"

namespace qd::sql_executor {

// Groups by the hashes of their keys, one for each value of a hash's low bits: one read where a hash
// map has three that wait for each other. It forgets, and tells groups of equal hashes apart no
// better than by their keys, so a map stands behind it. Empty once there are so many groups that
// they would drive each other out of the processor's cache.
class group_memo {
 public:
  // A group whose key had this hash, or null.
  group const* find(std::size_t hash) const {
    if (slots_.empty()) return nullptr;
    slot const& found = slots_[hash & (slots_.size() - 1)];
    return found.hash == hash && found.made.key != nullptr ? &found.made : nullptr;
  }

  void note(std::size_t hash, group const& made) {
    if (!slots_.empty()) slots_[hash & (slots_.size() - 1)] = {hash, made};
  }

  // To be called when a group is made: there are now as many.
  void make_room(std::size_t groups) {
    if (groups > most_groups) {
      slots_ = {};
    } else if (groups * slots_per_group > slots_.size()) {
      slots_.assign(slots_.empty() ? least_slots : 2 * slots_.size(), slot());
    }
  }

 private:
  static constexpr std::size_t least_slots = 64;  // A power of two, as every size.
  static constexpr std::size_t slots_per_group = 4;
  static constexpr std::size_t most_groups = 4096;

  struct slot {
    std::size_t hash = 0;
    group made = {nullptr, nullptr};  // No key: none.
  };
  std::vector<slot> slots_;
};

}  // namespace qd::sql_executor
