#include "coredb/index_writer.h"

#include <algorithm>

#include "coredb/error.h"
#include "coredb/write_state.h"

namespace qd::coredb {
void index_writer::put(index const& index, key_buffer const& key, std::uint64_t oid,
                       std::uint16_t layout) {
  stored_entry const entry(index, key.bytes(), oid, layout);
  context_.transaction().put(index.space, entry.key(), entry.value());
}

void index_writer::erase(index const& index, key_buffer const& key, std::uint64_t oid,
                         std::uint16_t layout) {
  stored_entry const entry(index, key.bytes(), oid, layout);
  if (!context_.transaction().erase(index.space, entry.key())) {
    throw error(error_kind::storage, "index " + std::to_string(index.definition.id) +
                                         " is damaged: it lacks " + object_name(oid));
  }
}

void index_writer::put_referrer(std::uint64_t oid, unsigned int column, field const& value) {
  if (value.null) return;
  referrer_key const key(value.word, oid, column);
  context_.transaction().put(keyspace::referrers, key.view(), {});
}

void index_writer::erase_referrer(std::uint64_t oid, unsigned int column, field const& value) {
  if (value.null) return;
  referrer_key const key(value.word, oid, column);
  context_.transaction().erase(keyspace::referrers, key.view());
}

std::uint64_t index_writer::find_equal_key(index const& index, byte_view key) {
  std::map<keyspace, store_cursor>& cursors = context_.writer()->unique_cursors;
  auto known = cursors.find(index.space);
  if (known == cursors.end()) {
    known = cursors.emplace(index.space, store_cursor(context_.transaction(), index.space)).first;
  }
  store_cursor& cursor = known->second;
  byte_view const kept = key.first(std::min(key.size(), longest_entry_key(index)));
  bool const cut = kept.size() < key.size();
  key_buffer wanted;
  wanted.append(index.prefix.data(), index.prefix.size());
  wanted.append(kept.data(), kept.size());
  for (bool found = cursor.seek(wanted.bytes()); found; found = cursor.next()) {
    if (!is_entry_of(index, cursor.key())) break;
    entry_view const entry = read_entry(index, cursor.key(), cursor.value());
    if (compare_bytes(entry.key, kept) != 0) break;
    if (cut) {
      key_buffer whole;
      append_record_key(whole, index, entry, context_);
      if (compare_bytes(whole.bytes(), key) != 0) continue;
    }
    return entry.oid;
  }
  return 0;
}

void index_writer::refuse_equal_key(index const& index, byte_view key, std::uint64_t oid) {
  std::uint64_t const existing = find_equal_key(index, key);
  if (existing != 0) refuse_duplicate(index, oid, existing);
}

void index_writer::refuse_duplicate(index const& index, std::uint64_t oid, std::uint64_t existing) {
  throw unique_violation("unique index " + std::to_string(index.definition.id) +
                             " has the key of " + object_name(oid) + " already, for " +
                             object_name(existing),
                         index.definition.id, existing);
}

void index_writer::erase_all(index const& index) {
  store_cursor cursor(context_.transaction(), index.space);
  std::vector<unsigned char> key;
  while (cursor.seek(index.prefix) && is_entry_of(index, cursor.key())) {
    key.assign(cursor.key().begin(), cursor.key().end());
    context_.transaction().erase(index.space, key);
  }
}

std::vector<std::uint64_t> index_writer::targets_between(
    std::uint64_t first, std::uint64_t end, std::function<bool(std::uint64_t)> const& wanted) {
  std::vector<std::uint64_t> targets;
  std::uint64_t last = 0;
  referrer_key const start(first, 0, 0);
  store_cursor cursor(context_.transaction(), keyspace::referrers);
  for (bool found = cursor.seek(start.view()); found; found = cursor.next()) {
    std::uint64_t const target = referrer_key(cursor.key()).target();
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
    store_cursor cursor(context_.transaction(), keyspace::referrers);
    for (bool found = cursor.seek(first.view()); found; found = cursor.next()) {
      referrer_key const key(cursor.key());
      if (key.target() != target) break;
      found_referrers.push_back({key.referrer(), key.column()});
    }
  }
  for (referrer const& each : found_referrers) {
    referrer_key const key(target, each.oid, each.column);
    context_.transaction().erase(keyspace::referrers, key.view());
  }
  return found_referrers;
}

}  // namespace qd::coredb
