// The iterator functions of kernel/vela.h.
#include "coredb/context.h"
#include "coredb/export.h"
#include "coredb/guard.h"
#include "coredb/iterator.h"

using namespace qd::coredb;

namespace {

constexpr unsigned int known_flags = VELA_ITERATE_CATALOGUE | VELA_ITERATE_DESCENDING;

}  // namespace

extern "C" {

QD_COREDB_API unsigned int vela_context_create_iterator(unsigned long context_handle,
                                                        unsigned long index_id, unsigned int flags,
                                                        unsigned char const* first,
                                                        unsigned char const* last,
                                                        unsigned long* iterator) {
  unsigned int status = status_ok;
  context* const context = find_context(context_handle, status);
  if (!context) return status;
  if (!first || !last || !iterator || (flags & ~known_flags) != 0) return status_bad_argument;
  return guarded([&] { return context->open_iterator(index_id, flags, first, last, *iterator); });
}

QD_COREDB_API unsigned int vela_iterator_next(unsigned long iterator, VELA_RECORD* record) {
  unsigned int status = status_ok;
  context_place* place = nullptr;
  context* const context = find_iterator_context(iterator, place, status);
  if (!context) return status;
  if (place->stopped.load(std::memory_order_relaxed)) return status_stopped;
  kernel_iterator* const found = context->find_iterator(iterator);
  if (!found) return status_bad_iterator;
  if (!record) return status_bad_argument;
  return guarded([&] {
    found->next(*record);
    return static_cast<unsigned int>(status_ok);
  });
}

QD_COREDB_API unsigned int vela_iterator_free(unsigned long iterator) {
  unsigned int status = status_ok;
  context_place* place = nullptr;
  context* const context = find_iterator_context(iterator, place, status);
  if (!context) return status;
  return context->close_iterator(iterator) ? status_ok : status_bad_iterator;
}

}  // extern "C"
