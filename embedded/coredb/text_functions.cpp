// The kernel's text conversions, into the caller's buffer and through a context.
#include <climits>
#include <cstddef>
#include <limits>
#include <string_view>

#include "coredb/context.h"
#include "coredb/text_codec.h"
#include "kernel/vela.h"

// Set specifiers are packed like texts, and the base form of a text is the text itself, so both
// pairs of functions share their work.
namespace {

unsigned int encode(char16_t const* text, bool infinite, unsigned char* buffer,
                    unsigned long capacity) {
  return static_cast<unsigned int>(qd::coredb::encode_text(text, infinite, buffer, capacity));
}

int decode(unsigned char const* bytes, unsigned int count, char16_t* buffer,
           unsigned int capacity_units) {
  // A text has no more units than bytes; what an int cannot count is cut off.
  unsigned int const size = count <= INT_MAX ? count : INT_MAX;
  std::size_t const units = qd::coredb::decode_text(bytes, size, buffer, capacity_units);
  if (units < capacity_units) buffer[units] = u'\0';
  return static_cast<int>(units);
}

// A counted result is a 32-bit count and its elements, without padding between them.
static_assert(offsetof(VELA_BYTES, bytes) == sizeof(unsigned int));
static_assert(offsetof(VELA_UCS2, units) == sizeof(unsigned int));

unsigned int encode_through(unsigned long handle, char16_t const* text, bool infinite,
                            VELA_BYTES const** out) {
  unsigned int status = 0;
  qd::coredb::context* const context = qd::coredb::find_context(handle, status);
  if (!context) return status;
  if (!text || !out) return qd::coredb::status_bad_argument;
  std::u16string_view const units(text);
  std::size_t const size = qd::coredb::densetext_size(units, infinite);
  if (size > std::numeric_limits<unsigned int>::max()) return qd::coredb::status_bad_argument;
  unsigned char* const lent = context->lend(sizeof(unsigned int) + size);
  auto* const result = reinterpret_cast<VELA_BYTES*>(lent);
  result->count = static_cast<unsigned int>(size);
  qd::coredb::encode_text(units, infinite, lent + sizeof(unsigned int), size);
  *out = result;
  return qd::coredb::status_ok;
}

unsigned int decode_through(unsigned long handle, unsigned char const* bytes, unsigned long count,
                            VELA_UCS2 const** out) {
  unsigned int status = 0;
  qd::coredb::context* const context = qd::coredb::find_context(handle, status);
  if (!context) return status;
  if ((!bytes && count > 0) || !out || count >= std::numeric_limits<unsigned int>::max()) {
    return qd::coredb::status_bad_argument;
  }
  std::size_t const capacity = qd::coredb::text_capacity(count);
  unsigned char* const lent =
      context->lend(sizeof(unsigned int) + (capacity + 1) * sizeof(char16_t));
  auto* const result = reinterpret_cast<VELA_UCS2*>(lent);
  auto* const units = reinterpret_cast<char16_t*>(lent + sizeof(unsigned int));
  result->count = static_cast<unsigned int>(qd::coredb::decode_text(bytes, count, units, capacity));
  units[result->count] = u'\0';
  *out = result;
  return qd::coredb::status_ok;
}

}  // namespace

extern "C" {

QD_COREDB_API unsigned int vela_convert_ucs2_to_densetext(char16_t const* text, bool infinite,
                                                          unsigned char* buffer,
                                                          unsigned long capacity) {
  return encode(text, infinite, buffer, capacity);
}

QD_COREDB_API unsigned int vela_convert_ucs2_to_setspecdt(char16_t const* text, bool infinite,
                                                          unsigned char* buffer,
                                                          unsigned long capacity) {
  return encode(text, infinite, buffer, capacity);
}

QD_COREDB_API int vela_convert_densetext_to_ucs2(unsigned char const* bytes, unsigned int count,
                                                 char16_t* buffer, unsigned int capacity_units) {
  return decode(bytes, count, buffer, capacity_units);
}

QD_COREDB_API int vela_convert_densetext_to_base_ucs2(unsigned char const* bytes,
                                                      unsigned int count, char16_t* buffer,
                                                      unsigned int capacity_units) {
  return decode(bytes, count, buffer, capacity_units);
}

QD_COREDB_API unsigned int vela_context_convert_ucs2_to_densetext(unsigned long context,
                                                                  char16_t const* text,
                                                                  bool infinite,
                                                                  VELA_BYTES const** out) {
  return encode_through(context, text, infinite, out);
}

QD_COREDB_API unsigned int vela_context_convert_ucs2_to_setspecdt(unsigned long context,
                                                                  char16_t const* text,
                                                                  bool infinite,
                                                                  VELA_BYTES const** out) {
  return encode_through(context, text, infinite, out);
}

QD_COREDB_API unsigned int vela_context_convert_densetext_to_ucs2(unsigned long context,
                                                                  unsigned char const* bytes,
                                                                  unsigned long count,
                                                                  VELA_UCS2 const** out) {
  return decode_through(context, bytes, count, out);
}

QD_COREDB_API unsigned int vela_context_convert_densetext_to_base_ucs2(unsigned long context,
                                                                       unsigned char const* bytes,
                                                                       unsigned long count,
                                                                       VELA_UCS2 const** out) {
  return decode_through(context, bytes, count, out);
}

}  // extern "C"
