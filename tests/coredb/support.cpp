#include "coredb/support.h"

#include <algorithm>

#include "coredb/byte_order.h"

namespace qd::coredb::test {
namespace {

template <typename T>
int order(T const& left, T const& right) {
  return left < right ? -1 : right < left;
}

int compare_texts(test_value const& left, test_value const& right) {
  if (left.infinite && right.text.starts_with(left.text)) {
    return right.infinite ? order(right.text.size(), left.text.size()) : 1;
  }
  if (right.infinite && left.text.starts_with(right.text)) return -1;
  return order(left.text, right.text);
}

// Content in pieces of at most 31 bytes, each behind its length, the first length with 0x20 added.
void append_pieces(std::vector<unsigned char>& key, std::string_view content) {
  unsigned char mark = 0x20;
  do {
    std::string_view const piece = content.substr(0, 31);
    content.remove_prefix(piece.size());
    key.push_back(static_cast<unsigned char>(mark + piece.size()));
    key.insert(key.end(), piece.begin(), piece.end());
    mark = 0;
  } while (!content.empty());
  key.push_back(0x80);
}

void append_word(std::vector<unsigned char>& key, std::uint64_t word) {
  unsigned char bytes[8];
  put_big_endian(bytes, word);
  key.push_back(0x28);
  key.insert(key.end(), bytes, bytes + 8);
}

std::uint64_t encode_decimal(std::int64_t scaled) {
  std::int64_t const x = scaled < 0 ? -scaled : scaled;
  std::int64_t const encoded =
      (x / 1'000'000) << 21 | ((x % 1'000'000) / 10'000) << 14 | (x % 10'000);
  return static_cast<std::uint64_t>(scaled < 0 ? -encoded : encoded);
}

}  // namespace

int compare(test_value const& left, test_value const& right) {
  if (left.null || right.null) return order(!left.null, !right.null);
  switch (left.kind) {
    case kind::signed_integer:
    case kind::decimal:
      return order(static_cast<std::int64_t>(left.word), static_cast<std::int64_t>(right.word));
    case kind::single_float:
    case kind::double_float:
      return order(left.number, right.number);
    case kind::string:
    case kind::set_specifier:
      return compare_texts(left, right);
    case kind::binary:
      if (left.infinite || right.infinite) return order(left.infinite, right.infinite);
      return order(std::string_view(left.bytes), std::string_view(right.bytes));
    case kind::unsigned_integer:
    case kind::reference:
    case kind::boolean:
      break;
  }
  return order(left.word, right.word);
}

std::vector<unsigned char> key_of(std::vector<test_value> const& fields) {
  std::vector<unsigned char> key;
  for (test_value const& value : fields) {
    if (value.null) {
      key.push_back(0x60);
      continue;
    }
    switch (value.kind) {
      case kind::signed_integer:
        append_word(key, value.word + (std::uint64_t{1} << 63));
        break;
      case kind::decimal:
        append_word(
            key, encode_decimal(static_cast<std::int64_t>(value.word)) + (std::uint64_t{1} << 63));
        break;
      case kind::string:
      case kind::set_specifier:
        append_pieces(key, std::string_view(value.bytes).substr(1));
        break;
      case kind::binary:
        append_pieces(key, value.infinite ? std::string(1, '\1') : '\0' + value.bytes);
        break;
      case kind::single_float:
      case kind::double_float:
      case kind::unsigned_integer:
      case kind::reference:
      case kind::boolean:
        append_word(key, value.word);
        break;
    }
  }
  key.push_back(0xC0);
  // Exactly as long as it says: a reader that goes further is found by the address sanitizer.
  key.shrink_to_fit();
  return key;
}

oids scan(unsigned long context, std::uint64_t index, std::vector<test_value> const& first,
          std::vector<test_value> const& last, unsigned int flags) {
  std::vector<unsigned char> const first_key = key_of(first);
  std::vector<unsigned char> const last_key = key_of(last);
  unsigned long iterator = 0;
  unsigned int status = vela_context_create_iterator(context, index, flags, first_key.data(),
                                                     last_key.data(), &iterator);
  EXPECT_EQ(status, status_ok);
  oids found;
  if (status != status_ok) return found;
  VELA_RECORD record{};
  while ((status = vela_iterator_next(iterator, &record)) == status_ok && record.oid != 0) {
    found.push_back(record.oid);
  }
  EXPECT_EQ(status, status_ok);
  EXPECT_EQ(vela_iterator_free(iterator), status_ok);
  return found;
}

}  // namespace qd::coredb::test
