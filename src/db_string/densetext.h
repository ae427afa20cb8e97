// The one part of the densetext encoding that the engine reads: the header in front of the text.
#pragma once

#include <cstring>

namespace db_string {

// The text of a densetext, without its header.
struct densetext_payload {
  unsigned char const* bytes;      // The bytes behind the header; not null, also when `size` is 0.
  unsigned long size;              // Their count.
  unsigned long significant_bits;  // How many of their bits are text; at most 8 * size.

  // The bytes that hold at least one significant bit.
  unsigned long significant_bytes() const noexcept {
    return significant_bits / 8 + (significant_bits % 8 != 0 ? 1 : 0);
  }
};

// Reads the header of `size` bytes of densetext; the result points into them.
//
//     header                       payload
//     0ggggggg 0ggggggg 1ggggggg | text bits ... | unused bits
//
// The groups of seven bits, most significant first, are the count of unused bits at the end of the
// bytes. Bytes without an end of the header, none at all, and a count greater than the payload has
// bits, all mean a text of 0 bits.
inline densetext_payload read_densetext(unsigned char const* bytes, unsigned long size) noexcept {
  constexpr unsigned char end_of_header = 0x80;
  constexpr unsigned char group_mask = 0x7F;
  static constexpr unsigned char no_bytes[1] = {0};
  if (size == 0) return {no_bytes, 0, 0};
  // Every count from here on means the same, and it does not grow out of its word.
  unsigned long const most_unused_bits = 8 * size;
  unsigned long unused_bits = 0;
  for (unsigned long position = 0; position < size; ++position) {
    unused_bits = unused_bits << 7 | (bytes[position] & group_mask);
    if (unused_bits > most_unused_bits) unused_bits = most_unused_bits;
    if ((bytes[position] & end_of_header) == 0) continue;
    unsigned long const payload_size = size - position - 1;
    unsigned long const payload_bits = 8 * payload_size;
    return {bytes + position + 1, payload_size,
            unused_bits < payload_bits ? payload_bits - unused_bits : 0};
  }
  return {bytes + size, 0, 0};
}

// Whether `text` begins with the bits of `prefix`. The encoding is prefix-free, so that this is so
// exactly when the one text begins with the other.
inline bool starts_with(densetext_payload const& text, densetext_payload const& prefix) noexcept {
  if (text.significant_bits < prefix.significant_bits) return false;
  unsigned long const whole_bytes = prefix.significant_bits / 8;
  if (std::memcmp(text.bytes, prefix.bytes, whole_bytes) != 0) return false;
  unsigned long const rest_bits = prefix.significant_bits % 8;
  if (rest_bits == 0) return true;
  unsigned const differing_bits = text.bytes[whole_bytes] ^ prefix.bytes[whole_bytes];
  return differing_bits >> (8 - rest_bits) == 0;
}

}  // namespace db_string
