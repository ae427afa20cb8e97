// UTF-16 and UTF-8.
#include "db_string/string_encoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "db_string/ucs2_string_wrapper.h"
#include "error_handling/qd_exception.h"

namespace {

using encoder::utf16_to_utf8;
using encoder::utf8_to_utf16;

// Faults: a wrong bound between two lengths; a pair put together wrongly.
TEST(string_encoder, converts_the_first_and_last_character_of_each_length) {
  struct {
    std::u16string utf16;
    std::string utf8;
  } const rows[] = {
      {u"", ""},
      {{u"a\0b", 3}, {"a\0b", 3}},
      {u"\u007F", "\x7F"},
      {u"\u0080", "\xC2\x80"},
      {u"\u00E9", "\xC3\xA9"},
      {u"\u07FF", "\xDF\xBF"},
      {u"\u0800", "\xE0\xA0\x80"},
      {u"\uD7FF", "\xED\x9F\xBF"},
      {u"\uE000", "\xEE\x80\x80"},
      {u"\uFEFF", "\xEF\xBB\xBF"},  // No mark, a character like any other.
      {u"\uFFFF", "\xEF\xBF\xBF"},
      {u"\U00010000", "\xF0\x90\x80\x80"},
      {u"\U0001F600x", "\xF0\x9F\x98\x80x"},
      {u"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(utf16_to_utf8(row.utf16), row.utf8);
    EXPECT_EQ(utf8_to_utf16(row.utf8), row.utf16);
  }
}

// Fault: an unfinished or wrong character dropped or passed on instead of refused.
TEST(string_encoder, refuses_what_is_no_text) {
  char16_t const high = 0xD83D;
  char16_t const low = 0xDE00;
  for (std::u16string const& text :
       {std::u16string{high}, std::u16string{low}, std::u16string{u'a', high},
        std::u16string{high, u'a'}, std::u16string{high, high}, std::u16string{low, high},
        std::u16string{high, low, low}}) {
    EXPECT_THAT([&] { utf16_to_utf8(text); },
                testing::ThrowsMessage<std::range_error>("wstring_convert::to_bytes"));
  }
  for (char const* const bytes :
       {"\x80", "a\xBF", "\xC3", "a\xE2\x82", "\xF0\x9F\x98", "\xC3(", "\xE2\x28\xA1",
        "\xF0\x9F\x98(", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80",
        "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80", "\xFF"}) {
    EXPECT_THAT([&] { utf8_to_utf16(bytes); },
                testing::ThrowsMessage<std::range_error>("wstring_convert::from_bytes"))
        << testing::PrintToString(std::string(bytes));
  }
}

TEST(string_encoder, serves_streams_and_exceptions) {
  std::ostringstream stream;
  stream << db_string::Ucs2StringWrapper(u"na\u00EFve", 3);
  EXPECT_EQ(stream.str(), "na\xC3\xAF");
  error_handling::QDException const exception(7022, error_handling::invalid_location, u"\u00E9");
  EXPECT_STREQ(exception.what(), "\xC3\xA9");
}

}  // namespace
