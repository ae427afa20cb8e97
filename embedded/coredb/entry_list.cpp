#include "coredb/entry_list.h"

#include <algorithm>
#include <map>
#include <string>

#include "coredb/index_writer.h"

namespace qd::coredb {
namespace {

// Entries are written so many between two looks for a stop.
constexpr std::size_t stop_interval = 4096;

// Eight bytes of a key from `position` on, as a number in their order; zeros behind its end.
std::uint64_t bytes_at(byte_view key, std::size_t position) {
  unsigned char bytes[8] = {};
  if (position < key.size()) {
    std::memcpy(bytes, key.data() + position, std::min(key.size() - position, sizeof bytes));
  }
  return get_big_endian(bytes);
}

}  // namespace

void heed_stop(context& context) {
  if (context.place().stopped.load(std::memory_order_relaxed)) {
    throw error(error_kind::stopped, "the context was asked to stop");
  }
}

void entry_list::clear() {
  entries_.clear();
  keys_.clear();
}

void entry_list::add(record_view const& record, store_transaction const& transaction) {
  bool has_null = false;
  scratch_.clear();
  append_storage_key(scratch_, index_, [&](unsigned int column) {
    field const value = read_field(record, column, transaction);
    has_null = has_null || value.null;
    return value;
  });
  bool const cut = scratch_.size() > longest_entry_key(index_);
  scratch_.truncate(longest_entry_key(index_));
  byte_view const key = scratch_.bytes();
  entries_.push_back({bytes_at(key, 0), bytes_at(key, 8), record.oid,
                      static_cast<std::uint32_t>(keys_.size()), record.layout->definition.id,
                      static_cast<std::uint16_t>(key.size() & 0x3FFF), cut, has_null});
  keys_.insert(keys_.end(), key.begin(), key.end());
}

int entry_list::compare_keys(entry const& left, entry const& right) const {
  if (left.first_bytes != right.first_bytes) return left.first_bytes < right.first_bytes ? -1 : 1;
  if (left.second_bytes != right.second_bytes) {
    return left.second_bytes < right.second_bytes ? -1 : 1;
  }
  return compare_bytes(key_of(left), key_of(right));
}

void entry_list::sort() {
  auto const before = [&](entry const& left, entry const& right) {
    int const order = compare_keys(left, right);
    return order != 0 ? order < 0 : left.oid < right.oid;
  };
  if (std::is_sorted(entries_.begin(), entries_.end(), before)) return;
  std::sort(entries_.begin(), entries_.end(), before);
}

// Whether no entry of the stored index is at or above this one's key.
bool entry_list::is_above_all(entry const& entry, context& context) const {
  key_buffer start;
  start.append(index_.prefix.data(), index_.prefix.size());
  byte_view const key = key_of(entry);
  start.append(key.data(), key.size());
  store_cursor cursor(context.transaction(), index_.space);
  return !cursor.seek(start.bytes()) || !is_entry_of(index_, cursor.key());
}

std::vector<key_conflict> entry_list::find_conflicts(context& context) const {
  std::vector<key_conflict> conflicts;
  if (entries_.empty()) return conflicts;
  bool const only_listed = is_above_all(entries_.front(), context);
  index_writer stored(context);
  for (auto first = entries_.begin(); first != entries_.end();) {
    auto const end = std::find_if(first + 1, entries_.end(),
                                  [&](entry const& each) { return !same_key(*first, each); });
    std::span<entry const> const equal(first, end);
    first = end;
    if (equal.front().has_null || (only_listed && equal.size() == 1)) continue;
    if (equal.front().cut) {
      find_conflicts_of_cut(equal, context, conflicts);
      continue;
    }
    std::uint64_t const existing =
        only_listed ? 0 : stored.find_equal_key(index_, key_of(equal.front()));
    if (existing == 0 && equal.size() == 1) continue;
    key_conflict& conflict = conflicts.emplace_back();
    conflict.existing = existing;
    for (entry const& each : equal) conflict.wanted_by.push_back(each.oid);
  }
  return conflicts;
}

// Keys that are equal as far as they are stored are told apart by the records.
void entry_list::find_conflicts_of_cut(std::span<entry const> equal, context& context,
                                       std::vector<key_conflict>& conflicts) const {
  std::map<std::string, std::vector<std::uint64_t>> by_whole_key;
  for (entry const& each : equal) {
    key_buffer whole;
    append_record_key(whole, index_, {key_of(each), each.oid, each.layout, true}, context);
    by_whole_key[{reinterpret_cast<char const*>(whole.data()), whole.size()}].push_back(each.oid);
  }
  index_writer stored(context);
  for (auto& [key, objects] : by_whole_key) {
    auto const* const bytes = reinterpret_cast<unsigned char const*>(key.data());
    std::uint64_t const existing = stored.find_equal_key(index_, {bytes, key.size()});
    if (existing == 0 && objects.size() == 1) continue;
    conflicts.push_back({existing, std::move(objects)});
  }
}

void entry_list::write(context& context) const {
  store_cursor cursor(context.transaction(), index_.space);
  // Once one can be appended, all that follow it can.
  bool appending = true;
  std::size_t written = 0;
  for (entry const& each : entries_) {
    if (++written % stop_interval == 0) heed_stop(context);
    stored_entry const stored(index_, key_of(each), each.cut, each.oid, each.layout);
    if (appending) appending = cursor.append(stored.key(), stored.value());
    if (!appending) cursor.put(stored.key(), stored.value());
  }
}

void referrer_list::write(context& context) {
  std::sort(notes_.begin(), notes_.end());
  store_cursor cursor(context.transaction(), keyspace::referrers);
  for (note const& each : notes_) {
    cursor.put(referrer_key(each.target, each.referrer, each.column).view(), {});
  }
  notes_.clear();
}

}  // namespace qd::coredb
