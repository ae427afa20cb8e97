// Every status that the kernel's functions return. 0 is success; 4272 is NULL and no error.
#pragma once

#include "kernel/vela.h"

namespace qd::coredb {

enum status : unsigned int {
  status_ok = 0,
  // The column holds NULL, refers to a deleted object, or the object itself does not exist.
  status_null = VELA_STATUS_NULL,
  // vela_context_lookup: no object has this id in this snapshot.
  status_unknown_object = 5001,
  // The context was asked to stop; every step and every read reports this until the stop is
  // cleared.
  status_stopped = 5002,
  // A context handle that was never given out, or whose context has ended.
  status_bad_context = 5003,
  // The context belongs to another thread.
  status_wrong_thread = 5004,
  // An iterator handle that was never given out, or is freed, or whose context has ended.
  status_bad_iterator = 5005,
  // No index has this id in this snapshot.
  status_unknown_index = 5006,
  // A key that does not have the index's columns or is not in the key format.
  status_bad_key = 5007,
  // The object's layout has no column of this number.
  status_unknown_column = 5008,
  // The column is of another kind than the getter reads.
  status_wrong_kind = 5009,
  // The object is neither of the class whose layout was asked for nor of a class derived from it.
  status_wrong_layout = 5010,
  // The stored data is damaged or cannot be read.
  status_storage = 5011,
  // Too many iterators are open in one context.
  status_too_many_iterators = 5012,
  // An argument that must point somewhere is null, or a text is longer than 2^32 - 1 units.
  status_bad_argument = 5013,
};

}  // namespace qd::coredb
