// The kernel's text conversions that need no context.
#include <climits>

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

}  // extern "C"
