#include "random/choices.h"

namespace random_plans {

std::vector<std::uint32_t> shrink(
    std::vector<std::uint32_t> failing, std::size_t attempts,
    std::function<bool(std::vector<std::uint32_t> const&)> const& still_fails) {
  auto const is_better = [&](std::vector<std::uint32_t> const& candidate) {
    if (attempts == 0) return false;
    --attempts;
    if (!still_fails(candidate)) return false;
    failing = candidate;
    return true;
  };
  bool improved = true;
  while (improved && attempts > 0) {
    improved = false;
    // Runs of choices are removed, long ones first, then single choices lowered.
    for (std::size_t length = 32; length > 0; length /= 2) {
      for (std::size_t begin = 0; begin + length <= failing.size();) {
        std::vector<std::uint32_t> candidate = failing;
        auto const from = candidate.begin() + static_cast<std::ptrdiff_t>(begin);
        candidate.erase(from, from + static_cast<std::ptrdiff_t>(length));
        if (is_better(candidate)) {
          improved = true;
        } else {
          begin += length;
        }
      }
    }
    for (std::size_t i = 0; i < failing.size(); ++i) {
      for (std::uint32_t const lower : {0u, failing[i] / 2, failing[i] - 1}) {
        if (failing[i] == 0 || lower >= failing[i]) continue;
        std::vector<std::uint32_t> candidate = failing;
        candidate[i] = lower;
        if (is_better(candidate)) {
          improved = true;
          break;
        }
      }
    }
  }
  return failing;
}

}  // namespace random_plans
