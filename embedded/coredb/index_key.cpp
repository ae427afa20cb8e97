#include "coredb/index_key.h"

#include <bit>
#include <cmath>

#include "coredb/byte_order.h"
#include "coredb/text_codec.h"

namespace qd::coredb {
namespace {

// Markers of storage keys. Neither 00 nor FF, so that a successor always exists, for a descending
// column's inverted marker, too.
constexpr unsigned char null_marker = 0x10;
constexpr unsigned char value_marker = 0x20;
constexpr unsigned char beyond_binaries_marker = 0x30;
// Numbers: a byte more for each byte of a number from 0 up, a byte less for each below.
constexpr unsigned char minus_one_marker = 0x28;
constexpr unsigned char zero_marker = 0x29;

constexpr unsigned char escaped_byte = 0x00;
constexpr unsigned char escape = 0xFF;
constexpr unsigned char content_end = 0x01;

constexpr std::uint64_t sign_bit = std::uint64_t{1} << 63;

// Bytes of the keys that callers write.
namespace caller {
constexpr unsigned char null = 0x60;
constexpr unsigned char fixed = 0x28;
constexpr unsigned char first_piece = 0x20;  // Plus the piece's length.
constexpr unsigned char longest_piece = 31;
constexpr unsigned char content_end = 0x80;
constexpr unsigned char key_end = 0xC0;
constexpr unsigned char binary_value = 0x00;
constexpr unsigned char beyond_binaries = 0x01;
}  // namespace caller

void invert_from(key_buffer& key, std::size_t start) {
  unsigned char* const bytes = key.data();
  for (std::size_t i = start; i < key.size(); ++i) bytes[i] = static_cast<unsigned char>(~bytes[i]);
}

std::uint64_t ordered(double number) {
  if (std::isnan(number)) return ~std::uint64_t{0};
  // Adding zero makes -0 +0.
  std::uint64_t const bits = std::bit_cast<std::uint64_t>(number + 0.0);
  return bits & sign_bit ? ~bits : bits | sign_bit;
}

unsigned int significant_bytes(std::uint64_t number) {
  return (static_cast<unsigned int>(std::bit_width(number)) + 7) / 8;
}

// Appends a marker and the low `count` bytes of a number, inverted on a descending column.
void append_number(key_buffer& key, unsigned char marker, std::uint64_t number, unsigned int count,
                   bool ascending) {
  unsigned char field[1 + sizeof number];
  if (!ascending) {
    marker = static_cast<unsigned char>(~marker);
    number = ~number;
  }
  field[0] = marker;
  // The bytes wanted come first; those behind them are not appended.
  put_big_endian(field + 1, count == 0 ? 0 : number << (64 - 8 * count));
  key.append(field, 1 + count);
}

void append_escaped(key_buffer& key, unsigned char const* bytes, std::size_t size) {
  while (size > 0) {
    void const* const zero = std::memchr(bytes, escaped_byte, size);
    std::size_t const plain = zero ? static_cast<unsigned char const*>(zero) - bytes : size;
    key.append(bytes, plain);
    if (!zero) return;
    unsigned char const pair[] = {escaped_byte, escape};
    key.append(pair, sizeof pair);
    bytes += plain + 1;
    size -= plain + 1;
  }
}

void append_content_end(key_buffer& key) {
  unsigned char const pair[] = {escaped_byte, content_end};
  key.append(pair, sizeof pair);
}

void append_content(key_buffer& key, unsigned char const* bytes, std::size_t size, bool ascending) {
  std::size_t const start = key.size();
  key.push_back(value_marker);
  append_escaped(key, bytes, size);
  append_content_end(key);
  if (!ascending) invert_from(key, start);
}

// Reads a caller's key field by field and appends the fields of a storage key.
class caller_key_reader {
 public:
  caller_key_reader(unsigned char const* key, key_buffer& out) : next_(key), out_(out) {}

  bool at_end() const { return *next_ == caller::key_end; }

  key_status read_field(index_column_definition const& column) {
    std::size_t const start = out_.size();
    key_status const status = read_ascending(column.kind);
    if (status == key_status::good && !column.ascending) invert_from(out_, start);
    return status;
  }

 private:
  key_status read_ascending(column_kind kind) {
    if (*next_ == caller::null) {
      ++next_;
      out_.push_back(null_marker);
      return key_status::good;
    }
    switch (kind) {
      case column_kind::unsigned_integer:
      case column_kind::signed_integer:
      case column_kind::decimal:
      case column_kind::reference:
      case column_kind::boolean:
        return read_fixed(kind);
      case column_kind::string:
      case column_kind::set_specifier:
        return read_text();
      case column_kind::binary:
        return read_binary();
      case column_kind::single_float:
      case column_kind::double_float:
        break;
    }
    return key_status::unsupported;
  }

  key_status read_fixed(column_kind kind) {
    if (*next_++ != caller::fixed) return key_status::malformed;
    std::uint64_t word;
    std::memcpy(&word, next_, sizeof word);
    next_ += sizeof word;
    word = __builtin_bswap64(word);
    if (kind != column_kind::signed_integer && kind != column_kind::decimal) {
      append_unsigned(out_, word, true);
      return key_status::good;
    }
    auto number = static_cast<std::int64_t>(word ^ sign_bit);
    if (kind == column_kind::decimal && !decode_decimal(number, number)) {
      return key_status::malformed;
    }
    append_signed(out_, number, true);
    return key_status::good;
  }

  // The length of a content's first piece; false when its byte is none.
  bool read_first_length(unsigned& length) {
    unsigned char const byte = *next_;
    if (byte < caller::first_piece || byte > caller::first_piece + caller::longest_piece) {
      return false;
    }
    length = byte - caller::first_piece;
    ++next_;
    return true;
  }

  key_status read_text() {
    unsigned length = 0;
    if (!read_first_length(length)) return key_status::malformed;
    out_.push_back(value_marker);
    return read_pieces(length);
  }

  key_status read_binary() {
    unsigned length = 0;
    if (!read_first_length(length) || length == 0) return key_status::malformed;
    unsigned char const form = *next_++;
    if (form == caller::binary_value) {
      out_.push_back(value_marker);
      return read_pieces(length - 1);
    }
    if (form != caller::beyond_binaries || length != 1 || *next_ != caller::content_end) {
      return key_status::malformed;
    }
    ++next_;
    out_.push_back(beyond_binaries_marker);
    return key_status::good;
  }

  // Reads the present piece of `length` bytes and those that follow, to the content's end.
  key_status read_pieces(unsigned length) {
    for (;;) {
      append_escaped(out_, next_, length);
      next_ += length;
      unsigned char const byte = *next_++;
      if (byte == caller::content_end) {
        append_content_end(out_);
        return key_status::good;
      }
      if (byte == 0 || byte > caller::longest_piece) return key_status::malformed;
      length = byte;
    }
  }

  unsigned char const* next_;
  key_buffer& out_;
};

}  // namespace

void key_buffer::grow(std::size_t count) {
  std::size_t const capacity = std::max(capacity_ * 2, size_ + count);
  auto larger = std::make_unique_for_overwrite<unsigned char[]>(capacity);
  std::memcpy(larger.get(), data(), size_);
  heap_ = std::move(larger);
  capacity_ = capacity;
}

void append_null(key_buffer& key, bool ascending) {
  key.push_back(ascending ? null_marker : static_cast<unsigned char>(~null_marker));
}

void append_unsigned(key_buffer& key, std::uint64_t number, bool ascending) {
  unsigned int const count = significant_bytes(number);
  append_number(key, static_cast<unsigned char>(zero_marker + count), number, count, ascending);
}

void append_signed(key_buffer& key, std::int64_t number, bool ascending) {
  auto const word = static_cast<std::uint64_t>(number);
  if (number >= 0) return append_unsigned(key, word, ascending);
  unsigned int const count = significant_bytes(~word);
  append_number(key, static_cast<unsigned char>(minus_one_marker - count), word, count, ascending);
}

void append_double(key_buffer& key, double number, bool ascending) {
  append_number(key, value_marker, ordered(number), sizeof number, ascending);
}

std::optional<std::uint64_t> least_unsigned_at(std::span<unsigned char const> bytes) {
  if (bytes.empty() || bytes[0] < zero_marker) return 0;
  unsigned int const count = bytes[0] - zero_marker;
  if (count > sizeof(std::uint64_t)) return std::nullopt;
  if (count == 0) return bytes.size() == 1 ? 0 : 1;
  // What the bytes lack counts as zero.
  std::uint64_t number = 0;
  for (unsigned int i = 1; i <= count; ++i)
    number = number << 8 | (i < bytes.size() ? bytes[i] : 0);
  bool const goes_on = bytes.size() > 1 + count;
  std::uint64_t const least = std::uint64_t{1} << 8 * (count - 1);
  if (number < least) return least;
  if (goes_on && number == ~std::uint64_t{0}) return std::nullopt;
  return number + goes_on;
}

void append_text(key_buffer& key, unsigned char const* densetext, std::size_t size,
                 bool ascending) {
  text_payload const payload = payload_of(densetext, size);
  append_content(key, payload.data, (payload.bits + 7) / 8, ascending);
}

void append_binary(key_buffer& key, unsigned char const* bytes, std::size_t size, bool ascending) {
  append_content(key, bytes, size, ascending);
}

void append_word(key_buffer& key, column_kind kind, std::uint64_t word, bool ascending) {
  switch (kind) {
    case column_kind::signed_integer:
    case column_kind::decimal:
      return append_signed(key, static_cast<std::int64_t>(word), ascending);
    case column_kind::single_float:
      // Every float is a double, and the order is the same.
      return append_double(key, std::bit_cast<float>(static_cast<std::uint32_t>(word)), ascending);
    case column_kind::double_float:
      return append_double(key, std::bit_cast<double>(word), ascending);
    case column_kind::unsigned_integer:
    case column_kind::reference:
    case column_kind::boolean:
    case column_kind::string:
    case column_kind::binary:
    case column_kind::set_specifier:
      break;
  }
  append_unsigned(key, word, ascending);
}

key_status decode_bound(unsigned char const* key, std::span<index_column_definition const> columns,
                        bound_side side, key_bound& out) {
  out.bytes.clear();
  out.beyond_all = false;
  caller_key_reader reader(key, out.bytes);
  for (index_column_definition const& column : columns) {
    if (reader.at_end()) break;
    if (key_status const status = reader.read_field(column); status != key_status::good) {
      return status;
    }
  }
  if (!reader.at_end()) return key_status::malformed;
  if (side == bound_side::after) {
    if (out.bytes.empty()) {
      out.beyond_all = true;
    } else {
      make_successor(out.bytes);
    }
  }
  return key_status::good;
}

void make_successor(key_buffer& key) {
  std::size_t size = key.size();
  while (key.data()[size - 1] == 0xFF) --size;
  ++key.data()[size - 1];
  key.truncate(size);
}

bool decode_decimal(std::int64_t encoded, std::int64_t& scaled) {
  // As unsigned, because the least number has no positive counterpart.
  std::uint64_t const magnitude =
      encoded < 0 ? -static_cast<std::uint64_t>(encoded) : static_cast<std::uint64_t>(encoded);
  std::uint64_t const hundredths = magnitude >> 14 & 0x7F;
  std::uint64_t const last_decimals = magnitude & 0x3FFF;
  if (hundredths > 99 || last_decimals > 9999 || magnitude >> 63) return false;
  std::int64_t const value = static_cast<std::int64_t>((magnitude >> 21) * 1'000'000 +
                                                       hundredths * 10'000 + last_decimals);
  scaled = encoded < 0 ? -value : value;
  return true;
}

}  // namespace qd::coredb
