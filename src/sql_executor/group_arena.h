// Memory for the groups of one aggregation.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "sql_executor/aggregation_ops.h"
#include "sql_executor/value.h"

namespace qd::sql_executor {

// A group: its key, then its runners, side by side, so that a row that joins the group finds both
// in neighbouring cache lines.
//
//     | value * key width | runner_variant * aggregates |
struct group {
  value* key;
  runner_variant* runners;
};

// Makes groups of one shape, which stay where they are and all go at once, in the order in which
// they were made: there may be as many as there are rows, and a walk in any other order would wait
// for the memory of each.
class group_arena {
 public:
  // The aggregates outlive the arena.
  group_arena(std::size_t key_width, std::vector<aggregate_variant> const& aggregates);
  ~group_arena();
  group_arena(group_arena const&) = delete;
  group_arena& operator=(group_arena const&) = delete;

  // A group with a copy of the key, and fresh runners.
  group make(std::span<value const> key);

  std::span<runner_variant> runners_of(group const& made) const {
    return {made.runners, aggregates_.size()};
  }
  std::span<value> key_of(group const& made) const { return {made.key, key_width_}; }

  // Brings a group into the processor's cache.
  void prefetch(group const& made) const {
    auto const* const bytes = reinterpret_cast<std::byte const*>(made.key);
    for (std::size_t offset = 0; offset < group_bytes_; offset += cache_line) {
      __builtin_prefetch(bytes + offset);
    }
  }

 private:
  static constexpr std::size_t cache_line = 64;

  group place_of(std::byte* start) const {
    return {reinterpret_cast<value*>(start),
            reinterpret_cast<runner_variant*>(start + key_width_ * sizeof(value))};
  }

  struct chunk {
    std::unique_ptr<std::byte[]> bytes;
    std::size_t capacity;  // In groups.
    std::size_t size;      // Groups made.
  };

  std::size_t key_width_;
  std::vector<aggregate_variant> const& aggregates_;
  std::size_t group_bytes_;
  std::vector<chunk> chunks_;  // Groups are made in the last one.
};

}  // namespace qd::sql_executor
