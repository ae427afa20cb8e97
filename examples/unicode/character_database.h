// The Unicode Character Database as its text files hold it: blocks, scripts and code points.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "field_reader.h"

namespace unicode_demo {

// Ranges of code points that do not overlap, each with a number.
class range_table {
 public:
  // False, and no change, when the range overlaps one that is there.
  bool add(code_range range, std::size_t number);
  // The number of the range that holds the code.
  std::optional<std::size_t> find(char32_t code) const;

 private:
  struct entry {
    char32_t last;
    std::size_t number;
  };
  std::map<char32_t, entry> entries_;  // By the first code of the range.
};

struct block {
  std::u16string name;
  code_range range;
};

// Numbers of `ranges` are positions in `list`.
struct block_table {
  std::vector<block> list;
  range_table ranges;
};

struct script_table {
  std::vector<std::u16string> names;
  range_table ranges;
};

// A number such as 12, 1/2 or -1/2.
struct numeric_value {
  std::u16string text;
  // In millionths. Empty when six decimal places do not hold the number, as with 1/3: a number in
  // the database is exact or absent, never rounded.
  std::optional<std::int64_t> scaled;
};

// One line of UnicodeData.txt; what is optional is empty where the file is.
struct code_point {
  char32_t code = 0;
  std::u16string name;
  std::size_t category = 0;  // A position in categories().
  unsigned combining_class = 0;
  std::u16string bidi_class;
  std::optional<std::u16string> decomposition;
  std::optional<unsigned> decimal_digit;
  std::optional<unsigned> digit;
  std::optional<numeric_value> numeric;
  bool mirrored = false;
  std::optional<std::u16string> old_name;
  std::optional<std::u16string> comment;
  // Partners, as positions in the list of all code points; they may stand before or behind.
  std::optional<std::size_t> uppercase;
  std::optional<std::size_t> lowercase;
  std::optional<std::size_t> titlecase;
};

// A range of characters without names of their own (<CJK Ideograph, First> and <.., Last>) gives
// two code points, as it has two lines.
struct character_database {
  block_table blocks;
  script_table scripts;
  std::vector<code_point> code_points;  // In ascending order of their codes.
};

// Reads Blocks.txt, Scripts.txt and UnicodeData.txt in `directory`. Throws input_error for a file
// that is missing or malformed.
character_database read_character_database(std::filesystem::path const& directory);

}  // namespace unicode_demo
