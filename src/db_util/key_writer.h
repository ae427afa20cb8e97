// Index keys, as the kernel's iterators take them.
//
// A key is one field per leading index column, then an end mark; numbers are big-endian.
//
//     NULL                  60
//     bool                  28 | 8 bytes, 0 or 1
//     unsigned, object id   28 | 8 bytes
//     signed                28 | 8 bytes, the number plus 2^63
//     Decimal               28 | 8 bytes, encode_dec plus 2^63
//     string                the bytes of its densetext that hold text, in chunks | 80
//     binary                a 00 byte and its bytes, in chunks | 80
//     binary upper end      21 01 80
//     end of key            C0, then 00 up to the next multiple of 8
//
// A chunk is a length byte and at most 31 bytes; 20 is added to the first length. Nothing at all is
// still one chunk, of length 0:
//
//     empty string          20 | 80
//     string of 33 bytes    3F, 31 bytes | 02, 2 bytes | 80
//     empty binary          21, 00 | 80
//     binary of 31 bytes    3F, 00, 30 bytes | 01, 1 byte | 80
#pragma once

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <vector>

#include "db_string/densetext.h"
#include "db_string/dt_string.h"
#include "db_util/value_kinds.h"
#include "kernel/obj_ref.h"

namespace db_util {

// A Decimal's number of millionths as keys hold it: the integral part above bit 20, the first two
// decimals in 7 bits, the last four in 14; negated as a whole below zero. Keeps the order.
constexpr long encode_dec(long scaled) noexcept {
  unsigned long const magnitude =
      scaled < 0 ? 0UL - static_cast<unsigned long>(scaled) : static_cast<unsigned long>(scaled);
  unsigned long const integral = magnitude / 1'000'000;
  unsigned long const first_two_decimals = magnitude % 1'000'000 / 10'000;
  unsigned long const last_four_decimals = magnitude % 10'000;
  unsigned long const encoded = integral << 21 | first_two_decimals << 14 | last_four_decimals;
  return static_cast<long>(scaled < 0 ? 0UL - encoded : encoded);
}

// A buffer of fixed size, which a key must fit into. Does not own its bytes.
class KeyBuf {
 public:
  KeyBuf(unsigned char* start, unsigned long capacity) noexcept
      : start(start), capacity(capacity) {}

  unsigned char* data() noexcept { return start; }
  unsigned long size() const noexcept { return capacity; }
  // There is no more room: throws db_exception 4197.
  [[noreturn]] void resize(unsigned long size);

 private:
  unsigned char* start;
  unsigned long capacity;
};

// A buffer for one key that stands where it is declared, on the stack, and moves to the heap when
// the key outgrows it. Its bytes are undefined until they are written.
class stack_key {
 public:
  static constexpr unsigned long inline_capacity = 256;

  stack_key() noexcept : bytes(inline_bytes) {}  // NOLINT: the bytes stay undefined
  stack_key(stack_key const&) = delete;
  stack_key& operator=(stack_key const&) = delete;

  unsigned char* data() noexcept { return bytes; }
  unsigned char const* data() const noexcept { return bytes; }
  unsigned long size() const noexcept { return capacity; }
  // Grows to `size` bytes, at least the present size; keeps the content.
  void resize(unsigned long size);

 private:
  unsigned char* bytes;  // `inline_bytes` or `heap_bytes`.
  unsigned long capacity = inline_capacity;
  std::unique_ptr<unsigned char[]> heap_bytes;
  alignas(8) unsigned char inline_bytes[inline_capacity];
};

namespace detail {

// Content bytes in one chunk.
inline constexpr unsigned long chunk_capacity = 31;

// The room that `content_size` bytes of content take, chunk lengths and end byte included.
constexpr unsigned long chunked_size(unsigned long content_size) noexcept {
  if (content_size <= chunk_capacity) return content_size + 2;
  return content_size + (content_size + chunk_capacity - 1) / chunk_capacity + 1;
}

// Write `size` bytes in chunks, behind a zero byte in the case of a binary. Return the place behind
// the field; there must be room for it.
unsigned char* write_string_chunks(unsigned char* cursor, unsigned char const* bytes,
                                   unsigned long size) noexcept;
unsigned char* write_binary_chunks(unsigned char* cursor, unsigned char const* bytes,
                                   unsigned long size) noexcept;

}  // namespace detail

// Writes one key, field by field, from the start of a buffer: std::vector<unsigned char>& and
// stack_key& grow, KeyBuf does not. The buffer starts on an 8-byte boundary and must not be changed
// by others meanwhile. Bytes of the buffer behind what was written mean nothing.
//
// Throws db_exception 4197 when a KeyBuf has no room for a field; the key is then unfinished.
template <typename Buffer>
class KeyWriter {
 public:
  explicit KeyWriter(Buffer target) : buffer(target), cursor(buffer.data()) {}

  // The bytes written so far.
  unsigned long written() { return static_cast<unsigned long>(cursor - buffer.data()); }

  // Makes room for n more bytes: where fewer remain, the buffer grows to what is needed, at least
  // to double its size.
  void CheckEnoughRoom(unsigned long n) {
    unsigned long const used = written();
    if (buffer.size() - used < n) [[unlikely]]
      grow(used, n);
  }

  void write_null() {
    CheckEnoughRoom(1);
    *cursor++ = null_byte;
  }
  void write_bool(bool content) { write_number(content ? 1 : 0); }
  void write_unsigned(unsigned long content) { write_number(content); }
  void write_signed(long content) { write_number(static_cast<unsigned long>(content) ^ sign_bit); }
  void write_decimal(operator_library::Decimal content) {
    write_signed(encode_dec(content.scaled));
  }
  // A reference is keyed by its object id alone.
  void write_reference(QD_OBJ_REF const& content) { write_number(content.oid); }

  // `size` bytes of densetext, header included; also that of a set specifier.
  void write_densetext(unsigned char const* bytes, unsigned long size) {
    db_string::densetext_payload const payload = db_string::read_densetext(bytes, size);
    unsigned long const content_size = payload.significant_bytes();
    CheckEnoughRoom(detail::chunked_size(content_size));
    cursor = detail::write_string_chunks(cursor, payload.bytes, content_size);
  }
  void write_string(db_string::dt_string const& content) {
    write_densetext(content.data(), content.size());
  }

  void write_binary(unsigned char const* bytes, unsigned long size) {
    CheckEnoughRoom(detail::chunked_size(size + 1));
    cursor = detail::write_binary_chunks(cursor, bytes, size);
  }
  void write_binary(operator_library::Binary const& content) {
    write_binary(content.bytes.data(), content.bytes.size());
  }
  // A key above every binary.
  void write_binary_upper_end() {
    CheckEnoughRoom(3);
    *cursor++ = 0x21;
    *cursor++ = 0x01;
    *cursor++ = end_of_field;
  }

  // Ends the key: call it once, after the last field.
  void UpdateHeader() {
    unsigned long const end_mark_size = 8 - written() % 8;
    CheckEnoughRoom(end_mark_size);
    *cursor++ = end_of_key;
    std::memset(cursor, 0, end_mark_size - 1);
    cursor += end_mark_size - 1;
  }

 private:
  static constexpr unsigned char null_byte = 0x60;
  static constexpr unsigned char number_byte = 0x28;
  static constexpr unsigned char end_of_field = 0x80;
  static constexpr unsigned char end_of_key = 0xC0;
  static constexpr unsigned long sign_bit = 1UL << 63;

  static_assert(std::endian::native == std::endian::little);

  void write_number(unsigned long content) {
    CheckEnoughRoom(1 + sizeof content);
    *cursor++ = number_byte;
    unsigned long const big_endian = __builtin_bswap64(content);
    std::memcpy(cursor, &big_endian, sizeof big_endian);
    cursor += sizeof big_endian;
  }

  [[gnu::noinline]] void grow(unsigned long used, unsigned long n) {
    unsigned long const needed = used + n;
    unsigned long const doubled = 2 * buffer.size();
    buffer.resize(std::max(needed, doubled));
    cursor = buffer.data() + used;
  }

  Buffer buffer;
  unsigned char* cursor;  // The place of the next byte.
};

}  // namespace db_util
