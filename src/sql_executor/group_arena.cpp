#include "sql_executor/group_arena.h"

#include <algorithm>
#include <new>

namespace qd::sql_executor {

namespace {

constexpr std::size_t least_chunk = 8;
constexpr std::size_t greatest_chunk = 4096;

static_assert(alignof(value) <= alignof(std::max_align_t) &&
              sizeof(value) % alignof(runner_variant) == 0 &&
              sizeof(runner_variant) % alignof(value) == 0);

}  // namespace

group_arena::group_arena(std::size_t key_width, std::vector<aggregate_variant> const& aggregates)
    : key_width_(key_width),
      aggregates_(aggregates),
      group_bytes_(key_width * sizeof(value) + aggregates.size() * sizeof(runner_variant)) {}

group_arena::~group_arena() {
  for (chunk const& each : chunks_) {
    for (std::size_t i = 0; i < each.size; ++i) {
      group const made = place_of(each.bytes.get() + i * group_bytes_);
      std::destroy_n(made.runners, aggregates_.size());
      std::destroy_n(made.key, key_width_);
    }
  }
}

group group_arena::make(std::span<value const> key) {
  if (chunks_.empty() || chunks_.back().size == chunks_.back().capacity) {
    std::size_t const capacity =
        chunks_.empty() ? least_chunk : std::min(2 * chunks_.back().capacity, greatest_chunk);
    // Not cleared: a group is constructed whole before it is read.
    chunks_.push_back(
        {std::unique_ptr<std::byte[]>(new std::byte[capacity * group_bytes_]), capacity, 0});
  }
  chunk& last = chunks_.back();
  group const made = place_of(last.bytes.get() + last.size * group_bytes_);
  std::uninitialized_copy(key.begin(), key.end(), made.key);
  std::size_t ready = 0;
  try {
    for (; ready < aggregates_.size(); ++ready) {
      new (made.runners + ready) runner_variant(make_runner(aggregates_[ready]));
    }
  } catch (...) {
    std::destroy_n(made.runners, ready);
    std::destroy_n(made.key, key_width_);
    throw;
  }
  ++last.size;
  return made;
}

}  // namespace qd::sql_executor
