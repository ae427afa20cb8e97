// Looks for contradictions in what a snapshot sees.
#include <algorithm>
#include <map>
#include <set>

#include "coredb/entry_list.h"
#include "coredb/error.h"
#include "coredb/index_writer.h"
#include "coredb/inspection.h"
#include "coredb/layout_counters.h"
#include "coredb/write_state.h"

namespace qd::coredb {
namespace {

std::string block_name(std::uint64_t number) {
  return "block " + std::to_string(number);
}

class fault_finder {
 public:
  fault_finder(context& context, std::size_t most) : context_(context), most_(most) {}

  std::vector<fault> find() {
    walk(keyspace::blocks, [&](byte_view key, byte_view) { check_block(key); });
    walk(keyspace::extents, [&](byte_view key, byte_view) { check_extent(key); });
    walk(keyspace::long_values,
         [&](byte_view key, byte_view value) { check_long_value(key, value); });
    walk(keyspace::referrers, [&](byte_view key, byte_view) { check_note(key); });
    for (std::size_t i = 0; i < entry_space_count; ++i) {
      previous_key_.clear();
      walk(entry_space(i), [&](byte_view key, byte_view value) { check_entry(key, value); });
    }
    if (!any_damaged_) check_counts();
    return std::move(faults_);
  }

 private:
  bool is_full() const { return faults_.size() >= most_; }
  void add(fault&& found) {
    if (!is_full()) faults_.push_back(std::move(found));
  }

  template <class Visit>
  void walk(keyspace space, Visit const& visit) {
    store_cursor cursor(context_.transaction(), space);
    for (bool found = cursor.seek_first(); found && !is_full(); found = cursor.next()) {
      heed_stop(context_);
      visit(cursor.key(), cursor.value());
    }
  }

  // Whether an object may be there, but in a block that is damaged. The block is reported where it
  // is checked, and nothing else because of it.
  bool is_lost(std::uint64_t oid) { return any_damaged_ && !read_block(block_of(oid)); }

  // The record of an object; empty when there is none.
  std::optional<record_view> find_record(std::uint64_t oid) {
    unsigned char const* const image = read_block(block_of(oid));
    if (!image || !block_has(image, record_of(oid))) return std::nullopt;
    return record_view{image, context_.schema().find_layout(block_layout(image)), oid};
  }

  // Null when it is damaged.
  unsigned char const* read_block(std::uint64_t number) {
    try {
      return context_.block(number);
    } catch (error const& met) {
      if (met.kind() != error_kind::storage) throw;
      return nullptr;
    }
  }

  void check_block(byte_view key) {
    if (key.size() != 8) return add({.what = "the key of a block is damaged"});
    std::uint64_t const number = get_big_endian(key.data());
    unsigned char const* const image = read_block(number);
    if (!image) {
      any_damaged_ = true;
      return add({.what = block_name(number) + " is damaged"});
    }
    layout const& layout = *context_.schema().find_layout(block_layout(image));
    std::uint16_t const id = layout.definition.id;
    if (!context_.transaction().get(keyspace::extents, extent_key(id, number).view())) {
      add({.layout = id, .what = block_name(number) + " is not listed in the class's extent"});
    }
    for (unsigned int i = 0; i < records_per_block; ++i) {
      if (!block_has(image, i)) continue;
      ++counts_[id];
      record_view const record{image, &layout, oid_of(number, i)};
      try {
        check_record(record);
      } catch (error const& met) {
        if (met.kind() != error_kind::storage) throw;
        add({.layout = id, .oid = record.oid, .what = met.what()});
      }
    }
  }

  // Every value can be read, and every index and note that there should be for the object is there.
  void check_record(record_view const& record) {
    layout const& layout = *record.layout;
    std::uint16_t const id = layout.definition.id;
    for (unsigned int column = 0; column < layout.kinds.size(); ++column) {
      read_field(record, column, context_.transaction());
    }
    for (index const* const index : layout.indexes) {
      key_buffer key;
      append_key(record, *index, key);
      stored_entry const wanted(*index, key.bytes(), record.oid, id);
      std::optional<byte_view> const found = context_.transaction().get(index->space, wanted.key());
      if (found &&
          std::equal(found->begin(), found->end(), wanted.value().begin(), wanted.value().end())) {
        continue;
      }
      add({index->definition.id, id, record.oid,
           found ? "the index has another entry for the object" : "the index lacks the object"});
    }
    for (std::uint16_t const column : layout.indexed_references) {
      field const value = read_field(record, column, context_.transaction());
      if (value.null) continue;
      std::string const name = "column " + std::to_string(column);
      if (!find_record(value.word) && !is_lost(value.word)) {
        add({0, id, record.oid,
             name + " refers to " + object_name(value.word) + ", which is gone"});
      }
      referrer_key const note(value.word, record.oid, column);
      if (!context_.transaction().get(keyspace::referrers, note.view())) {
        add({0, id, record.oid, "the note of its reference in " + name + " is missing"});
      }
    }
  }

  // Returns whether there is a NULL in the key.
  bool append_key(record_view const& record, index const& index, key_buffer& key) {
    bool has_null = false;
    append_storage_key(key, index, [&](unsigned int column) {
      field const value = read_field(record, column, context_.transaction());
      has_null = has_null || value.null;
      return value;
    });
    return has_null;
  }

  void check_extent(byte_view key) {
    auto const layout = static_cast<std::uint16_t>(key.size() == 10 ? key[0] << 8 | key[1] : 0);
    std::uint64_t const number = extent_key::block_of(key, layout);
    if (number == 0) return add({.what = "the key of an extent is damaged"});
    unsigned char const* const image = read_block(number);
    if (image && (image == absent_block || block_layout(image) != layout)) {
      add({.layout = layout,
           .what =
               "the extent lists " + block_name(number) + ", which holds no objects of the class"});
    }
  }

  void check_long_value(byte_view key, byte_view value) {
    if (key.size() != 16) return add({.what = "the key of a long value is damaged"});
    std::uint64_t const oid = get_big_endian(key.data());
    std::uint64_t const column = get_big_endian(key.data() + 8);
    std::optional<record_view> const record = find_record(oid);
    bool wanted = false;
    if (record && column >= system_column_count && column < record->layout->kinds.size() &&
        has_bytes(record->layout->kinds[column])) {
      auto const stored = static_cast<unsigned int>(column - system_column_count);
      heap_place const place = place_of(record->slot(stored));
      wanted = !record->is_null(stored) && place.is_long() && place.size == value.size();
    }
    if (!wanted && !is_lost(oid)) add({.oid = oid, .what = "a long value that no column holds"});
  }

  void check_note(byte_view bytes) {
    if (bytes.size() != sizeof(referrer_key)) {
      return add({.what = "a note of a reference is damaged"});
    }
    referrer_key const key(bytes);
    std::optional<record_view> const record = find_record(key.referrer());
    bool wanted = false;
    if (record) {
      std::vector<std::uint16_t> const& noted = record->layout->indexed_references;
      if (std::find(noted.begin(), noted.end(), key.column()) != noted.end()) {
        field const value = read_field(*record, key.column(), context_.transaction());
        wanted = !value.null && value.word == key.target();
      }
    }
    if (!wanted && !is_lost(key.referrer())) {
      add({.oid = key.referrer(),
           .what = "a note says that column " + std::to_string(key.column()) + " refers to " +
                   object_name(key.target()) + ", but it does not"});
    }
  }

  // The index that an entry's key begins with; null when there is none.
  index const* index_of(byte_view key) {
    if (last_index_ && is_entry_of(*last_index_, key)) return last_index_;
    for (std::unique_ptr<index> const& each : context_.schema().indexes()) {
      if (!is_entry_of(*each, key)) continue;
      last_index_ = each.get();
      return last_index_;
    }
    return nullptr;
  }

  void check_entry(byte_view key, byte_view value) {
    index const* const index = index_of(key);
    if (!index) return add({.what = "an index entry of no index"});
    try {
      check_entry(*index, read_entry(*index, key, value));
    } catch (error const& met) {
      if (met.kind() != error_kind::storage) throw;
      add({.index_id = index->definition.id, .what = met.what()});
    }
  }

  void check_entry(index const& index, entry_view const& entry) {
    fault found{index.definition.id, entry.layout, entry.oid, {}};
    std::optional<record_view> const record = find_record(entry.oid);
    layout const& covered = *context_.schema().find_layout(index.definition.layout);
    if (is_lost(entry.oid)) return;
    if (!record) {
      found.what = "the index holds an object that does not exist";
      return add(std::move(found));
    }
    if (record->layout->definition.id != entry.layout || !record->layout->is_a(covered)) {
      found.what = "the index holds an object of another class";
      return add(std::move(found));
    }
    key_buffer whole;
    bool const has_null = append_key(*record, index, whole);
    byte_view const kept = whole.bytes().first(std::min(whole.size(), longest_entry_key(index)));
    if (compare_bytes(kept, entry.key) != 0 || entry.cut != (kept.size() < whole.size())) {
      found.what = "the index holds the object under a key that is not its own";
      return add(std::move(found));
    }
    if (index.definition.unique && !has_null && is_repeated(index, entry, whole.bytes())) {
      found.what = "the unique index holds the object's key for another object, too";
      add(std::move(found));
    }
  }

  // Whether an entry before this one has its key. Keys that were cut are compared whole, among
  // those that were cut alike.
  bool is_repeated(index const& index, entry_view const& entry, byte_view whole) {
    std::string const bytes(reinterpret_cast<char const*>(whole.data()), whole.size());
    std::string const stored =
        std::to_string(index.definition.id) + ':' + std::string(bytes, 0, entry.key.size());
    if (stored != previous_key_) {
      previous_key_ = stored;
      whole_keys_.clear();
    }
    return !whole_keys_.insert(bytes).second;
  }

  void check_counts() {
    for (std::unique_ptr<layout> const& each : context_.schema().layouts()) {
      std::uint16_t const id = each->definition.id;
      std::uint64_t const stored = read_layout_counters(context_.transaction(), id).objects;
      if (stored == counts_[id]) continue;
      add({.layout = id,
           .what = "the class counts " + std::to_string(stored) + " objects and has " +
                   std::to_string(counts_[id])});
    }
  }

  context& context_;
  std::size_t most_;
  std::vector<fault> faults_;
  bool any_damaged_ = false;
  std::map<std::uint16_t, std::uint64_t> counts_;  // Objects found, by layout.
  index const* last_index_ = nullptr;
  // The index and stored key of the last entry of a unique index, and the whole keys seen with it.
  std::string previous_key_;
  std::set<std::string> whole_keys_;
};

}  // namespace

std::vector<fault> find_faults(unsigned long handle, std::size_t most) {
  context& snapshot = usable_context(handle);
  if (snapshot.writer()) {
    throw error(error_kind::bad_transaction, "only a snapshot can be looked over for faults");
  }
  return fault_finder(snapshot, most).find();
}

}  // namespace qd::coredb
