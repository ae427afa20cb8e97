// The classes and indexes that the Unicode Character Database is stored in.
//
//     unicode.source         one object per text file
//     unicode.block          name, first, last
//     unicode.script         name
//     unicode.code_point     one object per line of UnicodeData.txt, of the class of its category:
//       unicode.letter         unicode.uppercase_letter, ...
//       unicode.mark           ...
//       unicode.number         with the columns decimal_digit and digit
//       ...
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "dbmetalayer/database.h"

namespace unicode_demo {

// A general category: its two letters and its class. The group that the first letter names is the
// class's base.
struct category {
  std::string_view code;
  std::u16string_view class_name;
  std::u16string_view group;
};

std::span<category const> categories();
// A position in categories(), empty when no category has the code.
std::optional<std::size_t> find_category(std::string_view code);

inline constexpr std::u16string_view source_class = u"unicode.source";
inline constexpr std::u16string_view block_class = u"unicode.block";
inline constexpr std::u16string_view script_class = u"unicode.script";
inline constexpr std::u16string_view code_point_class = u"unicode.code_point";
inline constexpr std::u16string_view number_class = u"unicode.number";

void define_schema(qd::embedded::transaction& write);
// With all objects.
void drop_schema(qd::embedded::transaction& write);

}  // namespace unicode_demo
