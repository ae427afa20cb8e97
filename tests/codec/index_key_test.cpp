#include "coredb/index_key.h"

#include <gtest/gtest.h>

#include <cmath>
#include <compare>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "coredb/text_codec.h"

namespace qd::coredb {
namespace {

using bytes = std::vector<unsigned char>;

// Writes keys as callers do, straight from the description of the format.
class caller_key {
 public:
  caller_key& null() { return raw({0x60}); }
  caller_key& fixed(std::uint64_t word) {
    raw({0x28});
    for (int shift = 56; shift >= 0; shift -= 8) raw({static_cast<unsigned char>(word >> shift)});
    return *this;
  }
  caller_key& text(std::u16string const& text, bool infinite = false) {
    std::string const packed = to_densetext(text, infinite);
    return content(packed.substr(1));
  }
  caller_key& binary(std::string const& value) { return content('\0' + value); }
  caller_key& beyond_binaries() { return raw({0x21, 0x01, 0x80}); }
  caller_key& raw(bytes const& more) {
    bytes_.insert(bytes_.end(), more.begin(), more.end());
    return *this;
  }
  bytes end() const {
    bytes key = bytes_;
    key.push_back(0xC0);
    return key;
  }

 private:
  caller_key& content(std::string const& content) {
    std::size_t position = 0;
    do {
      std::string const piece = content.substr(position, 31);
      raw({static_cast<unsigned char>(piece.size() + (position == 0 ? 0x20 : 0))});
      raw({piece.begin(), piece.end()});
      position += piece.size();
    } while (position < content.size());
    return raw({0x80});
  }

  bytes bytes_;
};

std::vector<index_column_definition> columns_of(std::initializer_list<column_kind> kinds) {
  std::vector<index_column_definition> columns;
  for (column_kind const kind : kinds) columns.push_back({0, kind, true});
  return columns;
}

// Decodes from an allocation of exactly the key's size, so that a sanitizer sees a byte too many.
key_status decode(bytes const& key, std::span<index_column_definition const> columns,
                  bound_side side, key_bound& bound) {
  auto exact = std::make_unique<unsigned char[]>(key.size());
  std::copy(key.begin(), key.end(), exact.get());
  return decode_bound(exact.get(), columns, side, bound);
}

bytes bytes_of(key_buffer const& key) {
  return {key.data(), key.data() + key.size()};
}

TEST(IndexKey, LiteralBytes) {
  bytes const piece_of_31(31, 'x');
  struct row {
    char const* name;
    column_kind kind;
    bool ascending;
    bytes key;
    bytes stored;
  };
  bytes long_binary = {0x20};
  long_binary.insert(long_binary.end(), 40, 'x');
  long_binary.insert(long_binary.end(), {0x00, 0x01});
  row const rows[] = {
      {"NULL", column_kind::string, true, caller_key().null().end(), {0x10}},
      {"descending NULL", column_kind::string, false, caller_key().null().end(), {0xEF}},
      {"signed -1",
       column_kind::signed_integer,
       true,
       caller_key().fixed(~0ull >> 1).end(),
       {0x28}},
      {"signed -257",
       column_kind::signed_integer,
       true,
       caller_key().fixed((~0ull >> 1) - 256).end(),
       {0x26, 0xFE, 0xFF}},
      {"unsigned 0", column_kind::unsigned_integer, true, caller_key().fixed(0).end(), {0x29}},
      {"greatest unsigned",
       column_kind::unsigned_integer,
       true,
       caller_key().fixed(~0ull).end(),
       {0x31, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
      {"descending unsigned 1",
       column_kind::unsigned_integer,
       false,
       caller_key().fixed(1).end(),
       {0xD5, 0xFE}},
      {"Decimal 1.5: 1 << 21 | 50 << 14 is 1500000",
       column_kind::decimal,
       true,
       caller_key().fixed(0x80000000002C8000).end(),
       {0x2C, 0x16, 0xE3, 0x60}},
      {"Decimal -0.000001",
       column_kind::decimal,
       true,
       caller_key().fixed(0x7FFFFFFFFFFFFFFF).end(),
       {0x28}},
      {"empty text", column_kind::string, true, caller_key().text(u"").end(), {0x20, 0x00, 0x01}},
      {"above every text",
       column_kind::set_specifier,
       true,
       caller_key().text(u"", true).end(),
       {0x20, 0xE0, 0x00, 0x01}},
      {"text with a zero byte",
       column_kind::string,
       true,
       caller_key().text(u"\u0800").end(),
       {0x20, 0xC1, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0x01}},
      {"descending text",
       column_kind::string,
       false,
       caller_key().text(u"a").end(),
       {0xDF, 0x9E, 0xFF, 0xFE}},
      {"empty binary",
       column_kind::binary,
       true,
       caller_key().binary("").end(),
       {0x20, 0x00, 0x01}},
      {"binary in two pieces", column_kind::binary, true,
       caller_key().binary(std::string(40, 'x')).end(), long_binary},
      {"above every binary",
       column_kind::binary,
       true,
       caller_key().beyond_binaries().end(),
       {0x30}},
  };
  for (row const& row : rows) {
    SCOPED_TRACE(row.name);
    index_column_definition const column = {0, row.kind, row.ascending};
    key_bound bound;
    ASSERT_EQ(decode(row.key, {&column, 1}, bound_side::before, bound), key_status::good);
    EXPECT_EQ(bytes_of(bound.bytes), row.stored);
    EXPECT_FALSE(bound.beyond_all);
  }
}

TEST(IndexKey, MalformedKeysAreReported) {
  struct row {
    char const* name;
    column_kind kind;
    bytes key;
    key_status expected = key_status::malformed;
  };
  row const rows[] = {
      {"a text for a number", column_kind::unsigned_integer, caller_key().text(u"a").end()},
      {"a number for a text", column_kind::string, {0x40}},
      {"no field mark", column_kind::unsigned_integer, {0x00}},
      {"more fields than columns", column_kind::unsigned_integer,
       caller_key().fixed(1).fixed(2).end()},
      {"nothing where the end should be", column_kind::unsigned_integer,
       caller_key().fixed(1).raw({0x00}).end()},
      {"a piece of 32 bytes", column_kind::string, {0x40}},
      {"a further piece of no bytes", column_kind::string, {0x21, 'a', 0x00}},
      {"a further piece of 32 bytes", column_kind::string, {0x21, 'a', 0x20}},
      {"the key's end within a text", column_kind::string, {0x21, 'a', 0xC0}},
      {"a binary without its form", column_kind::binary, {0x20, 0x80, 0xC0}},
      {"a binary of unknown form", column_kind::binary, {0x21, 0x02, 0x80, 0xC0}},
      {"content in the upper end of binaries", column_kind::binary, {0x22, 0x01}},
      {"hundredths above 99", column_kind::decimal,
       caller_key().fixed(1ull << 63 | 100 << 14).end()},
      {"last decimals above 9999", column_kind::decimal,
       caller_key().fixed(1ull << 63 | 10000).end()},
      {"the least number as a Decimal", column_kind::decimal, caller_key().fixed(0).end()},
      {"a value for a floating column", column_kind::double_float, caller_key().fixed(1).end(),
       key_status::unsupported},
  };
  for (row const& row : rows) {
    SCOPED_TRACE(row.name);
    key_bound bound;
    EXPECT_EQ(decode(row.key, columns_of({row.kind}), bound_side::before, bound), row.expected);
  }
}

// Extents walk ids, not keys: where a bound lies among the ids must be where it lies among the keys.
TEST(IndexKey, LeastNumberAtABound) {
  auto const field_of = [](std::uint64_t number) {
    key_buffer key;
    append_unsigned(key, number, true);
    return bytes_of(key);
  };
  std::vector<bytes> bounds = {{}, {0x10}, {0x28}, {0x29}, {0x29, 0x00}, {0x32}, {0x2B}};
  for (std::uint64_t const number :
       {0ull, 1ull, 254ull, 255ull, 256ull, 65'535ull, 65'536ull, 1ull << 63, ~1ull, ~0ull}) {
    bytes const field = field_of(number);
    bounds.push_back(field);
    bounds.emplace_back(field.begin(), field.end() - 1);
    bounds.push_back(field);
    bounds.back().push_back(0x01);
    key_buffer successor;
    append_unsigned(successor, number, true);
    make_successor(successor);
    bounds.push_back(bytes_of(successor));
  }
  for (bytes const& bound : bounds) {
    SCOPED_TRACE(testing::PrintToString(bound));
    std::optional<std::uint64_t> const least = least_unsigned_at(bound);
    if (!least) {
      EXPECT_LT(field_of(~0ull), bound);
      continue;
    }
    EXPECT_GE(field_of(*least), bound);
    if (*least != 0) {
      EXPECT_LT(field_of(*least - 1), bound);
    }
  }
}

TEST(IndexKey, KeyWithoutFieldsCoversOrSkipsTheIndex) {
  auto const columns = columns_of({column_kind::string});
  key_bound bound;
  ASSERT_EQ(decode(caller_key().end(), columns, bound_side::before, bound), key_status::good);
  EXPECT_TRUE(bound.bytes.empty() && !bound.beyond_all);
  ASSERT_EQ(decode(caller_key().end(), columns, bound_side::after, bound), key_status::good);
  EXPECT_TRUE(bound.bytes.empty() && bound.beyond_all);
}

// Rows of an index, ordered by the documented rules without any key.

using cell = std::variant<std::monostate, std::uint64_t, std::int64_t, double, std::u16string,
                          std::string>;  // NULL first, as in the order of variants.

// The cell with its byte-wise or unit-wise order; every column holds one alternative and NULLs.
std::partial_ordering order(cell const& left, cell const& right) {
  if (left.index() != right.index()) return left.index() <=> right.index();
  if (auto const* number = std::get_if<double>(&left)) {
    double const other = std::get<double>(right);
    bool const nan = std::isnan(*number);
    bool const other_nan = std::isnan(other);
    if (nan || other_nan) return nan <=> other_nan;
    return *number <=> other;
  }
  return left < right   ? std::partial_ordering::less
         : right < left ? std::partial_ordering::greater
                        : std::partial_ordering::equivalent;
}

std::partial_ordering order(std::vector<cell> const& left, std::vector<cell> const& right,
                            std::span<index_column_definition const> columns) {
  for (std::size_t i = 0; i < std::min(left.size(), right.size()); ++i) {
    auto const result = order(left[i], right[i]);
    if (result != 0) return columns[i].ascending ? result : 0 <=> result;
  }
  return std::partial_ordering::equivalent;
}

cell random_cell(column_kind kind, std::mt19937_64& random) {
  auto const pick = [&](auto... choices) {
    std::common_type_t<decltype(choices)...> const list[] = {choices...};
    return list[random() % sizeof...(choices)];
  };
  if (random() % 6 == 0) return std::monostate();
  std::size_t const length = random() % 8 == 0 ? 25 + random() % 50 : random() % 3;
  switch (kind) {
    case column_kind::signed_integer:
      return pick(std::int64_t{0}, std::int64_t{-1}, std::int64_t{1}, std::int64_t{255},
                  std::int64_t{256}, std::int64_t{-256}, std::int64_t{-257}, std::int64_t{-65'536},
                  std::int64_t{65'535}, std::numeric_limits<std::int64_t>::min(),
                  std::numeric_limits<std::int64_t>::max());
    case column_kind::decimal:
      return pick(std::int64_t{0}, std::int64_t{-1}, std::int64_t{9'999}, std::int64_t{10'000},
                  std::int64_t{-1'500'000}, std::int64_t{1'500'000},
                  std::int64_t{4398046511103'999'999}, std::int64_t{-4398046511103'999'999},
                  static_cast<std::int64_t>(random() % 100'000'000));
    case column_kind::single_float:
    case column_kind::double_float: {
      double const infinity = std::numeric_limits<double>::infinity();
      return pick(0.0, -0.0, 1.5, -1.5, 1.75, infinity, -infinity, std::nan(""), -std::nan(""));
    }
    case column_kind::boolean:
      return random() % 2;
    case column_kind::string:
    case column_kind::set_specifier: {
      std::u16string text(length, u'a');
      for (char16_t& unit : text) unit = pick(u'a', u'b', u'\0', u'\u0080', u'\u0800', u'\uFFFF');
      return text;
    }
    case column_kind::binary: {
      std::string content(length, 'a');
      for (char& byte : content) byte = pick('\0', '\1', 'a', '\xFE', '\xFF');
      return content;
    }
    case column_kind::unsigned_integer:
    case column_kind::reference:
      break;
  }
  return pick(std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{255}, std::uint64_t{256},
              ~std::uint64_t{0}, std::uint64_t{1} << 63);
}

void append_stored(key_buffer& key, index_column_definition const& column, cell const& cell) {
  if (cell.index() == 0) return append_null(key, column.ascending);
  if (auto const* text = std::get_if<std::u16string>(&cell)) {
    std::string const packed = to_densetext(*text);
    return append_text(key, reinterpret_cast<unsigned char const*>(packed.data()), packed.size(),
                       column.ascending);
  }
  if (auto const* content = std::get_if<std::string>(&cell)) {
    return append_binary(key, reinterpret_cast<unsigned char const*>(content->data()),
                         content->size(), column.ascending);
  }
  std::uint64_t word = 0;
  if (auto const* number = std::get_if<std::uint64_t>(&cell)) word = *number;
  if (auto const* number = std::get_if<std::int64_t>(&cell)) word = *number;
  if (auto const* number = std::get_if<double>(&cell)) {
    word = column.kind == column_kind::single_float
               ? std::bit_cast<std::uint32_t>(static_cast<float>(*number))
               : std::bit_cast<std::uint64_t>(*number);
  }
  append_word(key, column.kind, word, column.ascending);
}

void append_to_caller_key(caller_key& key, column_kind kind, cell const& cell) {
  constexpr std::uint64_t sign = std::uint64_t{1} << 63;
  if (cell.index() == 0) {
    key.null();
  } else if (auto const* number = std::get_if<std::uint64_t>(&cell)) {
    key.fixed(*number);
  } else if (auto const* text = std::get_if<std::u16string>(&cell)) {
    key.text(*text);
  } else if (auto const* content = std::get_if<std::string>(&cell)) {
    key.binary(*content);
  } else if (kind == column_kind::decimal) {
    std::int64_t const scaled = std::get<std::int64_t>(cell);
    std::int64_t const size = std::abs(scaled);
    std::int64_t const groups =
        (size / 1'000'000 << 21) | (size % 1'000'000 / 10'000 << 14) | size % 10'000;
    key.fixed(static_cast<std::uint64_t>(scaled < 0 ? -groups : groups) ^ sign);
  } else {
    key.fixed(static_cast<std::uint64_t>(std::get<std::int64_t>(cell)) ^ sign);
  }
}

// For random indexes of up to three columns: stored keys compare as the rows do, whatever object id
// follows, and a bound with the first fields of a row splits the entries where the rows' order
// does.
TEST(IndexKey, StoredOrderAndBoundsFollowTheColumns) {
  std::mt19937_64 random(20261122);
  for (int round = 0; round < 400; ++round) {
    std::vector<index_column_definition> columns(1 + random() % 3);
    bool floating = false;
    for (auto& column : columns) {
      column.kind = static_cast<column_kind>(random() % 10);
      column.ascending = random() % 2 == 0;
      floating |=
          column.kind == column_kind::single_float || column.kind == column_kind::double_float;
    }
    struct entry {
      std::vector<cell> row;
      std::string stored;
    };
    std::vector<entry> entries(40);
    for (entry& entry : entries) {
      key_buffer key;
      for (auto const& column : columns) {
        entry.row.push_back(random_cell(column.kind, random));
        append_stored(key, column, entry.row.back());
      }
      entry.stored.assign(reinterpret_cast<char const*>(key.data()), key.size());
    }
    for (entry const& left : entries) {
      for (entry const& right : entries) {
        std::partial_ordering const expected = order(left.row, right.row, columns);
        ASSERT_EQ(left.stored <=> right.stored, expected);
        if (expected != 0) {
          ASSERT_EQ(left.stored + '\xFF' <=> right.stored + '\x00', expected);
        }
      }
    }
    if (floating) continue;
    for (entry const& edge : entries) {
      std::vector<cell> const fields(edge.row.begin(),
                                     edge.row.begin() + random() % (columns.size() + 1));
      caller_key key;
      for (std::size_t i = 0; i < fields.size(); ++i) {
        append_to_caller_key(key, columns[i].kind, fields[i]);
      }
      for (bound_side const side : {bound_side::before, bound_side::after}) {
        key_bound bound;
        ASSERT_EQ(decode(key.end(), columns, side, bound), key_status::good);
        std::string const limit(reinterpret_cast<char const*>(bound.bytes.data()),
                                bound.bytes.size());
        for (entry const& entry : entries) {
          std::partial_ordering const position = order(entry.row, fields, columns);
          bool const below = side == bound_side::before ? position < 0 : position <= 0;
          ASSERT_EQ(bound.beyond_all || entry.stored + '\xFF' < limit, below);
        }
      }
    }
  }
}

}  // namespace
}  // namespace qd::coredb
