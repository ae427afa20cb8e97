#include "coredb/block.h"

#include <algorithm>
#include <bit>
#include <string>

#include "coredb/error.h"

namespace qd::coredb {
namespace {

enum : std::size_t {
  number_at = 0,
  live_at = 8,
  layout_at = 16,
  capacity_at = 18,
  size_at = 20,
  garbage_at = 24,
};
// Less garbage than this is not worth moving a heap for.
constexpr std::uint32_t least_garbage = 1024;

std::size_t heap_start(unsigned char const* image, layout const& layout) {
  return block_header_bytes + std::size_t{block_capacity(image)} * layout.record_bytes;
}

}  // namespace

unsigned char const absent_block[block_header_bytes] = {};

bool is_block(std::span<unsigned char const> image, std::uint64_t number, schema const& schema) {
  if (image.size() < block_header_bytes) return false;
  if (get<std::uint64_t>(image.data() + number_at) != number) return false;
  if (block_size(image.data()) != image.size()) return false;
  layout const* const layout = schema.find_layout(block_layout(image.data()));
  if (!layout) return false;
  std::uint32_t const capacity = block_capacity(image.data());
  if (capacity > records_per_block) return false;
  if (std::bit_width(block_live(image.data())) > capacity) return false;
  return heap_start(image.data(), *layout) <= image.size();
}

std::span<unsigned char const> heap_bytes(record_view const& record, heap_place place,
                                          bool& damaged) {
  std::size_t const start = heap_start(record.image, *record.layout) + place.offset;
  damaged = start + place.size > block_size(record.image);
  if (damaged) return {};
  return {record.image + start, place.size};
}

block_editor::block_editor(std::uint64_t number, layout const& layout)
    : image_(block_header_bytes + std::size_t{records_per_block} * layout.record_bytes) {
  put(image_.data() + number_at, number);
  put(image_.data() + layout_at, layout.definition.id);
  put(image_.data() + capacity_at, static_cast<std::uint16_t>(records_per_block));
  set_size();
}

block_editor::block_editor(unsigned char const* image, layout const& layout) {
  std::size_t const old_heap = heap_start(image, layout);
  std::size_t const new_heap =
      block_header_bytes + std::size_t{records_per_block} * layout.record_bytes;
  std::size_t const heap_size = block_size(image) - old_heap;
  image_.resize(new_heap + heap_size);
  std::copy_n(image, old_heap, image_.data());
  std::copy_n(image + old_heap, heap_size, image_.data() + new_heap);
  put(image_.data() + capacity_at, static_cast<std::uint16_t>(records_per_block));
  set_size();
}

void block_editor::set_size() {
  put(image_.data() + size_at, static_cast<std::uint32_t>(image_.size()));
}

unsigned char* block_editor::record(unsigned int record, layout const& layout) {
  return image_.data() + block_header_bytes + std::size_t{record} * layout.record_bytes;
}

void block_editor::add(unsigned int record, layout const& layout) {
  unsigned char* const start = this->record(record, layout);
  std::fill_n(start, std::size_t{layout.null_words} * 8, static_cast<unsigned char>(0xFF));
  put(image_.data() + live_at, block_live(image()) | std::uint64_t{1} << record);
}

void block_editor::remove(unsigned int record) {
  put(image_.data() + live_at, block_live(image()) & ~(std::uint64_t{1} << record));
}

// Counts the heap bytes of a string or binary as garbage.
void block_editor::release(unsigned int record, unsigned int column, layout const& layout) {
  unsigned char* const start = this->record(record, layout);
  if (get<std::uint64_t>(start + column / 64 * 8) >> column % 64 & 1) return;
  heap_place const place =
      place_of(get<std::uint64_t>(start + (layout.null_words + column) * std::size_t{8}));
  if (place.is_long()) return;
  put(image_.data() + garbage_at, get<std::uint32_t>(image_.data() + garbage_at) + place.size);
}

void block_editor::set(unsigned int record, unsigned int column, field const& value,
                       layout const& layout) {
  bool const heap = has_bytes(layout.kinds[column + system_column_count]);
  if (heap) release(record, column, layout);
  std::uint64_t word = value.word;
  if (heap && !value.null) {
    heap_place place{long_value_offset, static_cast<std::uint32_t>(value.bytes.size())};
    if (value.bytes.size() <= longest_block_value) {
      place.offset = static_cast<std::uint32_t>(image_.size() - heap_start(image(), layout));
      image_.insert(image_.end(), value.bytes.begin(), value.bytes.end());
      set_size();
    }
    word = slot_of(place);
  }
  unsigned char* const start = this->record(record, layout);
  unsigned char* const bitmap = start + column / 64 * 8;
  std::uint64_t const bit = std::uint64_t{1} << column % 64;
  std::uint64_t const nulls = get<std::uint64_t>(bitmap);
  put(bitmap, value.null ? nulls | bit : nulls & ~bit);
  put(start + (layout.null_words + column) * std::size_t{8}, value.null ? 0 : word);
  if (heap) compact(layout);
}

// Moves the heap together once half of it is garbage.
void block_editor::compact(layout const& layout) {
  std::uint32_t const garbage = get<std::uint32_t>(image_.data() + garbage_at);
  std::size_t const heap = heap_start(image(), layout);
  if (garbage < least_garbage || garbage < (image_.size() - heap) / 2) return;
  std::vector<unsigned char> packed(image_.begin(),
                                    image_.begin() + static_cast<std::ptrdiff_t>(heap));
  packed.reserve(image_.size() - garbage);
  std::uint64_t const live = block_live(image());
  for (unsigned int i = 0; i < records_per_block; ++i) {
    if (!(live >> i & 1)) continue;
    record_view const view{image(), &layout, oid_of(get<std::uint64_t>(image()), i)};
    for (std::size_t j = system_column_count; j < layout.kinds.size(); ++j) {
      auto const column = static_cast<unsigned int>(j - system_column_count);
      if (!has_bytes(layout.kinds[j]) || view.is_null(column)) continue;
      heap_place place = place_of(view.slot(column));
      if (place.is_long()) continue;
      bool damaged = false;
      std::span<unsigned char const> const bytes = heap_bytes(view, place, damaged);
      if (damaged) {
        throw error(error_kind::storage, "object " + std::to_string(view.oid) + " is damaged");
      }
      place.offset = static_cast<std::uint32_t>(packed.size() - heap);
      packed.insert(packed.end(), bytes.begin(), bytes.end());
      std::size_t const slot = static_cast<std::size_t>(view.record() - image()) +
                               (layout.null_words + column) * std::size_t{8};
      put(packed.data() + slot, slot_of(place));
    }
  }
  image_ = std::move(packed);
  put(image_.data() + garbage_at, std::uint32_t{0});
  set_size();
}

std::size_t block_editor::stored_size(layout const& layout) const {
  auto const used = static_cast<std::size_t>(std::bit_width(block_live(image())));
  return image_.size() - (records_per_block - used) * layout.record_bytes;
}

void block_editor::write_stored(unsigned char* out, layout const& layout) const {
  auto const used = static_cast<std::size_t>(std::bit_width(block_live(image())));
  std::size_t const size = stored_size(layout);
  std::size_t const front = block_header_bytes + used * layout.record_bytes;
  std::size_t const heap = heap_start(image(), layout);
  std::copy_n(image(), front, out);
  std::copy_n(image() + heap, image_.size() - heap, out + front);
  put(out + capacity_at, static_cast<std::uint16_t>(used));
  put(out + size_at, static_cast<std::uint32_t>(size));
}

}  // namespace qd::coredb
