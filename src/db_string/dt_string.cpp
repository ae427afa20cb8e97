#include "db_string/dt_string.h"

#include <boost/container_hash/hash.hpp>
#include <cstdint>
#include <new>

#include "db_util/db_exception.h"

namespace db_string {

using db_util::db_exception;

namespace {

unsigned long word_at(unsigned char const* bytes) noexcept {
  unsigned long word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

// The fewer than 8 bytes at `bytes`, at least one, as the low bytes of a word, zero above them.
unsigned long short_word(unsigned char const* bytes, unsigned long size) noexcept {
  if (size >= 4) {
    std::uint32_t low;
    std::uint32_t high;  // Overlaps `low`.
    std::memcpy(&low, bytes, sizeof low);
    std::memcpy(&high, bytes + size - sizeof high, sizeof high);
    return low | static_cast<unsigned long>(high) << 8 * (size - sizeof high);
  }
  unsigned long const first = bytes[0];
  unsigned long const middle = bytes[size / 2];  // The first or the last one, unless there are 3.
  unsigned long const last = bytes[size - 1];
  return first | middle << 8 * (size / 2) | last << 8 * (size - 1);
}

}  // namespace

void dt_string::copy(unsigned char const* bytes, unsigned long n) {
  if (n > inline_capacity) {
    auto* const buffer = new unsigned char[n];
    std::memcpy(buffer, bytes, n);
    clear();
    words_[0] = std::bit_cast<unsigned long>(buffer);
    words_[1] = heap_tag | n;
  } else if (n == 0) {
    reserve(0);
  } else {
    // The words are composed in registers: filling them byte by byte would stall the next copy. Of
    // the last 8 bytes, those that stand in the low word are shifted out.
    bool const fits_one_word = n < 8;
    unsigned long const low = fits_one_word ? short_word(bytes, n) : word_at(bytes);
    unsigned long const high = fits_one_word ? 0 : word_at(bytes + n - 8) >> 8 * (15 - n) >> 8;
    clear();
    words_[0] = low;
    words_[1] = high | n << tag_shift;
  }
}

void dt_string::reserve(unsigned long n) {
  if (n > inline_capacity) {
    auto* const buffer = new unsigned char[n]();
    clear();
    words_[0] = std::bit_cast<unsigned long>(buffer);
    words_[1] = heap_tag | n;
  } else if (n == 0 && on_heap()) {
    words_[1] = heap_tag;
  } else {
    clear();
    words_[1] = n << tag_shift;
  }
}

dt_string::dt_string(unsigned long kernel_context, char16_t const* text, bool infinite) {
  VELA_BYTES const* densetext = nullptr;
  db_exception::check(
      vela_context_convert_ucs2_to_densetext(kernel_context, text, infinite, &densetext));
  copy(densetext->bytes, densetext->count);
}

dt_string::dt_string(unsigned long kernel_context, std::u16string const& text, bool infinite)
    : dt_string(kernel_context, text.c_str(), infinite) {}

namespace {

using encoder_function = unsigned int(char16_t const* text, bool infinite, unsigned char* buffer,
                                      unsigned long capacity);

// What `encode`, one of the kernel's conversions without a context, makes of a text.
dt_string encoded(encoder_function& encode, char16_t const* text, bool infinite) {
  dt_string result;
  unsigned int const size = encode(text, infinite, nullptr, 0);
  result.reserve(size);
  encode(text, infinite, result.data(), size);
  return result;
}

}  // namespace

dt_string::dt_string(char16_t const* text, bool infinite)
    : dt_string(encoded(vela_convert_ucs2_to_densetext, text, infinite)) {}

dt_string::dt_string(std::u16string const& text, bool infinite)
    : dt_string(text.c_str(), infinite) {}

dt_string::dt_string(VELA_VALUE const& value, Infinite)
    : dt_string(dt_string(value.data, value.size).string(), true) {}

dt_string dt_string::setspec_string(char16_t const* text, bool infinite) {
  return encoded(vela_convert_ucs2_to_setspecdt, text, infinite);
}

namespace {

using context_decoder = unsigned int(unsigned long context, unsigned char const* bytes,
                                     unsigned long count, VELA_UCS2 const** out);
using decoder = int(unsigned char const* bytes, unsigned int count, char16_t* buffer,
                    unsigned int capacity_units);

// The text on loan from the kernel.
std::u16string_view borrow_text(context_decoder& decode, unsigned long kernel_context,
                                dt_string const& source) {
  VELA_UCS2 const* text = nullptr;
  db_exception::check(decode(kernel_context, source.data(), source.size(), &text));
  return {text->units, text->count};
}

std::u16string decoded(decoder& decode, dt_string const& source) {
  auto const size = static_cast<unsigned int>(source.size());
  int const reported = decode(source.data(), size, nullptr, 0);
  auto const units = static_cast<unsigned int>(reported);
  unsigned int const count = reported < 0 ? 0 - units : units;
  std::u16string text(count, u'\0');
  // The zero unit goes where the string keeps its own.
  decode(source.data(), size, text.data(), count + 1);
  return text;
}

}  // namespace

std::u16string dt_string::string(unsigned long kernel_context) const {
  return std::u16string(borrow_text(vela_context_convert_densetext_to_ucs2, kernel_context, *this));
}

std::u16string dt_string::string() const {
  return decoded(vela_convert_densetext_to_ucs2, *this);
}

std::u16string dt_string::base_string(unsigned long kernel_context) const {
  return std::u16string(to_base_utf16_view(kernel_context, *this));
}

std::u16string dt_string::base_string() const {
  return decoded(vela_convert_densetext_to_base_ucs2, *this);
}

std::pair<char16_t const*, unsigned long> to_utf16_buffer(unsigned long kernel_context,
                                                          dt_string const& source) {
  std::u16string_view const text =
      borrow_text(vela_context_convert_densetext_to_ucs2, kernel_context, source);
  return {text.data(), text.size() + 1};
}

std::u16string_view to_base_utf16_view(unsigned long kernel_context, dt_string const& source) {
  return borrow_text(vela_context_convert_densetext_to_base_ucs2, kernel_context, source);
}

std::size_t hash_value(dt_string const& string) {
  return boost::hash_range(string.data(), string.data() + string.size());
}

}  // namespace db_string
