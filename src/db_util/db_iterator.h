// The owner of one kernel iterator.
#pragma once

#include "kernel/obj_ref.h"

namespace db_util {

// Frees its iterator exactly once. That the kernel refuses to is a fault inside the kernel and ends
// the process (raise_unexpected_except).
class db_iterator {
 public:
  db_iterator() = default;
  db_iterator(db_iterator const&) = delete;
  db_iterator& operator=(db_iterator const&) = delete;
  virtual ~db_iterator();

  // Opens an iterator, as vela_context_create_iterator does, after freeing the present one. Throws
  // db_exception with the kernel's status; there is no iterator then.
  void open(unsigned long kernel_context, unsigned long index_id, unsigned int flags,
            unsigned char const* first, unsigned char const* last);
  // Steps to the next object, which is then `current`; false at the end, and `current` is the null
  // reference. Throws db_exception with the kernel's status.
  bool next();
  // Frees the iterator, if there is one.
  void free_resources();

  unsigned long iterator = 0;  // The kernel's handle; 0 is none.
  QD_OBJ_REF current;          // The object last read.
};

}  // namespace db_util
