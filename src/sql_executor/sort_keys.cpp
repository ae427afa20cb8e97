#include "sql_executor/sort_keys.h"

#include <algorithm>
#include <bit>
#include <boost/sort/pdqsort/pdqsort.hpp>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "db_string/densetext.h"

namespace qd::sql_executor {

using db_string::dt_string;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;

namespace {

using byte_vector = std::vector<unsigned char>;

constexpr unsigned char null_kind = 0;
// Behind a zero byte: it belongs to the content, or it begins the end.
constexpr unsigned char zero_of_content = 0xFF;
constexpr unsigned char end_of_content = 0x00;

template <typename T>
constexpr unsigned char kind_byte =
    std::is_same_v<T, NullValue> ? null_kind : detail::index_of<T> + 1;

template <typename T>
void append_number(byte_vector& bytes, T number) {
  unsigned char encoded[sizeof number];
  for (std::size_t i = 0; i < sizeof number; ++i) {
    encoded[i] = static_cast<unsigned char>(number >> 8 * (sizeof number - 1 - i));
  }
  bytes.insert(bytes.end(), encoded, encoded + sizeof number);
}

template <typename T>
constexpr T sign_bit = T{1} << (8 * sizeof(T) - 1);

template <typename F>
using bits_of = std::conditional_t<sizeof(F) == 8, std::uint64_t, std::uint32_t>;

template <typename F>
bits_of<F> ordered_bits(F number) {
  using bits = bits_of<F>;
  bits const pattern = std::bit_cast<bits>(number == 0 ? F(0) : number);
  return (pattern & sign_bit<bits>) != 0 ? ~pattern : pattern | sign_bit<bits>;
}

template <typename F>
F from_ordered_bits(bits_of<F> ordered) {
  using bits = bits_of<F>;
  return std::bit_cast<F>((ordered & sign_bit<bits>) != 0 ? ordered & ~sign_bit<bits> : ~ordered);
}

std::uint64_t flip_sign(long number) {
  return static_cast<std::uint64_t>(number) ^ sign_bit<std::uint64_t>;
}

void append_escaped(byte_vector& bytes, unsigned char const* content, std::size_t size) {
  while (size != 0) {
    void const* const zero = std::memchr(content, 0, size);
    if (zero == nullptr) break;
    std::size_t const with_zero =
        static_cast<std::size_t>(static_cast<unsigned char const*>(zero) - content) + 1;
    bytes.insert(bytes.end(), content, content + with_zero);
    bytes.push_back(zero_of_content);
    content += with_zero;
    size -= with_zero;
  }
  bytes.insert(bytes.end(), content, content + size);
  bytes.push_back(0);
  bytes.push_back(end_of_content);
}

struct content_writer {
  byte_vector& bytes;

  void operator()(bool content) const { bytes.push_back(content ? 1 : 0); }
  void operator()(unsigned long content) const { append_number(bytes, content); }
  void operator()(QD_OBJ_REF const& content) const { append_number(bytes, content.oid); }
  void operator()(long content) const { append_number(bytes, flip_sign(content)); }
  void operator()(Decimal content) const { append_number(bytes, flip_sign(content.scaled)); }
  void operator()(double content) const { append_number(bytes, ordered_bits(content)); }
  void operator()(float content) const { append_number(bytes, ordered_bits(content)); }
  void operator()(NullValue) const {}

  void operator()(dt_string const& content) const {
    db_string::densetext_payload const payload =
        db_string::read_densetext(content.data(), content.size());
    unsigned long const size = payload.significant_bytes();
    append_escaped(bytes, payload.bytes, size);
    unsigned long const bits_before_last = size == 0 ? 0 : 8 * (size - 1);
    bytes.push_back(static_cast<unsigned char>(payload.significant_bits - bits_before_last));
  }
  void operator()(Binary const& content) const {
    append_escaped(bytes, content.bytes.data(), content.bytes.size());
  }
  void operator()(SetSpecifier const& content) const {
    byte_vector unit_bytes;
    unit_bytes.reserve(2 * content.specifier.size());
    for (char16_t unit : content.specifier) {
      append_number(unit_bytes, static_cast<std::uint16_t>(unit));
    }
    append_escaped(bytes, unit_bytes.data(), unit_bytes.size());
  }
};

// Reads encoded values one after the other.
class content_reader {
 public:
  explicit content_reader(unsigned char const* start) : next_(start) {}

  value read(bool ascending) {
    inversion_ = ascending ? 0 : 0xFF;
    switch (read_byte()) {
      case null_kind:
        return NullValue{};
      case kind_byte<bool>:
        return read_byte() != 0;
      case kind_byte<dt_string>:
        return read_string();
      case kind_byte<unsigned long>:
        return read_number<std::uint64_t>();
      case kind_byte<long>:
        return read_signed();
      case kind_byte<Decimal>:
        return Decimal{read_signed()};
      case kind_byte<double>:
        return from_ordered_bits<double>(read_number<std::uint64_t>());
      case kind_byte<float>:
        return from_ordered_bits<float>(read_number<std::uint32_t>());
      case kind_byte<Binary>:
        return Binary{read_escaped()};
      case kind_byte<QD_OBJ_REF>:
        return QD_OBJ_REF{read_number<std::uint64_t>(), 0};
      default:
        return read_set_specifier();
    }
  }

 private:
  unsigned char read_byte() { return static_cast<unsigned char>(*next_++ ^ inversion_); }

  template <typename T>
  T read_number() {
    T number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i)
      number = static_cast<T>(number << 8 | read_byte());
    return number;
  }

  long read_signed() {
    return static_cast<long>(read_number<std::uint64_t>() ^ sign_bit<std::uint64_t>);
  }

  byte_vector read_escaped() {
    byte_vector content;
    while (true) {
      unsigned char const byte = read_byte();
      if (byte == 0 && read_byte() == end_of_content) return content;
      content.push_back(byte);
    }
  }

  value read_string() {
    constexpr unsigned char end_of_header = 0x80;
    byte_vector const payload = read_escaped();
    unsigned char const bits_in_last = read_byte();
    if (payload.empty()) return dt_string();
    byte_vector densetext = {static_cast<unsigned char>(end_of_header | (8 - bits_in_last))};
    densetext.insert(densetext.end(), payload.begin(), payload.end());
    return dt_string(densetext.data(), densetext.size());
  }

  value read_set_specifier() {
    byte_vector const unit_bytes = read_escaped();
    SetSpecifier content;
    for (std::size_t i = 0; i < unit_bytes.size(); i += 2) {
      content.specifier.push_back(static_cast<char16_t>(unit_bytes[i] << 8 | unit_bytes[i + 1]));
    }
    return content;
  }

  unsigned char const* next_;
  unsigned char inversion_ = 0;  // 0xFF in a descending key.
};

std::uint64_t big_endian_word(unsigned char const* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  static_assert(std::endian::native == std::endian::little);
  return __builtin_bswap64(word);
}

}  // namespace

sort_keys::sort_keys(std::vector<bool> const& ascending)
    : ascending_(ascending), kinds_(ascending.size(), null_kind) {}

void sort_keys::add(value const& key) {
  std::size_t const start = key_.size();
  visit(
      [this]<typename T>(T const& content) {
        key_.push_back(kind_byte<T>);
        if constexpr (!std::is_same_v<T, NullValue>) {
          unsigned char& kind = kinds_[position_];
          if (kind != kind_byte<T>) {
            if (kind != null_kind) order_is_total_ = false;
            kind = kind_byte<T>;
          }
        }
        if constexpr (std::is_floating_point_v<T>) {
          if (std::isnan(content)) order_is_total_ = false;
        }
        content_writer{key_}(content);
      },
      key);
  if (!ascending_[position_]) {
    for (std::size_t i = start; i < key_.size(); ++i) {
      key_[i] = static_cast<unsigned char>(~key_[i]);
    }
  }
  ++position_;
}

void sort_keys::end_row() {
  std::uint64_t const row = entries_.size();
  if (row % rows_per_block == 0) {
    if (!tails_.empty()) tails_.back().bytes.shrink_to_fit();
    tails_.emplace_back();
  }
  tail_block& block = tails_.back();
  block.starts.push_back(block.bytes.size());
  if (key_.size() > prefix_size) {
    block.bytes.insert(block.bytes.end(), key_.begin() + prefix_size, key_.end());
  } else {
    key_.resize(prefix_size);
  }
  entries_.push_back(
      {big_endian_word(key_.data()), big_endian_word(key_.data() + prefix_size / 2), row});
  key_.clear();
  position_ = 0;
}

sort_keys::byte_view sort_keys::tail(std::uint64_t row) const {
  tail_block const& block = tails_[row / rows_per_block];
  std::uint64_t const number = row % rows_per_block;
  std::uint64_t const start = block.starts[number];
  bool const is_last = number + 1 == block.starts.size();
  std::uint64_t const end = is_last ? block.bytes.size() : block.starts[number + 1];
  return {block.bytes.data() + start, end - start};
}

void sort_keys::sort() {
  // Without branches on the outcome of a comparison, which of random keys cannot be foretold.
  boost::sort::pdqsort_branchless(
      entries_.begin(), entries_.end(), [this](entry const& a, entry const& b) {
        if (a.high != b.high) return a.high < b.high;
        if (a.low != b.low) return a.low < b.low;
        byte_view const a_tail = tail(a.row);
        byte_view const b_tail = tail(b.row);
        std::size_t const common = std::min(a_tail.size(), b_tail.size());
        return common != 0 && std::memcmp(a_tail.data(), b_tail.data(), common) < 0;
      });
  tails_ = {};
}

std::vector<value> sort_keys::decoded(std::uint64_t row) const {
  byte_vector bytes;
  append_number(bytes, entries_[row].high);
  append_number(bytes, entries_[row].low);
  byte_view const rest = tail(row);
  bytes.insert(bytes.end(), rest.begin(), rest.end());
  std::vector<value> key;
  key.reserve(ascending_.size());
  content_reader reader(bytes.data());
  for (bool ascending : ascending_) key.push_back(reader.read(ascending));
  return key;
}

}  // namespace qd::sql_executor
