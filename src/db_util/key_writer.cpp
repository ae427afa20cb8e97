#include "db_util/key_writer.h"

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"

namespace db_util {

namespace {

constexpr unsigned char first_chunk = 0x20;
constexpr unsigned char end_of_field = 0x80;

unsigned char* append(unsigned char* cursor, unsigned char const* bytes,
                      unsigned long size) noexcept {
  if (size != 0) std::memcpy(cursor, bytes, size);  // `bytes` may be null when there are none.
  return cursor + size;
}

// The chunks behind the first one, and the end of the field.
unsigned char* write_further_chunks(unsigned char* cursor, unsigned char const* bytes,
                                    unsigned long size) noexcept {
  while (size != 0) {
    unsigned long const chunk = std::min(size, detail::chunk_capacity);
    *cursor++ = static_cast<unsigned char>(chunk);
    cursor = append(cursor, bytes, chunk);
    bytes += chunk;
    size -= chunk;
  }
  *cursor++ = end_of_field;
  return cursor;
}

}  // namespace

namespace detail {

unsigned char* write_string_chunks(unsigned char* cursor, unsigned char const* bytes,
                                   unsigned long size) noexcept {
  unsigned long const chunk = std::min(size, chunk_capacity);
  *cursor++ = static_cast<unsigned char>(first_chunk + chunk);
  cursor = append(cursor, bytes, chunk);
  return write_further_chunks(cursor, bytes + chunk, size - chunk);
}

unsigned char* write_binary_chunks(unsigned char* cursor, unsigned char const* bytes,
                                   unsigned long size) noexcept {
  // The zero byte, which puts every binary below the upper end, is part of the first chunk.
  unsigned long const chunk = std::min(size, chunk_capacity - 1);
  *cursor++ = static_cast<unsigned char>(first_chunk + chunk + 1);
  *cursor++ = 0;
  cursor = append(cursor, bytes, chunk);
  return write_further_chunks(cursor, bytes + chunk, size - chunk);
}

}  // namespace detail

void KeyBuf::resize(unsigned long) {
  db_exception::raise(error_handling::key_buffer_full);
}

void stack_key::resize(unsigned long size) {
  std::unique_ptr<unsigned char[]> larger(new unsigned char[size]);
  std::memcpy(larger.get(), bytes, std::min(capacity, size));
  heap_bytes = std::move(larger);
  bytes = heap_bytes.get();
  capacity = size;
}

}  // namespace db_util
