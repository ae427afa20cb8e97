// Densetext: the packed form in which texts are stored, compared and indexed.
//
// A densetext is a header and a payload. The header is the number of unused bits at the payload's
// end in base 128, seven bits per byte, the last header byte alone with its top bit set; the
// encoder always writes exactly one header byte, so the empty text is the single byte 0x80. The
// payload is a string of bits, one code per UTF-16 unit, the unused bits zero:
//
//     unit < 0x80     0   and  7 bits      ASCII text stays byte-aligned
//     unit < 0x800    10  and 11 bits
//     other units     110 and 16 bits      surrogates too, paired or not
//     infinite mark   111                  at the end only
//
// The codes are prefix-free and ordered as the units are. Therefore the payload bits of one text
// begin with those of another exactly when the text does; comparing payloads bitwise, or bytewise
// with a proper prefix first, gives the order of the units; distinct texts have distinct payload
// bytes (unused bits are fewer than the shortest code, and the mark is not zero); and a text with
// the infinite mark is above every text that begins with it and below every other greater text.
//
// Set specifiers have the same form.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "coredb/export.h"

namespace qd::coredb {

// The payload of a densetext. `bits` is the number of significant bits, at most 8 * size.
struct text_payload {
  unsigned char const* data = nullptr;
  std::size_t size = 0;
  std::size_t bits = 0;
};

// Reads the header. A text of no bytes, or whose header never ends, has an empty payload; a header
// above the payload's size in bits leaves 0 significant bits.
QD_COREDB_API text_payload payload_of(unsigned char const* densetext, std::size_t size);

// Writes the first `capacity` bytes of the densetext of `text` to `out` and returns the size of the
// whole. When `capacity` exceeds the size, bytes behind it may be overwritten, too.
QD_COREDB_API std::size_t encode_text(std::u16string_view text, bool infinite, unsigned char* out,
                                      std::size_t capacity);

// Bytes of the densetext of `text`, in less time than encoding takes.
QD_COREDB_API std::size_t densetext_size(std::u16string_view text, bool infinite);

// Bytes that the densetext of any text of `units` units needs at most.
constexpr std::size_t densetext_capacity(std::size_t units) {
  return 1 + (units * 19 + 3 + 7) / 8;
}

// Writes the first `capacity` units of a densetext to `out` and returns the number of units that it
// has. The text ends before an infinite mark and before an incomplete code; any bytes decode
// without a fault. When `capacity` exceeds the number of units, units behind it may be overwritten,
// too.
QD_COREDB_API std::size_t decode_text(unsigned char const* densetext, std::size_t size,
                                      char16_t* out, std::size_t capacity);

// Units that a densetext of `size` bytes holds at most.
constexpr std::size_t text_capacity(std::size_t size) {
  return size;
}

// The same with owned results.
QD_COREDB_API std::string to_densetext(std::u16string_view text, bool infinite = false);
QD_COREDB_API std::u16string to_text(unsigned char const* densetext, std::size_t size);

}  // namespace qd::coredb
