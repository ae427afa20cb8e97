// Fields of stored records, and the storage keys and entries that indexes hold of them.
#pragma once

#include "coredb/block.h"
#include "coredb/error.h"
#include "coredb/index_key.h"
#include "coredb/store.h"

namespace qd::coredb {

class context;

// A column of a stored record, system columns included. Its bytes hold as long as the image and the
// transaction's pages do.
field read_field(record_view const& record, unsigned int column,
                 store_transaction const& transaction);

// Where a long value is kept.
struct long_value_key {
  long_value_key(std::uint64_t oid, unsigned int column) {
    put_big_endian(bytes, oid);
    put_big_endian(bytes + 8, column);
  }
  byte_view view() const { return bytes; }
  unsigned char bytes[16];
};

void append_field(key_buffer& key, field const& value, bool ascending);

// Appends the storage key of an object whose columns `field_of(column)` gives.
template <typename FieldOf>
void append_storage_key(key_buffer& key, index const& index, FieldOf const& field_of) {
  for (index_column_definition const& column : index.definition.columns) {
    append_field(key, field_of(column.column), column.ascending);
  }
}

// An entry of an index, in the index's key space.
//
//     key    the index's prefix; the storage key or as much of it as fits; the object id: the
//            number n of its significant bytes, then these, big-endian
//     value  n, with 80 added when the storage key was cut; u16 layout, unless it is the index's
//            own
//
// Storage keys end by themselves, so a cut one shares its bytes with no whole one; the entries of
// equal cut keys stand in the order of their object ids and must be put in order by the records.
inline constexpr std::size_t longest_object_id = 1 + sizeof(std::uint64_t);

inline std::size_t longest_entry_key(index const& index) {
  return longest_store_key - index.prefix.size() - longest_object_id;
}

struct entry_view {
  byte_view key;  // Without prefix and object id.
  std::uint64_t oid;
  std::uint16_t layout;
  bool cut;
};

// Takes an entry of this index apart; throws error(storage) when it is damaged.
entry_view read_entry(index const& index, byte_view key, byte_view value);
inline bool is_entry_of(index const& index, byte_view key) {
  return key.size() >= index.prefix.size() &&
         std::memcmp(key.data(), index.prefix.data(), index.prefix.size()) == 0;
}

// Appends the storage key of the object of an entry, from its record; throws error(storage) when
// there is no such object. Only for reading: the record's bytes hold until the next change.
void append_record_key(key_buffer& key, index const& index, entry_view const& entry,
                       context& context);

// The key and value under which an entry is stored.
struct stored_entry {
  stored_entry(index const& index, byte_view storage_key, std::uint64_t oid, std::uint16_t layout);
  // The same with the part of the storage key that fits, which is all of it unless it was cut.
  stored_entry(index const& index, byte_view kept, bool cut, std::uint64_t oid,
               std::uint16_t layout);
  byte_view key() const { return {key_bytes, key_size}; }
  byte_view value() const { return {value_bytes, value_size}; }

  unsigned char key_bytes[longest_store_key];
  std::size_t key_size;
  unsigned char value_bytes[3];
  std::size_t value_size;
};

// memcmp order, a proper prefix first.
inline int compare_bytes(byte_view left, byte_view right) {
  std::size_t const common = left.size() < right.size() ? left.size() : right.size();
  int const order = common == 0 ? 0 : std::memcmp(left.data(), right.data(), common);
  if (order != 0) return order;
  return left.size() < right.size() ? -1 : left.size() > right.size();
}

}  // namespace qd::coredb
