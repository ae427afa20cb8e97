// The line format of the Unicode Character Database: fields separated by semicolons, comments from
// a '#' on.
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace unicode_demo {

// A refused input file. what() names the file, the line, the column and the reason.
class input_error : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A place in an input file; lines and columns count from 1, columns in bytes.
struct place {
  std::size_t line = 0;
  std::size_t column = 0;
};

// One field of a line, without the blanks around it. `text` holds until the next line is read.
struct field {
  std::string_view text;
  place where;
};

// The first and last of a range of code points.
struct code_range {
  char32_t first = 0;
  char32_t last = 0;
};

inline constexpr char32_t max_code = 0x10FFFF;

// Reads a file line by line. All functions throw input_error for what they refuse.
class field_reader {
 public:
  explicit field_reader(std::filesystem::path const& path);

  // Goes on to the next line that has more than a comment; false at the end of the file.
  bool next_line();
  // The fields of the line. Refuses any other number of fields.
  std::vector<field> const& fields(std::size_t expected_count) const;

  // Fields as what they hold.
  char32_t code(field const& source) const;                       // 4 to 6 hexadecimal digits
  code_range range(field const& source) const;                    // one code or first..last
  unsigned number(field const& source, unsigned greatest) const;  // decimal digits
  std::u16string text(field const& source) const;                 // UTF-8, not empty

  [[noreturn]] void refuse(place const& where, std::string const& reason) const;

 private:
  std::filesystem::path path_;
  std::ifstream stream_;
  std::string line_;
  std::size_t line_number_ = 0;
  std::vector<field> fields_;  // Of line_.
};

}  // namespace unicode_demo
