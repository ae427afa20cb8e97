// The tokens of SQL text, as far as they are needed before parsing: where statements end, how deep
// they nest, how long their names are.
#pragma once

#include <cstddef>
#include <string_view>

namespace qd::sql {

struct token {
  enum class kind {
    word,         // A name without quotes, or a keyword.
    quoted_name,  // "a", and U&"a".
    text,         // 'a' with any prefix, and $tag$a$tag$.
    number,
    parameter,  // $1
    symbol,     // A run of operator characters, or one other character.
    open,       // ( or [
    close,      // ) or ]
    comma,
    semicolon,
    end,  // Of the text; has no characters.
  };
  kind what;
  std::size_t begin;
  std::size_t end;
  bool closed = true;  // False of a text or quoted name that the text's end cuts off.

  std::string_view in(std::string_view text) const { return text.substr(begin, end - begin); }
};

// Cuts a text into tokens exactly as the grammar does where texts, quoted names and comments begin
// and end; elsewhere it is coarser. Never fails. The text must outlive the scanner.
class token_scanner {
 public:
  explicit token_scanner(std::string_view text, std::size_t begin = 0)
      : text_(text), position_(begin) {}

  token next();

  // Whether the text ended inside a comment; known when the end has been returned.
  bool comment_open() const { return comment_open_; }

 private:
  unsigned char at(std::size_t position) const {
    return position < text_.size() ? static_cast<unsigned char>(text_[position]) : 0;
  }
  void skip_spaces_and_comments();
  void skip_line_comment();
  void skip_block_comment();
  bool skip_to_continuation();
  token finish(token::kind what, std::size_t begin, bool closed = true) const;
  token scan_word(std::size_t begin);
  token scan_text(std::size_t begin, bool backslash_escapes);
  token scan_quoted_name(std::size_t begin);
  token scan_dollar(std::size_t begin);
  token scan_symbol(std::size_t begin);

  std::string_view text_;
  std::size_t position_;
  bool comment_open_ = false;
};

// Whether a token of `text` is that name or keyword, written in the case that the grammar gives it.
bool names(token const& name, std::string_view text, std::string_view wanted);

}  // namespace qd::sql
