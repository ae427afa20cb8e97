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

// Bytes that the densetext of a text of `units` units needs at most, infinite mark included.
constexpr std::size_t densetext_capacity(std::size_t units) {
  return 1 + (units * 19 + 3 + 7) / 8;
}

// Units that a densetext of `size` bytes holds at most.
constexpr std::size_t text_capacity(std::size_t size) {
  return size;
}

// Bytes of the densetext of `text`.
QD_COREDB_API std::size_t densetext_size(std::u16string_view text, bool infinite);

// Writes the densetext of `text` to `out`, which has room for densetext_capacity(text.size())
// bytes, and returns its size. Bytes of `out` behind that size may be overwritten.
QD_COREDB_API std::size_t encode_text(std::u16string_view text, bool infinite, unsigned char* out);

// Writes the units of a densetext to `out`, which has room for text_capacity(size) units, and
// returns their number. Ends before an infinite mark and before an incomplete code; any bytes
// decode without a fault. Units of `out` behind the returned number may be overwritten.
QD_COREDB_API std::size_t decode_text(unsigned char const* densetext, std::size_t size,
                                      char16_t* out);

// Units that decode_text would write.
QD_COREDB_API std::size_t decoded_size(unsigned char const* densetext, std::size_t size);

// The same with owned results.
QD_COREDB_API std::string to_densetext(std::u16string_view text, bool infinite = false);
QD_COREDB_API std::u16string to_text(unsigned char const* densetext, std::size_t size);

}  // namespace qd::coredb
