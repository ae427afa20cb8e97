#include "coredb/block_table.h"

namespace qd::coredb {

void block_table::remember(std::uint64_t number, unsigned char const* image) {
  std::uint64_t const index = number / blocks_per_page;
  if (index >= most_pages) return;
  if (index >= pages_.size()) pages_.resize(index + 1);
  if (!pages_[index]) pages_[index] = std::make_unique<page>();
  (*pages_[index])[number % blocks_per_page] = image;
}

void block_table::begin(std::uint64_t snapshot_id) {
  if (snapshot_id == snapshot_id_) return;
  for (std::unique_ptr<page>& each : pages_) {
    if (each) each->fill(nullptr);
  }
  snapshot_id_ = snapshot_id;
}

}  // namespace qd::coredb
