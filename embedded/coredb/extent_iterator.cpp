#include <algorithm>
#include <bit>

#include "coredb/iterator.h"
#include "coredb/write_state.h"

namespace qd::coredb {
namespace {

constexpr std::uint64_t greatest_oid = ~std::uint64_t{0};

// The least object id whose key lies at or above a bound; empty when there is none.
std::optional<std::uint64_t> least_oid_at(key_bound const& bound) {
  return bound.beyond_all ? std::nullopt : least_unsigned_at(bound.bytes.bytes());
}

// The records of a block whose object ids lie in [first, last].
std::uint64_t records_between(std::uint64_t block, std::uint64_t first, std::uint64_t last) {
  if (block_of(first) > block || block_of(last) < block) return 0;
  std::uint64_t records = ~std::uint64_t{0};
  if (block_of(first) == block) records &= ~std::uint64_t{0} << record_of(first);
  if (block_of(last) == block) {
    records &= ~std::uint64_t{0} >> (records_per_block - 1 - record_of(last));
  }
  return records;
}

// Brings a block into the processor's cache: the strings of its objects lie apart from their other
// columns, and a scan that reads few of them would wait for each.
void prefetch_block(unsigned char const* image) {
  constexpr std::uint32_t cache_line = 64;
  std::uint32_t const size = block_size(image);
  for (std::uint32_t offset = 0; offset < size; offset += cache_line) {
    __builtin_prefetch(image + offset);
  }
}

}  // namespace

void extent_iterator::start(index const& index, bool descending) {
  descending_ = descending;
  block_ = 0;
  std::optional<std::uint64_t> const low = least_oid_at(range_.low);
  std::optional<std::uint64_t> const end = least_oid_at(range_.high);
  first_ = low.value_or(0);
  last_ = end ? *end - 1 : greatest_oid;
  // Id 0 is no object, so a range that ends at it is empty.
  ended_ = !low || (end && *end <= first_);
  heads_.clear();
  for (std::uint16_t const layout : index.covered) heads_.push_back({layout, 0});
  cursor_.prepare(context_, keyspace::extents);
  if (!ended_) load_heads(block_of(descending_ ? last_ : first_));
}

void extent_iterator::next(VELA_RECORD& record) {
  while (!ended_) {
    if (block_ != 0 && emit_from_block(record)) return;
    block_ = 0;
    ended_ = !find_block();
  }
  record = {};
}

bool extent_iterator::emit_from_block(VELA_RECORD& record) {
  // In the write transaction a change may replace the block, and objects may come and go in it.
  if (context_.writer()) image_ = context_.block(block_);
  std::uint64_t const left = block_live(image_) & unread_;
  if (left == 0) return false;
  unsigned int const number =
      static_cast<unsigned int>(descending_ ? 63 - std::countl_zero(left) : std::countr_zero(left));
  record = {oid_of(block_, number), block_, block_layout(image_)};
  std::uint64_t const found = std::uint64_t{1} << number;
  if (descending_) {
    unread_ &= found - 1;
    last_ = record.oid - 1;
  } else {
    unread_ &= ~(found | (found - 1));
    first_ = record.oid + 1;
  }
  return true;
}

// Goes to the next block of any of the layouts.
bool extent_iterator::find_block() {
  if (first_ > last_) return false;
  if (write_state const* const writer = context_.writer();
      writer && writer->changes != changes_seen_) {
    load_heads(block_of(descending_ ? last_ : first_));
  }
  head* best = nullptr;
  for (head& each : heads_) {
    if (each.number == 0) continue;
    if (!best || (descending_ ? each.number > best->number : each.number < best->number)) {
      best = &each;
    }
  }
  if (!best) return false;
  block_ = best->number;
  image_ = context_.block(block_);
  prefetch_block(image_);
  unread_ = records_between(block_, first_, last_);
  load_head(*best, descending_ ? block_ - 1 : block_ + 1);
  return descending_ ? block_ >= block_of(first_) : block_ <= block_of(last_);
}

void extent_iterator::load_heads(std::uint64_t from) {
  if (context_.writer()) changes_seen_ = context_.writer()->changes;
  for (head& each : heads_) load_head(each, from);
}

// Finds the layout's first block at or after `from` in the direction of the walk.
void extent_iterator::load_head(head& head, std::uint64_t from) {
  extent_key const wanted(head.layout, from);
  bool found = cursor_->seek(wanted.view());
  if (descending_ && !(found && compare_bytes(cursor_->key(), wanted.view()) == 0)) {
    found = found ? cursor_->previous() : cursor_->seek_last();
  }
  head.number = found ? extent_key::block_of(cursor_->key(), head.layout) : 0;
}

}  // namespace qd::coredb
