// Lines of input become statements and commands.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qd::program {

// A statement without its semicolon, or a command: a line that begins with a dot where a statement
// would begin.
struct input_piece {
  bool is_command;
  std::string text;
  std::size_t line;  // Of its first character, from 1.
};

class input_splitter {
 public:
  // Adds a line, given without its line end. Returns what it completes.
  std::vector<input_piece> add_line(std::string_view line);
  // What the end of the input leaves: a statement without a semicolon, or a comment without an end,
  // which is no statement.
  std::optional<input_piece> finish();
  // Whether a statement has begun.
  bool in_statement() const { return in_statement_; }
  // Forgets the statement that has begun.
  void drop();

 private:
  void scan(std::vector<input_piece>& pieces);
  input_piece cut(std::size_t end);

  std::string text_;            // The lines since the last statement ended.
  std::size_t first_line_ = 1;  // Of text_.
  std::size_t lines_ = 0;       // All that were added.
  bool in_statement_ = false;
  std::size_t begin_ = 0;      // Of the statement's first token, in text_.
  std::size_t scan_from_ = 0;  // Of its last token: that may go on in the next line.
};

}  // namespace qd::program
