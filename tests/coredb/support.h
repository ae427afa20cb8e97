// What the tests of the storage share: a value model with its own comparison, a writer of the
// kernel's index keys, and short ways to read.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "coredb/database.h"
#include "coredb/status.h"
#include "coredb/text_codec.h"
#include "kernel/vela.h"
#include "support/scratch_directory.h"

namespace qd::coredb::test {

using kind = column_kind;
using oids = std::vector<std::uint64_t>;

constexpr unsigned int first_inclusive = VELA_ITERATE_FIRST_INCLUSIVE;
constexpr unsigned int last_inclusive = VELA_ITERATE_LAST_INCLUSIVE;
constexpr unsigned int both_inclusive = first_inclusive | last_inclusive;
constexpr unsigned int descending = VELA_ITERATE_DESCENDING;

// A column's value, or one field of a key.
struct test_value {
  column_kind kind = kind::unsigned_integer;
  bool null = true;
  std::uint64_t word = 0;
  double number = 0;  // Floats.
  std::u16string text = {};
  std::string bytes = {};  // Binaries; a string's densetext.
  bool infinite = false;   // In keys: above every text with this prefix, or above every binary.

  field to_field() const {
    return {kind, null, word, {reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size()}};
  }
};

inline test_value null_of(column_kind kind) {
  return {.kind = kind};
}
inline test_value word_of(column_kind kind, std::uint64_t word) {
  return {.kind = kind, .null = false, .word = word};
}
inline test_value unsigned_of(std::uint64_t value) {
  return word_of(kind::unsigned_integer, value);
}
inline test_value signed_of(std::int64_t value) {
  return word_of(kind::signed_integer, static_cast<std::uint64_t>(value));
}
inline test_value reference_of(std::uint64_t oid) {
  return word_of(kind::reference, oid);
}
inline test_value double_of(double value) {
  return {.kind = kind::double_float,
          .null = false,
          .word = std::bit_cast<std::uint64_t>(value),
          .number = value};
}
inline test_value float_of(float value) {
  return {.kind = kind::single_float,
          .null = false,
          .word = std::bit_cast<std::uint32_t>(value),
          .number = value};
}
inline test_value text_of(std::u16string const& text, bool infinite = false) {
  return {.kind = kind::string,
          .null = false,
          .text = text,
          .bytes = to_densetext(text, infinite),
          .infinite = infinite};
}
inline test_value binary_of(std::string const& bytes, bool infinite = false) {
  return {.kind = kind::binary, .null = false, .bytes = bytes, .infinite = infinite};
}

// The documented order: NULL first, then by value.
int compare(test_value const& left, test_value const& right);

// A key in the form that vela_context_create_iterator takes.
std::vector<unsigned char> key_of(std::vector<test_value> const& fields);

// Opens an iterator over the whole or a part of an index, reads it to its end and frees it.
oids scan(unsigned long context, std::uint64_t index, std::vector<test_value> const& first = {},
          std::vector<test_value> const& last = {}, unsigned int flags = both_inclusive);

// The address word with which a column is read through a layout.
inline unsigned long through(std::uint16_t layout) {
  return layout;
}

inline std::uint64_t insert(write_transaction& transaction, std::uint16_t layout,
                            std::vector<test_value> const& row) {
  std::vector<field> fields;
  for (test_value const& value : row) fields.push_back(value.to_field());
  return transaction.insert(layout, fields);
}

inline void update(write_transaction& transaction, std::uint64_t oid, unsigned int column,
                   test_value const& value) {
  field_change const change{column, value.to_field()};
  transaction.update(oid, {&change, 1});
}

inline std::u16string text_in(VELA_UCS2 const* text) {
  return text ? std::u16string(text->units, text->count) : u"(none)";
}

// What happens when `body` throws error of this kind; its text must hold `part`.
template <typename Body>
void expect_error(error_kind kind, std::string const& part, Body const& body) {
  try {
    body();
    ADD_FAILURE() << "no error; expected one with " << part;
  } catch (error const& met) {
    EXPECT_EQ(static_cast<int>(met.kind()), static_cast<int>(kind)) << met.what();
    EXPECT_THAT(met.what(), testing::HasSubstr(part));
  }
}

}  // namespace qd::coredb::test
