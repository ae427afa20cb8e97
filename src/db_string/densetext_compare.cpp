#include <bit>
#include <cstdint>
#include <cstring>

#include "db_string/densetext.h"
#include "db_string/dt_string.h"

namespace {

using db_string::densetext_payload;
using db_string::read_densetext;

// The position of the first of `count` bytes that differs, or `count`.
unsigned long first_difference(unsigned char const* left, unsigned char const* right,
                               unsigned long count) {
  static_assert(std::endian::native == std::endian::little,
                "the lowest byte of a word stands first in memory");
  unsigned long position = 0;
  for (; position + sizeof(std::uint64_t) <= count; position += sizeof(std::uint64_t)) {
    std::uint64_t left_word;
    std::uint64_t right_word;
    std::memcpy(&left_word, left + position, sizeof left_word);
    std::memcpy(&right_word, right + position, sizeof right_word);
    if (left_word != right_word) {
      return position + static_cast<unsigned long>(std::countr_zero(left_word ^ right_word)) / 8;
    }
  }
  while (position < count && left[position] == right[position]) ++position;
  return position;
}

}  // namespace

long DenseText4Compare(unsigned char const* left, unsigned long left_size,
                       unsigned char const* right, unsigned long right_size) {
  densetext_payload const a = read_densetext(left, left_size);
  densetext_payload const b = read_densetext(right, right_size);
  bool const left_is_shorter = a.significant_bits < b.significant_bits;
  unsigned long const common = (left_is_shorter ? a : b).significant_bytes();
  unsigned long const position = first_difference(a.bytes, b.bytes, common);
  bool left_is_smaller = left_is_shorter;
  if (position < common) {
    left_is_smaller = a.bytes[position] < b.bytes[position];
  } else if (a.significant_bits == b.significant_bits) {
    return 0;
  }
  long const magnitude = static_cast<long>(position) + 1;
  return left_is_smaller ? -magnitude : magnitude;
}
