#include "db_util/db_iterator.h"

#include "db_util/db_exception.h"
#include "db_util/fatal_errors.h"
#include "db_util/object_reference.h"
#include "error_handling/error_codes.h"
#include "kernel/vela.h"

namespace db_util {

db_iterator::~db_iterator() {
  free_resources();
}

void db_iterator::open(unsigned long kernel_context, unsigned long index_id, unsigned int flags,
                       unsigned char const* first, unsigned char const* last) {
  free_resources();
  unsigned long opened = 0;
  db_exception::check(
      vela_context_create_iterator(kernel_context, index_id, flags, first, last, &opened));
  iterator = opened;
}

bool db_iterator::next() {
  VELA_RECORD record;
  db_exception::check(vela_iterator_next(iterator, &record));
  if (record.oid == 0) {
    current = {};
    return false;
  }
  current = reference_of(record);
  return true;
}

void db_iterator::free_resources() {
  if (iterator == 0) return;
  if (vela_iterator_free(iterator) != 0) {
    raise_unexpected_except(error_handling::iterator_release_failed);
  }
  iterator = 0;
}

}  // namespace db_util
