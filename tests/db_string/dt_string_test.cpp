// Strings: their two storage forms, and what they pass to the kernel and take from it.
#include "db_string/dt_string.h"

#include <gtest/gtest.h>

#include <string>

#include "db_string/densetext.h"
#include "db_util/db_exception.h"
#include "support/fake_kernel.h"

namespace {

using db_string::dt_string;

constexpr unsigned long context = 5;

std::string bytes_of(dt_string const& string) {
  return {reinterpret_cast<char const*>(string.data()), string.size()};
}

dt_string from_bytes(std::string const& bytes) {
  return {reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size()};
}

std::string counted_bytes(unsigned long size) {
  std::string bytes;
  while (bytes.size() < size) bytes.push_back(static_cast<char>(0x91 + bytes.size()));
  return bytes;
}

class dt_string_test : public testing::Test {
 protected:
  void SetUp() override { fake_kernel::reset(); }
};

// Faults: a byte lost where the words of a short string are composed; a limit between the forms
// that two functions see differently; unequal rests behind equal contents; a copy that shares its
// buffer.
TEST_F(dt_string_test, every_size_around_the_inline_limit_keeps_its_bytes) {
  for (unsigned long size = 0; size <= 40; ++size) {
    std::string const bytes = counted_bytes(size);
    dt_string const string = from_bytes(bytes);
    EXPECT_EQ(bytes_of(string), bytes);
    EXPECT_EQ(string.data() == nullptr, size == 0);

    // The same content reached from a longer and from a shorter one.
    for (unsigned long earlier : {0, 3, 15, 16, 33}) {
      dt_string other = from_bytes(counted_bytes(earlier));
      other.copy(reinterpret_cast<unsigned char const*>(bytes.data()), size);
      EXPECT_EQ(bytes_of(other), bytes) << earlier;
      EXPECT_EQ(other, string) << earlier;
      EXPECT_EQ(hash_value(other), hash_value(string)) << earlier;
    }

    dt_string copy = string;
    if (size != 0) {
      copy.data()[size - 1] ^= 1;
      EXPECT_NE(copy, string);
      EXPECT_EQ(bytes_of(string), bytes);
      EXPECT_NE(from_bytes(bytes.substr(1)), string);
    }
    dt_string moved = std::move(copy);
    EXPECT_EQ(copy.size(), 0U);  // NOLINT: what a move leaves is part of the contract
    copy = std::move(moved);
    EXPECT_EQ(copy.size(), size);

    dt_string zeros = string;
    zeros.reserve(size);
    EXPECT_EQ(bytes_of(zeros), std::string(size, '\0'));
  }
}

// Fault: an emptied string whose size is read from its buffer, or that is unlike a fresh one.
TEST_F(dt_string_test, emptying_keeps_the_buffer_and_compares_as_empty) {
  for (unsigned long size : {4, 200}) {
    dt_string copied = from_bytes(counted_bytes(size));
    copied.copy(nullptr, 0);
    dt_string reserved = from_bytes(counted_bytes(size));
    reserved.reserve(0);
    for (dt_string const* string : {&copied, &reserved}) {
      EXPECT_EQ(string->size(), 0U);
      EXPECT_EQ(*string, dt_string());
      dt_string const copy = *string;
      EXPECT_EQ(copy.size(), 0U);
    }
    copied.copy(reinterpret_cast<unsigned char const*>("abcdefghijklmnopqrst"), 20);
    EXPECT_EQ(bytes_of(copied), "abcdefghijklmnopqrst");
  }
}

// Faults: the kernel's buffer not copied at once; the flag not passed; units counted with their
// zero; a negative count taken for a huge one; the base form mixed up with the text.
TEST_F(dt_string_test, converts_text_through_the_kernel) {
  std::u16string const long_text = u"Aquarium, long enough for the heap";
  for (std::u16string const& text : {std::u16string(), std::u16string(u"Ab"), long_text}) {
    for (bool infinite : {false, true}) {
      std::string const densetext = fake_kernel::encode(text, infinite);
      EXPECT_EQ(bytes_of(dt_string(context, text, infinite)), densetext);
      EXPECT_EQ(bytes_of(dt_string(context, text.c_str(), infinite)), densetext);
      EXPECT_EQ(bytes_of(dt_string(text, infinite)), densetext);
      EXPECT_EQ(bytes_of(dt_string(text.c_str(), infinite)), densetext);
    }
    dt_string const string(text, false);
    EXPECT_EQ(string.string(), text);
    EXPECT_EQ(string.string(context), text);
    auto const [units, count] = db_string::to_utf16_buffer(context, string);
    EXPECT_EQ(std::u16string(units), text);
    EXPECT_EQ(count, text.size() + 1);
    VELA_VALUE const lent{string.size(), string.data()};
    EXPECT_EQ(dt_string(lent, dt_string::Infinite()), dt_string(text, true));
  }
  dt_string const string(u"Ab", false);
  EXPECT_EQ(string.base_string(), u"ab");
  EXPECT_EQ(string.base_string(context), u"ab");
  EXPECT_EQ(bytes_of(dt_string::setspec_string(u"Ab", false)), fake_kernel::encode(u"Ab") + "\x01");
  // No bytes from the kernel: no buffer.
  EXPECT_EQ(dt_string(context, u"", false).data(), nullptr);
}

TEST_F(dt_string_test, raises_the_status_of_a_conversion) {
  dt_string const string(u"ab", false);
  auto const expect_status = [](auto&& convert) {
    fake_kernel::current().failing_call = fake_kernel::current().calls + 1;
    fake_kernel::current().status = 815;
    try {
      convert();
      ADD_FAILURE() << "nothing raised";
    } catch (db_util::db_exception const& raised) {
      EXPECT_EQ(raised.code, 815U);
    }
  };
  expect_status([] { dt_string(context, u"ab", false); });
  expect_status([&] { string.string(context); });
  expect_status([&] { string.base_string(context); });
  expect_status([&] { db_string::to_utf16_buffer(context, string); });
}

// Faults: a header of several bytes, one without an end, one that counts more bits than there are;
// the bits behind the last whole byte not compared, or too many of them.
TEST(densetext, reads_headers) {
  struct {
    std::string bytes;
    unsigned long size;
    unsigned long significant_bits;
    unsigned long significant_bytes;
  } const rows[] = {
      {"", 0, 0, 0},
      {"\x80", 0, 0, 0},
      {{"\x05\x00\x05", 3}, 0, 0, 0},  // No end of the header.
      {"\x80"
       "ab",
       2, 16, 2},
      {"\x87"
       "ab",
       2, 9, 2},
      {"\x88"
       "ab",
       2, 8, 1},
      {"\x90"
       "ab",
       2, 0, 0},
      {"\x91"
       "ab",
       2, 0, 0},  // More unused bits than bits.
      {"\x01\x81"
       "0123456789abcdef0",
       17, 7, 1},  // 1 * 128 + 1 unused bits.
      {{"\x00\x83"
        "ab",
        4},
       2,
       13,
       2},
      {"\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\xFF"
       "ab",
       2, 0, 0},  // More than a word holds.
  };
  for (auto const& row : rows) {
    db_string::densetext_payload const payload = db_string::read_densetext(
        reinterpret_cast<unsigned char const*>(row.bytes.data()), row.bytes.size());
    EXPECT_EQ(payload.size, row.size) << testing::PrintToString(row.bytes);
    EXPECT_EQ(payload.significant_bits, row.significant_bits) << testing::PrintToString(row.bytes);
    EXPECT_EQ(payload.significant_bytes(), row.significant_bytes);
  }
}

TEST(densetext, compares_prefixes_bit_by_bit) {
  struct {
    std::string text;
    std::string prefix;
    bool starts_with;
  } const rows[] = {
      {"\x80\xAB\xCD", "", true},
      {"", "", true},
      {"", "\x80\xAB", false},
      {"\x80\xAB\xCD", "\x80\xAB", true},
      {"\x80\xAB\xCD", "\x80\xAC", false},
      {"\x80\xAB", "\x80\xAB\xCD", false},
      {"\x80\xAB\xCD", "\x84\xAB\xC5", true},   // The unused half byte differs.
      {"\x80\xAB\xCD", "\x84\xAB\xDD", false},  // A used bit differs.
      {"\x87\xAB\xCD", "\x84\xAB\xCD", false},  // Fewer bits in as many bytes.
      {"\x84\xAB\xCD", "\x84\xAB\xCF", true},
  };
  for (auto const& row : rows) {
    auto const payload = [](std::string const& bytes) {
      return db_string::read_densetext(reinterpret_cast<unsigned char const*>(bytes.data()),
                                       bytes.size());
    };
    EXPECT_EQ(db_string::starts_with(payload(row.text), payload(row.prefix)), row.starts_with)
        << testing::PrintToString(row.text) << testing::PrintToString(row.prefix);
  }
}

}  // namespace
