// A kernel iterator together with the two keys that it runs between.
#pragma once

#include "db_util/db_iterator.h"
#include "db_util/key_writer.h"

namespace db_util {

// The keys are written once, before the iterator is opened, and not read afterwards.
class db_iter_with_keys : public db_iterator {
 public:
  static constexpr unsigned long key_capacity = 1024;

  KeyWriter<KeyBuf> write_first_key() { return KeyWriter<KeyBuf>(KeyBuf(first_key, key_capacity)); }
  KeyWriter<KeyBuf> write_last_key() { return KeyWriter<KeyBuf>(KeyBuf(last_key, key_capacity)); }

  // Undefined until they are written. NOLINTNEXTLINE: not to be cleared for every lookup.
  alignas(8) unsigned char first_key[key_capacity];
  alignas(8) unsigned char last_key[key_capacity];
};

}  // namespace db_util
