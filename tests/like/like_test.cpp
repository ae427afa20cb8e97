#include "like/like.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "error_handling/error_codes.h"

namespace {

bool is_high_surrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

// The definition, for a valid pattern: at each % every remaining text is tried in turn.
bool matches_by_definition(std::u16string_view text, std::u16string_view pattern) {
  if (pattern.empty()) return text.empty();
  char16_t unit = pattern[0];
  if (unit == u'%') {
    std::u16string_view const rest = pattern.substr(1);
    if (rest.empty()) return true;
    for (;; text.remove_prefix(1)) {
      if (matches_by_definition(text, rest)) return true;
      if (text.empty()) return false;
    }
  }
  if (text.empty()) return false;
  if (unit == u'_') {
    std::size_t const units = is_high_surrogate(text[0]) ? 2 : 1;
    return text.size() >= units && matches_by_definition(text.substr(units), pattern.substr(1));
  }
  if (unit == u'\\') {
    pattern.remove_prefix(1);
    unit = pattern[0];
  }
  return text[0] == unit && matches_by_definition(text.substr(1), pattern.substr(1));
}

// All texts over the units, up to a length.
std::vector<std::u16string> all_texts(std::u16string_view units, std::size_t longest) {
  std::vector<std::u16string> texts = {u""};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (texts[i].size() == longest) continue;
    for (char16_t unit : units) {
      std::u16string longer = texts[i];
      longer.push_back(unit);
      texts.push_back(std::move(longer));
    }
  }
  return texts;
}

std::string printed(std::u16string_view text) {
  std::string units;
  for (char16_t unit : text) {
    units += unit < 0x80 ? std::string(1, static_cast<char>(unit))
                         : "<" + std::to_string(static_cast<unsigned>(unit)) + ">";
  }
  return "'" + units + "'";
}

TEST(like, every_short_text_and_pattern_as_defined) {
  std::vector<std::u16string> const texts = all_texts(u"a%\\\xD800\xDC00", 5);
  for (std::u16string const& pattern : all_texts(u"a\xD800\xDC00%_\\", 5)) {
    try {
      like::ValidateWildcard(pattern, error_handling::invalid_location);
    } catch (error_handling::QDException const&) {
      continue;
    }
    for (std::u16string const& text : texts) {
      ASSERT_EQ(like::Match(text, pattern), matches_by_definition(text, pattern))
          << printed(text) << " LIKE " << printed(pattern);
    }
  }
}

TEST(like, longer_texts_as_defined) {
  std::mt19937 random(9);
  auto const random_text = [&random](std::u16string_view units, std::size_t longest) {
    std::u16string text(random() % (longest + 1), u'a');
    for (char16_t& unit : text) unit = units[random() % units.size()];
    return text;
  };
  for (unsigned i = 0; i < 200'000; ++i) {
    std::u16string const text = random_text(u"ab\xD800\xDC00", 40);
    std::u16string const pattern = random_text(u"ab\xD800\xDC00%%__", 9);
    ASSERT_EQ(like::Match(text, pattern), matches_by_definition(text, pattern))
        << printed(text) << " LIKE " << printed(pattern);
  }
}

TEST(like, a_stray_backslash_is_refused_whatever_the_text) {
  for (char16_t const* pattern : {u"a\\b", u"a\\", u"\\", u"%\\a", u"a\\\\\\", u"x%y\\z"}) {
    for (char16_t const* text : {u"", u"a", u"abc"}) {
      try {
        like::Match(text, pattern);
        ADD_FAILURE() << printed(pattern) << " was accepted";
      } catch (error_handling::QDException const& error) {
        EXPECT_EQ(error.code, error_handling::invalid_like_escape);
        EXPECT_EQ(error.message, u"Escape character must be followed by a special character.");
        EXPECT_EQ(error.location.first_line, -1);
      }
    }
  }
}

// Trying every remaining text at every % would take longer than the universe has existed.
TEST(like, many_wildcards_and_long_patterns_end_soon) {
  std::u16string const text(20'000, u'a');
  std::u16string wildcards;
  for (int i = 0; i < 40; ++i) wildcards += u"%a_";
  EXPECT_FALSE(like::Match(text, wildcards + u"%b"));
  EXPECT_TRUE(like::Match(text, wildcards + u"%a"));
  EXPECT_TRUE(like::Match(text, std::u16string(20'000, u'_')));
  EXPECT_FALSE(like::Match(text, std::u16string(100'000, u'%') + u"b"));
}

struct pattern_case {
  std::u16string pattern;
  std::optional<std::u16string> starts_with;
  std::optional<std::u16string> exact;
  std::optional<std::u16string> absorbable;
};

TEST(like, what_a_pattern_tells_about_its_matches) {
  std::nullopt_t const none = std::nullopt;
  pattern_case const cases[] = {
      {u"abc%", u"abc", none, u"abc"},
      {u"a_c", u"a", none, none},
      {u"%abc", none, none, none},
      {u"abc", none, u"abc", none},
      {u"", none, u"", none},
      {u"%", none, none, none},
      {u"_%", none, none, none},
      {u"ab\\%c%", u"ab%c", none, u"ab%c"},
      {u"ab\\\\%", u"ab\\", none, u"ab\\"},
      {u"ab\\\\_c%", u"ab\\", none, none},  // An escaped backslash escapes nothing.
      {u"a\\%b", none, u"a%b", none},
      {u"a\\_", none, u"a_", none},
      {u"abc%d", u"abc", none, none},
      {u"ab_c%", u"ab", none, none},
      {u"ab%%", u"ab", none, none},
      {u"ab\\%", none, u"ab%", none},
  };
  for (pattern_case const& c : cases) {
    EXPECT_EQ(like::StartsWith(c.pattern), c.starts_with) << printed(c.pattern);
    EXPECT_EQ(like::ExactMatch(c.pattern), c.exact) << printed(c.pattern);
    EXPECT_EQ(like::AbsorbableStartsWith(c.pattern), c.absorbable) << printed(c.pattern);
  }
}

}  // namespace
