// Text in the database's packed encoding, densetext: the string kind of the engine.
#pragma once

#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "kernel/vela.h"

namespace db_string {

// Owns one densetext: a header that counts the unused bits at the end, then the packed text. The
// kernel writes and reads the encoding; the engine compares and stores the bytes as they are.
//
// Sixteen bytes. Up to `inline_capacity` bytes stand in the object itself, more in an owned array.
// Copying copies the bytes; a moved-from string is empty.
class dt_string {
 public:
  static constexpr unsigned long inline_capacity = 15;

  // Selects the constructor that makes the upper end of a prefix range.
  struct Infinite {};

  // An empty string without a buffer.
  dt_string() noexcept = default;
  // A copy of `size` bytes of densetext.
  dt_string(unsigned char const* bytes, unsigned long size) { copy(bytes, size); }

  // The densetext of a text that ends at its first zero unit. With `infinite`, the largest string
  // that begins with the text. Throws db_exception with the kernel's status.
  dt_string(unsigned long kernel_context, char16_t const* text, bool infinite);
  dt_string(unsigned long kernel_context, std::u16string const& text, bool infinite);
  // The same without a kernel context; these do not fail but for memory.
  dt_string(char16_t const* text, bool infinite);
  dt_string(std::u16string const& text, bool infinite);
  // The largest string that begins with the text of the densetext `value`.
  dt_string(VELA_VALUE const& value, Infinite);

  dt_string(dt_string const& other) { assign(other); }
  dt_string(dt_string&& other) noexcept : words_{other.words_[0], other.words_[1]} {
    other.forget();
  }
  dt_string& operator=(dt_string const& other) {
    if (this != &other) *this = dt_string(other);
    return *this;
  }
  dt_string& operator=(dt_string&& other) noexcept {
    std::swap(words_[0], other.words_[0]);
    std::swap(words_[1], other.words_[1]);
    if (this != &other) other.clear();
    return *this;
  }
  ~dt_string() {
    if (on_heap()) delete[] heap_data();
  }

  // The densetext of a set specifier, by the kernel's conversion without a context.
  static dt_string setspec_string(char16_t const* text, bool infinite);

  // Bytes held.
  unsigned long size() const noexcept {
    return on_heap() ? words_[1] & heap_size_mask : words_[1] >> tag_shift;
  }
  // The bytes; null when there are none and no buffer is kept. Holds until the next change.
  unsigned char const* data() const noexcept {
    if (on_heap()) return heap_data();
    return words_[1] == 0 ? nullptr : reinterpret_cast<unsigned char const*>(words_);
  }
  unsigned char* data() noexcept { return const_cast<unsigned char*>(std::as_const(*this).data()); }

  // Replaces the content by a copy of n bytes, which may not lie in this string. n = 0 makes the
  // string empty and keeps its buffer.
  void copy(unsigned char const* bytes, unsigned long n);
  // Replaces the content by n zero bytes, to be written through data(). n = 0 makes the string
  // empty and keeps its buffer.
  void reserve(unsigned long n);

  // The text. Throws db_exception with the kernel's status.
  std::u16string string(unsigned long kernel_context) const;
  std::u16string string() const;
  // The kernel's base form of the text, for pattern matching and type names.
  std::u16string base_string(unsigned long kernel_context) const;
  std::u16string base_string() const;

  // Byte for byte.
  friend bool operator==(dt_string const& left, dt_string const& right) noexcept {
    if (!left.on_heap() && !right.on_heap()) {
      return left.words_[0] == right.words_[0] && left.words_[1] == right.words_[1];
    }
    unsigned long const size = left.size();
    return size == right.size() && (size == 0 || std::memcmp(left.data(), right.data(), size) == 0);
  }

 private:
  static_assert(std::endian::native == std::endian::little,
                "the size of an inline string stands in the last byte of its second word");
  static constexpr int tag_shift = 56;
  static constexpr unsigned long heap_tag = 0x80UL << tag_shift;
  static constexpr unsigned long heap_size_mask = (1UL << tag_shift) - 1;

  bool on_heap() const noexcept { return words_[1] >= heap_tag; }
  unsigned char* heap_data() const noexcept { return reinterpret_cast<unsigned char*>(words_[0]); }
  void forget() noexcept {
    words_[0] = 0;
    words_[1] = 0;
  }
  void clear() noexcept {
    if (on_heap()) delete[] heap_data();
    forget();
  }
  void assign(dt_string const& other) {
    if (other.on_heap()) {
      copy(other.heap_data(), other.size());
    } else {
      words_[0] = other.words_[0];
      words_[1] = other.words_[1];
    }
  }

  // Inline: bytes 0 to 14 are the content, zero beyond the size, and byte 15 is the size.
  // On the heap: word 0 is the array, word 1 the size with the top bit set.
  unsigned long words_[2] = {0, 0};
};

// The text of `source` in a buffer of the kernel: its units, and their count plus 1. Holds until
// the next kernel call. Throws db_exception with the kernel's status.
std::pair<char16_t const*, unsigned long> to_utf16_buffer(unsigned long kernel_context,
                                                          dt_string const& source);

// The kernel's base form of the text, in a buffer of the kernel that holds until the next kernel
// call. Throws db_exception with the kernel's status.
std::u16string_view to_base_utf16_view(unsigned long kernel_context, dt_string const& source);

// Boost's hash of the bytes.
std::size_t hash_value(dt_string const& string);

}  // namespace db_string

// The order of two densetexts on their packed bytes, never decoding them: negative, 0 or positive.
//
// An operand is its significant payload bits, by its header; one without bytes, or whose header
// does not end, has none. The common bytes decide; then the operand with fewer bits is the smaller.
// The magnitude is 1 + the position of the byte that decided (the shorter length where none did).
long DenseText4Compare(unsigned char const* left, unsigned long left_size,
                       unsigned char const* right, unsigned long right_size);
