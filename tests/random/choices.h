// The choices that a generator makes, drawn at random and remembered, so that what it made can be
// made again, and made smaller: a generator takes 0 for its simplest choice, and shrinking removes
// choices and lowers them as long as the result still shows what is looked for.
#pragma once

#include <cstdint>
#include <functional>
#include <random>
#include <vector>

namespace random_plans {

class choices {
 public:
  explicit choices(std::uint64_t seed) : random_(seed) {}
  // Made of what was chosen before; 0 behind its end.
  explicit choices(std::vector<std::uint32_t> made) : made_(std::move(made)), replays_(true) {}

  // 0 to `count` - 1, evenly.
  std::uint32_t below(std::uint32_t count) {
    if (replays_) {
      std::uint32_t const next = position_ < made_.size() ? made_[position_] : 0;
      ++position_;
      return next % count;
    }
    made_.push_back(static_cast<std::uint32_t>(random_() % count));
    return made_.back();
  }
  // Whether one of `in` times; the simplest choice is no.
  bool rarely(std::uint32_t in) { return below(in) == in - 1; }

  // One of the elements; the first is the simplest.
  template <typename Container>
  auto const& one_of(Container const& all) {
    return all[below(static_cast<std::uint32_t>(all.size()))];
  }

  std::vector<std::uint32_t> const& made() const { return made_; }

 private:
  std::mt19937_64 random_;
  std::vector<std::uint32_t> made_;
  bool replays_ = false;
  std::size_t position_ = 0;
};

// The smallest choices found that still satisfy `still_fails`, as `failing` does, within that many
// attempts.
std::vector<std::uint32_t> shrink(
    std::vector<std::uint32_t> failing, std::size_t attempts,
    std::function<bool(std::vector<std::uint32_t> const&)> const& still_fails);

}  // namespace random_plans
