// The lines that a COPY refuses.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sql/connection.h"

namespace qd::sql {

// Keeps all of them, or the first of them by their lines.
class refusals {
 public:
  static constexpr std::size_t most_reported = 20;
  static constexpr std::size_t most_value_bytes = 80;

  // `all`: of COPY ... ON_ERROR skip.
  explicit refusals(bool all) : all_(all) {}

  void add(std::uint64_t line, std::string column, std::string_view shown, std::string reason);
  std::uint64_t count() const { return count_; }
  // In the order of their lines.
  std::vector<refused_line> take();

 private:
  bool all_;
  std::uint64_t count_ = 0;
  std::vector<refused_line> lines_;
};

}  // namespace qd::sql
