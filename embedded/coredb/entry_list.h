// Entries of one index that are collected, put in order and written at once: a tree that is written
// in the order of its keys is written fast, and a new one gets full pages.
#pragma once

#include <cstdint>
#include <vector>

#include "coredb/context.h"
#include "coredb/record_key.h"

namespace qd::coredb {

class index_writer;

// Whoever collects hands over so many entries at most: they stay in memory, each with 32 bytes and
// its key, which is 511 bytes long at most.
inline constexpr std::size_t most_entries_at_once = std::size_t{1} << 20;

// Objects that want one key of a unique index.
struct key_conflict {
  std::uint64_t existing;                // The object that has the key in the index; 0: none.
  std::vector<std::uint64_t> wanted_by;  // Listed objects, ascending ids.
};

class entry_list {
 public:
  explicit entry_list(coredb::index const& index) : index_(index) {}

  coredb::index const& index() const { return index_; }
  std::size_t size() const { return entries_.size(); }
  void clear();
  void add(record_view const& record, store_transaction const& transaction);
  void sort();

  // What keeps the list out of a unique index. The list must be sorted.
  std::vector<key_conflict> find_conflicts(context& context) const;
  // Enters the objects. The list must be sorted.
  void write(context& context) const;

 private:
  struct entry {
    // The key's first 16 bytes as numbers, zeros behind a shorter key: most comparisons end here.
    std::uint64_t first_bytes;
    std::uint64_t second_bytes;
    std::uint64_t oid;
    std::uint32_t offset;  // Of the key in keys_.
    std::uint16_t layout;
    std::uint16_t size : 14;
    std::uint16_t cut : 1;       // Only as much of the key is here as is stored.
    std::uint16_t has_null : 1;  // The key equals no other.
  };

  byte_view key_of(entry const& entry) const { return {keys_.data() + entry.offset, entry.size}; }
  bool same_key(entry const& left, entry const& right) const {
    return compare_keys(left, right) == 0;
  }
  int compare_keys(entry const& left, entry const& right) const;
  void find_conflicts_of_cut(std::span<entry const> equal, context& context,
                             std::vector<key_conflict>& conflicts) const;
  bool is_above_all(entry const& entry, context& context) const;

  coredb::index const& index_;
  std::vector<entry> entries_;
  std::vector<unsigned char> keys_;
  key_buffer scratch_;
};

// Notes of references that are collected and written at once.
class referrer_list {
 public:
  void add(std::uint64_t target, std::uint64_t referrer, unsigned int column) {
    notes_.push_back({target, referrer, column});
  }
  void write(context& context);

 private:
  struct note {
    std::uint64_t target;
    std::uint64_t referrer;
    unsigned int column;
    auto operator<=>(note const&) const = default;
  };
  std::vector<note> notes_;
};

// Throws error(stopped) when the context was asked to stop.
void heed_stop(context& context);

}  // namespace qd::coredb
