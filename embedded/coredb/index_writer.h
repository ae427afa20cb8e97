// Writes the entries of indexes, and the notes of who refers to whom that keep them right.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "coredb/context.h"
#include "coredb/error.h"
#include "coredb/record_key.h"

namespace qd::coredb {

inline std::string object_name(std::uint64_t oid) {
  return "object " + std::to_string(oid);
}

// A note, in keyspace::referrers, that a column of an object refers to another.
struct referrer_key {
  referrer_key(std::uint64_t target, std::uint64_t referrer, unsigned int column) {
    put_big_endian(bytes, target);
    put_big_endian(bytes + 8, referrer);
    put_big_endian(bytes + 16, column);
  }
  explicit referrer_key(byte_view key) {
    if (key.size() != sizeof bytes) {
      throw error(error_kind::storage, "a note of a reference is damaged");
    }
    std::memcpy(bytes, key.data(), sizeof bytes);
  }
  byte_view view() const { return bytes; }
  std::uint64_t target() const { return get_big_endian(bytes); }
  std::uint64_t referrer() const { return get_big_endian(bytes + 8); }
  auto column() const { return static_cast<unsigned int>(get_big_endian(bytes + 16)); }
  unsigned char bytes[24];
};

class index_writer {
 public:
  explicit index_writer(context& context) : context_(context) {}

  void put(index const& index, key_buffer const& key, std::uint64_t oid, std::uint16_t layout);
  void erase(index const& index, key_buffer const& key, std::uint64_t oid, std::uint16_t layout);
  void erase_all(index const& index);
  // The object that has this whole key in the index; 0: none.
  std::uint64_t find_equal_key(index const& index, byte_view key);
  // Throws unique_violation when an object has this whole key; `oid`, which wants it, has not.
  void refuse_equal_key(index const& index, byte_view key, std::uint64_t oid);
  [[noreturn]] static void refuse_duplicate(index const& index, std::uint64_t oid,
                                            std::uint64_t existing);

  // A column that stands in an index and holds `oid` of another object is noted under that object.
  // When the object goes, the reference becomes NULL in the record and in the indexes, so that a
  // scan for NULL finds what a read says is NULL. (References in no index need no note: their reads
  // look at the object.)
  void put_referrer(std::uint64_t oid, unsigned int column, field const& value);
  void erase_referrer(std::uint64_t oid, unsigned int column, field const& value);
  struct referrer {
    std::uint64_t oid;
    unsigned int column;
  };
  // The ids in [first, end) that notes stand under and that `wanted` holds for.
  std::vector<std::uint64_t> targets_between(std::uint64_t first, std::uint64_t end,
                                             std::function<bool(std::uint64_t)> const& wanted);
  // The notes under an object, which are gone afterwards.
  std::vector<referrer> take_referrers(std::uint64_t target);

 private:
  context& context_;
};

}  // namespace qd::coredb
