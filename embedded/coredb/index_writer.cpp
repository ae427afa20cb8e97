#include "coredb/index_writer.h"

#include <algorithm>

#include "coredb/error.h"
#include "coredb/write_state.h"

namespace qd::coredb {
namespace {

// A note, in keyspace::entries, that a column of an object refers to another.
struct referrer_key {
  // Less than every index prefix.
  static constexpr unsigned char mark = 0;
  static constexpr std::size_t target_size = 9;
  static constexpr std::size_t column_at = 17;
  referrer_key(std::uint64_t target, std::uint64_t referrer, unsigned int column) {
    bytes[0] = mark;
    put_big_endian(bytes + 1, target);
    put_big_endian(bytes + target_size, referrer);
    put_big_endian(bytes + column_at, column);
  }
  byte_view view() const { return bytes; }
  byte_view target_part() const { return view().first(target_size); }
  unsigned char bytes[column_at + 8];
};

}  // namespace

void index_writer::put(index const& index, key_buffer const& key, std::uint64_t oid,
                       std::uint16_t layout) {
  stored_entry const entry(index, key.bytes(), oid, layout);
  context_.transaction().put(keyspace::entries, entry.key(), entry.value());
}

void index_writer::erase(index const& index, key_buffer const& key, std::uint64_t oid,
                         std::uint16_t layout) {
  stored_entry const entry(index, key.bytes(), oid, layout);
  if (!context_.transaction().erase(keyspace::entries, entry.key())) {
    throw error(error_kind::storage, "index " + std::to_string(index.definition.id) +
                                         " is damaged: it lacks " + object_name(oid));
  }
}

void index_writer::put_referrer(std::uint64_t oid, unsigned int column, field const& value) {
  if (value.null) return;
  referrer_key const key(value.word, oid, column);
  context_.transaction().put(keyspace::entries, key.view(), {});
}

void index_writer::erase_referrer(std::uint64_t oid, unsigned int column, field const& value) {
  if (value.null) return;
  referrer_key const key(value.word, oid, column);
  context_.transaction().erase(keyspace::entries, key.view());
}

void index_writer::refuse_equal_key(index const& index, key_buffer const& key, std::uint64_t oid) {
  std::optional<store_cursor>& kept_cursor = context_.writer()->unique_cursor;
  if (!kept_cursor) kept_cursor.emplace(context_.transaction(), keyspace::entries);
  store_cursor& cursor = *kept_cursor;
  byte_view const kept = key.bytes().first(std::min(key.size(), longest_entry_key(index)));
  bool const cut = kept.size() < key.size();
  key_buffer wanted;
  wanted.append(index.prefix.data(), index.prefix.size());
  wanted.append(kept.data(), kept.size());
  for (bool found = cursor.seek(wanted.bytes()); found; found = cursor.next()) {
    if (!is_entry_of(index, cursor.key())) return;
    entry_view const entry = read_entry(index, cursor.key(), cursor.value());
    if (compare_bytes(entry.key, kept) != 0) return;
    if (cut) {
      key_buffer whole;
      append_record_key(whole, index, entry, context_);
      if (compare_bytes(whole.bytes(), key.bytes()) != 0) continue;
    }
    throw unique_violation("unique index " + std::to_string(index.definition.id) +
                               " has the key of " + object_name(oid) + " already, for " +
                               object_name(entry.oid),
                           index.definition.id, entry.oid);
  }
}

void index_writer::erase_all(index const& index) {
  store_cursor cursor(context_.transaction(), keyspace::entries);
  std::vector<unsigned char> key;
  while (cursor.seek(index.prefix) && is_entry_of(index, cursor.key())) {
    key.assign(cursor.key().begin(), cursor.key().end());
    context_.transaction().erase(keyspace::entries, key);
  }
}

std::vector<std::uint64_t> index_writer::targets_between(
    std::uint64_t first, std::uint64_t end, std::function<bool(std::uint64_t)> const& wanted) {
  std::vector<std::uint64_t> targets;
  std::uint64_t last = 0;
  referrer_key const start(first, 0, 0);
  store_cursor cursor(context_.transaction(), keyspace::entries);
  for (bool found = cursor.seek(start.view()); found; found = cursor.next()) {
    byte_view const key = cursor.key();
    if (key.size() != sizeof start.bytes || key[0] != referrer_key::mark) break;
    std::uint64_t const target = get_big_endian(key.data() + 1);
    if (target >= end) break;
    if (target != last && wanted(target)) targets.push_back(target);
    last = target;
  }
  return targets;
}

std::vector<index_writer::referrer> index_writer::take_referrers(std::uint64_t target) {
  std::vector<referrer> found_referrers;
  {
    referrer_key const first(target, 0, 0);
    store_cursor cursor(context_.transaction(), keyspace::entries);
    for (bool found = cursor.seek(first.view()); found; found = cursor.next()) {
      byte_view const key = cursor.key();
      if (key.size() != sizeof first.bytes ||
          compare_bytes(key.first(referrer_key::target_size), first.target_part()) != 0) {
        break;
      }
      found_referrers.push_back(
          {get_big_endian(key.data() + referrer_key::target_size),
           static_cast<unsigned int>(get_big_endian(key.data() + referrer_key::column_at))});
    }
  }
  for (referrer const& each : found_referrers) {
    referrer_key const key(target, each.oid, each.column);
    context_.transaction().erase(keyspace::entries, key.view());
  }
  return found_referrers;
}

}  // namespace qd::coredb
