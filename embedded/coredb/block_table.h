// Where the blocks of one snapshot are in memory, filled as they are read. A table stays good for
// later snapshots as long as nothing is committed.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace qd::coredb {

class block_table {
 public:
  // Null when the block was not read yet.
  unsigned char const* find(std::uint64_t number) const {
    std::uint64_t const page = number / blocks_per_page;
    if (page >= pages_.size() || !pages_[page]) [[unlikely]] {
      return nullptr;
    }
    return (*pages_[page])[number % blocks_per_page];
  }
  // Only for blocks that are stored: a table is as large as the greatest number requires. Blocks
  // with numbers that no table could bear are not kept.
  void remember(std::uint64_t number, unsigned char const* image);

  // Forgets everything unless it belongs to this very snapshot.
  void begin(std::uint64_t snapshot_id);
  std::uint64_t snapshot_id() const { return snapshot_id_; }

 private:
  static constexpr std::uint64_t blocks_per_page = 512;
  // Room for the blocks of 2^37 object ids, in at most 32 MiB.
  static constexpr std::uint64_t most_pages = std::uint64_t{1} << 22;
  using page = std::array<unsigned char const*, blocks_per_page>;

  std::vector<std::unique_ptr<page>> pages_;
  std::uint64_t snapshot_id_ = 0;
};

}  // namespace qd::coredb
