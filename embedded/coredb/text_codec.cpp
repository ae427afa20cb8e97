#include "coredb/text_codec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace qd::coredb {
namespace {

static_assert(std::endian::native == std::endian::little,
              "words are turned to and from big-endian by swapping their bytes");

constexpr unsigned char header_end = 0x80;
constexpr unsigned infinite_mark_bits = 3;

// The code of a unit by class: ASCII, below 0x800, all others.
constexpr std::array<std::uint32_t, 3> class_prefix = {0, 0b10u << 11, 0b110u << 16};
constexpr std::array<unsigned, 3> class_bits = {8, 13, 19};

// The same by the first three bits of a code; 111 is the infinite mark, which yields no unit.
constexpr std::array<unsigned char, 8> code_bits = {8, 8, 8, 8, 13, 13, 19, 0};
constexpr std::array<std::uint16_t, 8> code_mask = {0x7F,  0x7F,  0x7F,   0x7F,
                                                    0x7FF, 0x7FF, 0xFFFF, 0};
constexpr unsigned longest_code = 19;

constexpr std::uint64_t top_bit_of_bytes = 0x8080808080808080;
constexpr std::uint64_t beyond_ascii_units = 0xFF80FF80FF80FF80;

std::uint64_t load_word(void const* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

using eight_bytes [[gnu::vector_size(8)]] = unsigned char;
using eight_units [[gnu::vector_size(16)]] = std::uint16_t;

// Eight ASCII units to eight bytes, the first the most significant.
std::uint64_t pack_ascii(char16_t const* text) {
  eight_units units;
  std::memcpy(&units, text, sizeof units);
  eight_bytes const bytes = __builtin_convertvector(units, eight_bytes);
  return __builtin_bswap64(load_word(&bytes));
}

// The inverse of pack_ascii.
eight_units unpack_ascii(std::uint64_t codes) {
  codes = __builtin_bswap64(codes);
  eight_bytes bytes;
  std::memcpy(&bytes, &codes, sizeof bytes);
  return __builtin_convertvector(bytes, eight_units);
}

// Collects codes into bytes; writes what fits and counts all.
class packed_writer {
 public:
  packed_writer(unsigned char* out, std::size_t capacity) : out_(out), capacity_(capacity) {}

  std::size_t written() const { return written_; }
  unsigned unused_bits() const { return (8 - pending_bits_) % 8; }

  // Appends the low `bits` bits of `code`, at most 32.
  void put(std::uint32_t code, unsigned bits) {
    pending_ = pending_ << bits | code;
    pending_bits_ += bits;
    store(pending_ << (64 - pending_bits_), pending_bits_ / 8);
    pending_bits_ %= 8;
  }

  // Appends eight bytes, the most significant first.
  void put_word(std::uint64_t word) {
    store(pending_ << 1 << (63 - pending_bits_) | word >> pending_bits_, 8);
    pending_ = word;
  }

  // Completes the last byte with zero bits.
  void finish() {
    if (pending_bits_ > 0) store(pending_ << (64 - pending_bits_), 1);
  }

 private:
  // Stores the `count` most significant bytes of `word`.
  void store(std::uint64_t word, std::size_t count) {
    std::uint64_t const big_endian = __builtin_bswap64(word);
    if (written_ + sizeof word <= capacity_) {
      std::memcpy(out_ + written_, &big_endian, sizeof word);
    } else if (written_ < capacity_) {
      std::memcpy(out_ + written_, &big_endian, std::min(count, capacity_ - written_));
    }
    written_ += count;
  }

  unsigned char* out_;
  std::size_t capacity_;
  std::size_t written_ = 1;    // The header byte comes last.
  std::uint64_t pending_ = 0;  // Its low pending_bits_ bits are still to be stored.
  unsigned pending_bits_ = 0;  // At most 7 between calls.
};

unsigned class_of(char16_t unit) {
  return (unit >= 0x80) + (unit >= 0x800);
}

// The 64 bits of the payload from bit `position` on, zeros behind its end.
std::uint64_t window_at(text_payload const& payload, std::size_t position) {
  std::size_t const first = position / 8;
  unsigned const shift = position % 8;
  std::size_t const available = payload.size - first;
  if (available > 8) {
    std::uint64_t const word = __builtin_bswap64(load_word(payload.data + first));
    return word << shift | payload.data[first + 8] >> (8 - shift);
  }
  if (available == 8) return __builtin_bswap64(load_word(payload.data + first)) << shift;
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < available; ++i) word = word << 8 | payload.data[first + i];
  return available == 0 ? 0 : word << (64 - 8 * available) << shift;
}

// Where decoded units go: stores what fits and counts all.
class unit_writer {
 public:
  unit_writer(char16_t* out, std::size_t capacity) : out_(out), capacity_(capacity) {}

  std::size_t count() const { return count_; }

  void put(char16_t unit) {
    if (count_ < capacity_) out_[count_] = unit;
    ++count_;
  }

  // Appends the first `count` of the eight ASCII codes in `codes`, the most significant first.
  void put_ascii(std::uint64_t codes, unsigned count) {
    eight_units const units = unpack_ascii(codes);
    if (count_ + 8 <= capacity_) {
      std::memcpy(out_ + count_, &units, sizeof units);
    } else if (count_ < capacity_) {
      std::size_t const fitting = std::min<std::size_t>(count, capacity_ - count_);
      std::memcpy(out_ + count_, &units, fitting * sizeof(char16_t));
    }
    count_ += count;
  }

 private:
  char16_t* out_;
  std::size_t capacity_;
  std::size_t count_ = 0;
};

}  // namespace

text_payload payload_of(unsigned char const* densetext, std::size_t size) {
  std::size_t unused = 0;
  for (std::size_t i = 0; i < size; ++i) {
    // Far above any payload; a longer header must not overflow.
    constexpr std::size_t unused_limit = std::size_t{1} << 56;
    unused = std::min(unused << 7 | (densetext[i] & 0x7F), unused_limit);
    if (densetext[i] & header_end) {
      std::size_t const payload_size = size - i - 1;
      std::size_t const bits = payload_size * 8;
      return {densetext + i + 1, payload_size, unused < bits ? bits - unused : 0};
    }
  }
  return {};
}

std::size_t encode_text(std::u16string_view text, bool infinite, unsigned char* out,
                        std::size_t capacity) {
  packed_writer writer(out, capacity);
  std::size_t position = 0;
  while (position < text.size()) {
    if (text.size() - position >= 8) {
      std::uint64_t const low = load_word(text.data() + position);
      std::uint64_t const high = load_word(text.data() + position + 4);
      if (((low | high) & beyond_ascii_units) == 0) {
        writer.put_word(pack_ascii(text.data() + position));
        position += 8;
        continue;
      }
    }
    char16_t const unit = text[position++];
    unsigned const unit_class = class_of(unit);
    writer.put(class_prefix[unit_class] | unit, class_bits[unit_class]);
  }
  if (infinite) writer.put(0b111, infinite_mark_bits);
  unsigned const unused = writer.unused_bits();
  writer.finish();
  if (capacity > 0) out[0] = static_cast<unsigned char>(header_end | unused);
  return writer.written();
}

std::size_t densetext_size(std::u16string_view text, bool infinite) {
  std::size_t bits = infinite ? infinite_mark_bits : 0;
  for (char16_t const unit : text) bits += class_bits[class_of(unit)];
  return 1 + (bits + 7) / 8;
}

std::size_t decode_text(unsigned char const* densetext, std::size_t size, char16_t* out,
                        std::size_t capacity) {
  text_payload const payload = payload_of(densetext, size);
  unit_writer writer(out, capacity);
  std::size_t position = 0;
  for (;;) {
    // Whole windows of ASCII codes, in the fewest steps.
    while (payload.bits - position >= 64) {
      std::uint64_t const codes = window_at(payload, position);
      if (codes & top_bit_of_bytes) break;
      writer.put_ascii(codes, 8);
      position += 64;
    }
    // Then the next 64 bits, of which `left` are significant and still to decode.
    unsigned left = static_cast<unsigned>(std::min<std::size_t>(payload.bits - position, 64));
    if (left == 0) return writer.count();
    std::uint64_t codes = window_at(payload, position);
    bool const more = payload.bits - position > left;
    unsigned const start = left;

    std::uint64_t const not_ascii = codes & top_bit_of_bytes;
    unsigned const ascii_count = std::min(
        not_ascii == 0 ? 8u : static_cast<unsigned>(std::countl_zero(not_ascii)) / 8, left / 8);
    if (ascii_count > 0) {
      writer.put_ascii(codes, ascii_count);
      left -= ascii_count * 8;
      codes = ascii_count < 8 ? codes << (ascii_count * 8) : 0;
    }
    // Further codes while they are surely complete here, or until the text ends here.
    while (left >= (more ? longest_code : 1)) {
      unsigned const lead = static_cast<unsigned>(codes >> 61);
      unsigned const bits = code_bits[lead];
      if (bits == 0 || bits > left) return writer.count();
      writer.put(static_cast<char16_t>(codes >> (64 - bits) & code_mask[lead]));
      codes <<= bits;
      left -= bits;
    }
    position += start - left;
  }
}

std::string to_densetext(std::u16string_view text, bool infinite) {
  std::string result(densetext_size(text, infinite), '\0');
  encode_text(text, infinite, reinterpret_cast<unsigned char*>(result.data()), result.size());
  return result;
}

std::u16string to_text(unsigned char const* densetext, std::size_t size) {
  std::u16string result(text_capacity(size), u'\0');
  result.resize(decode_text(densetext, size, result.data(), result.size()));
  return result;
}

}  // namespace qd::coredb
