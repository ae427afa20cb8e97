// Index keys, byte for byte.
#include "db_util/key_writer.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "db_util/db_exception.h"

namespace {

using db_util::encode_dec;
using db_util::KeyBuf;
using db_util::KeyWriter;
using operator_library::Decimal;

using vector_writer = KeyWriter<std::vector<unsigned char>&>;

std::string hex(unsigned char const* bytes, unsigned long size) {
  std::string text;
  for (unsigned long place = 0; place < size; ++place) {
    constexpr char digits[] = "0123456789ABCDEF";
    text += digits[bytes[place] / 16];
    text += digits[bytes[place] % 16];
  }
  return text;
}

// What `write` makes of an empty buffer of each kind; they must agree.
template <typename Write>
std::string written(Write write) {
  std::vector<unsigned char> growing;
  vector_writer to_vector(growing);
  write(to_vector);
  std::string const expected = hex(growing.data(), to_vector.written());
  db_util::stack_key stack;
  KeyWriter<db_util::stack_key&> to_stack(stack);
  write(to_stack);
  EXPECT_EQ(hex(stack.data(), to_stack.written()), expected);
  alignas(8) unsigned char fixed[1024];
  KeyWriter<KeyBuf> to_fixed(KeyBuf(fixed, sizeof fixed));
  write(to_fixed);
  EXPECT_EQ(hex(fixed, to_fixed.written()), expected);
  return expected;
}

// Hexadecimal digits of n bytes 61.
std::string run(unsigned long n) {
  std::string text;
  while (n-- > 0) text += "61";
  return text;
}

std::vector<unsigned char> densetext(unsigned char header, std::vector<unsigned char> payload) {
  payload.insert(payload.begin(), header);
  return payload;
}

TEST(key_writer, writes_each_kind_of_field) {
  EXPECT_EQ(written([](auto& to) { to.write_null(); }), "60");
  EXPECT_EQ(written([](auto& to) { to.write_bool(true); }), "280000000000000001");
  EXPECT_EQ(written([](auto& to) { to.write_unsigned(0x0102030405060708); }), "280102030405060708");
  EXPECT_EQ(written([](auto& to) { to.write_reference({258, 99}); }), "280000000000000102");
  EXPECT_EQ(written([](auto& to) { to.write_signed(-1); }), "287FFFFFFFFFFFFFFF");
  EXPECT_EQ(written([](auto& to) { to.write_signed(0); }), "288000000000000000");
  EXPECT_EQ(written([](auto& to) { to.write_signed(std::numeric_limits<long>::min()); }),
            "280000000000000000");
  EXPECT_EQ(written([](auto& to) { to.write_decimal(Decimal{1500000}); }), "2880000000002C8000");
  EXPECT_EQ(written([](auto& to) { to.write_decimal(Decimal{-1500000}); }), "287FFFFFFFFFD38000");
  EXPECT_EQ(written([](auto& to) { to.write_binary_upper_end(); }), "210180");
  // Several fields follow each other.
  EXPECT_EQ(written([](auto& to) {
              to.write_unsigned(7);
              to.write_null();
              to.write_bool(false);
            }),
            "28000000000000000760280000000000000000");
}

// Faults: digits of a Decimal that overlap or swap their order.
TEST(key_writer, encodes_decimals_in_their_order) {
  EXPECT_EQ(encode_dec(1'500'000), 0x2C8000);
  EXPECT_EQ(encode_dec(-1'500'000), -0x2C8000);
  EXPECT_EQ(encode_dec(1), 1);
  EXPECT_EQ(encode_dec(9'999), 9'999);
  EXPECT_EQ(encode_dec(10'000), 1L << 14);
  EXPECT_EQ(encode_dec(999'999), 99L << 14 | 9'999);
  EXPECT_EQ(encode_dec(1'000'000), 1L << 21);
  EXPECT_EQ(encode_dec(Decimal::max_scaled), Decimal::max_integer << 21 | 99L << 14 | 9'999);
  for (long const start : {-Decimal::max_scaled, -2'000'000L, -1'010'100L, -10'050L, 0L - 60,
                           9'950L, 999'950L, 4'000'009'950L, Decimal::max_scaled - 100}) {
    for (long scaled = start; scaled < start + 100; ++scaled) {
      ASSERT_LT(encode_dec(scaled), encode_dec(scaled + 1)) << scaled;
    }
  }
}

// Fault: a piece of 31 bytes cut or counted wrongly at one of its ends.
TEST(key_writer, cuts_text_and_binaries_into_chunks) {
  struct {
    unsigned long size;
    std::string string_key;
    std::string binary_key;
  } const rows[] = {
      {0, "2080", "210080"},
      {1, "216180", "22006180"},
      {30, "3E" + run(30) + "80", "3F00" + run(30) + "80"},
      {31, "3F" + run(31) + "80", "3F00" + run(30) + "0161" + "80"},
      {32, "3F" + run(31) + "0161" + "80", "3F00" + run(30) + "026161" + "80"},
      {61, "3F" + run(31) + "1E" + run(30) + "80", "3F00" + run(30) + "1F" + run(31) + "80"},
      {62, "3F" + run(31) + "1F" + run(31) + "80",
       "3F00" + run(30) + "1F" + run(31) + "0161" + "80"},
      {63, "3F" + run(31) + "1F" + run(31) + "0161" + "80",
       "3F00" + run(30) + "1F" + run(31) + "026161" + "80"},
  };
  for (auto const& row : rows) {
    std::vector<unsigned char> const bytes(row.size, 0x61);
    std::vector<unsigned char> const text = densetext(0x80, bytes);
    EXPECT_EQ(written([&](auto& to) { to.write_densetext(text.data(), text.size()); }),
              row.string_key);
    EXPECT_EQ(written([&](auto& to) { to.write_binary(operator_library::Binary{bytes}); }),
              row.binary_key);
  }
}

// Fault: bytes of a string written that hold no text.
TEST(key_writer, writes_the_significant_bytes_of_a_string) {
  struct {
    std::vector<unsigned char> bytes;
    std::string key;
  } const rows[] = {
      {{}, "2080"},                                 // No header at all.
      {{0x01, 0x02}, "2080"},                       // A header without an end.
      {densetext(0x87, {0xAB, 0x80}), "22AB8080"},  // 9 bits are 2 bytes.
      {densetext(0x88, {0xAB, 0x00}), "21AB80"},    // 8 bits are 1 byte.
      {densetext(0x91, {0xAB, 0x00}), "2080"},      // More unused bits than bits.
      {{0x00, 0x83, 0xAB, 0xC8}, "22ABC880"},       // A header of two bytes.
  };
  for (auto const& row : rows) {
    EXPECT_EQ(written([&](auto& to) {
                to.write_string(db_string::dt_string(row.bytes.data(), row.bytes.size()));
              }),
              row.key);
  }
}

TEST(key_writer, ends_a_key_at_a_multiple_of_eight) {
  for (unsigned long fields = 0; fields <= 16; ++fields) {
    std::string const zeros(2 * (7 - fields % 8), '0');
    std::string nulls;
    for (unsigned long field = 0; field < fields; ++field) nulls += "60";
    EXPECT_EQ(written([&](auto& to) {
                for (unsigned long field = 0; field < fields; ++field) to.write_null();
                to.UpdateHeader();
              }),
              nulls + "C0" + zeros);
  }
}

// Faults: a field written beyond a fixed buffer, or refused although it fits.
TEST(key_writer, fits_a_fixed_buffer_exactly_or_raises) {
  auto const room_needed = [](auto write) {
    for (unsigned long capacity = 0;; ++capacity) {
      std::vector<unsigned char> buffer(capacity + 1, 0xEE);
      KeyWriter<KeyBuf> to(KeyBuf(buffer.data(), capacity));
      try {
        write(to);
        EXPECT_EQ(to.written(), capacity);
        EXPECT_EQ(buffer[capacity], 0xEE);
        return capacity;
      } catch (db_util::db_exception const& raised) {
        EXPECT_EQ(raised.code, 4197U);
        EXPECT_EQ(to.written(), 0U);
      }
    }
  };
  EXPECT_EQ(room_needed([](auto& to) { to.write_null(); }), 1U);
  EXPECT_EQ(room_needed([](auto& to) { to.write_unsigned(1); }), 9U);
  EXPECT_EQ(room_needed([](auto& to) { to.write_binary_upper_end(); }), 3U);
  EXPECT_EQ(room_needed([](auto& to) { to.UpdateHeader(); }), 8U);
  for (unsigned long size : {0, 1, 30, 31, 32, 61, 62, 63, 93, 94}) {
    std::vector<unsigned char> const text = densetext(0x80, std::vector<unsigned char>(size, 1));
    EXPECT_EQ(room_needed([&](auto& to) { to.write_densetext(text.data(), text.size()); }),
              size <= 31 ? size + 2 : size + (size + 30) / 31 + 1);
    EXPECT_EQ(room_needed([&](auto& to) { to.write_binary(text.data(), size); }),
              size <= 30 ? size + 3 : size + 1 + (size + 31) / 31 + 1);
  }
}

TEST(key_writer, grows_a_vector_to_what_is_needed_and_at_least_twofold) {
  std::vector<unsigned char> buffer;
  vector_writer to(buffer);
  to.write_unsigned(1);
  EXPECT_EQ(buffer.size(), 9U);  // 9 are needed, twice nothing is less.
  to.write_null();
  EXPECT_EQ(buffer.size(), 18U);  // Twice 9 is more than 10.
  to.CheckEnoughRoom(8);
  EXPECT_EQ(buffer.size(), 18U);
  std::vector<unsigned char> const bytes(100, 0x33);
  to.write_binary(bytes.data(), bytes.size());
  EXPECT_EQ(buffer.size(), 10U + 101 + 4 + 1);
  EXPECT_EQ(hex(buffer.data(), 12),
            "28000000000000000160"
            "3F00");
}

// Fault: bytes lost when a key leaves the stack, or the old place written to afterwards.
TEST(key_writer, moves_a_key_from_the_stack_to_the_heap) {
  std::vector<unsigned char> const bytes(200, 0x44);
  auto const write = [&](auto& to) {
    for (int field = 0; field < 5; ++field) to.write_binary(bytes.data(), bytes.size());
    to.UpdateHeader();
  };
  std::vector<unsigned char> expected;
  vector_writer to_vector(expected);
  write(to_vector);
  db_util::stack_key stack;
  KeyWriter<db_util::stack_key&> to_stack(stack);
  write(to_stack);
  ASSERT_EQ(to_stack.written(), to_vector.written());
  EXPECT_EQ(hex(stack.data(), to_stack.written()), hex(expected.data(), to_vector.written()));
}

}  // namespace
