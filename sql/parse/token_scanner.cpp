#include "sql/parse/token_scanner.h"

#include <algorithm>
#include <array>
#include <string>

#include "sql/text/ascii.h"

namespace qd::sql {

namespace {

enum class character : unsigned char { other, space, letter, digit, operation };

constexpr auto characters = [] {
  std::array<character, 256> table{};
  for (unsigned char const each : std::string_view(" \t\n\r\f\v")) table[each] = character::space;
  for (unsigned char const each : std::string_view("~!@#^&|`?+-*/%<>=")) {
    table[each] = character::operation;
  }
  for (int each = '0'; each <= '9'; ++each) table[each] = character::digit;
  for (int each = 'a'; each <= 'z'; ++each) table[each] = table[each - 32] = character::letter;
  for (int each = 0x80; each < 0x100; ++each) table[each] = character::letter;
  table['_'] = character::letter;
  return table;
}();

character class_of(unsigned char byte) {
  return characters[byte];
}

bool continues_word(unsigned char byte) {
  return class_of(byte) == character::letter || class_of(byte) == character::digit || byte == '$';
}

}  // namespace

token token_scanner::next() {
  skip_spaces_and_comments();
  std::size_t const begin = position_;
  if (begin >= text_.size()) return finish(token::kind::end, begin);
  unsigned char const first = at(begin);
  switch (class_of(first)) {
    case character::letter:
      return scan_word(begin);
    case character::digit:
      while (continues_word(at(position_)) || at(position_) == '.') ++position_;
      return finish(token::kind::number, begin);
    case character::operation:
      return scan_symbol(begin);
    default:
      break;
  }
  switch (first) {
    case '\'':
      return scan_text(begin, false);
    case '"':
      return scan_quoted_name(begin);
    case '$':
      return scan_dollar(begin);
    case '.':
      if (class_of(at(begin + 1)) != character::digit) break;
      do ++position_;
      while (continues_word(at(position_)));
      return finish(token::kind::number, begin);
    default:
      break;
  }
  ++position_;
  switch (first) {
    case '(':
    case '[':
      return finish(token::kind::open, begin);
    case ')':
    case ']':
      return finish(token::kind::close, begin);
    case ',':
      return finish(token::kind::comma, begin);
    case ';':
      return finish(token::kind::semicolon, begin);
    default:
      return finish(token::kind::symbol, begin);
  }
}

token token_scanner::finish(token::kind what, std::size_t begin, bool closed) const {
  return {what, begin, position_, closed};
}

void token_scanner::skip_spaces_and_comments() {
  while (true) {
    while (class_of(at(position_)) == character::space) ++position_;
    if (at(position_) == '-' && at(position_ + 1) == '-') {
      skip_line_comment();
    } else if (at(position_) == '/' && at(position_ + 1) == '*') {
      skip_block_comment();
    } else {
      return;
    }
  }
}

void token_scanner::skip_line_comment() {
  position_ = std::min(text_.find_first_of("\n\r", position_), text_.size());
}

// Block comments nest.
void token_scanner::skip_block_comment() {
  std::size_t depth = 0;
  do {
    if (at(position_) == '/' && at(position_ + 1) == '*') {
      ++depth;
      position_ += 2;
    } else if (at(position_) == '*' && at(position_ + 1) == '/') {
      --depth;
      position_ += 2;
    } else {
      ++position_;
    }
  } while (depth > 0 && position_ < text_.size());
  comment_open_ = depth > 0;
}

token token_scanner::scan_word(std::size_t begin) {
  while (continues_word(at(position_))) ++position_;
  // A prefix belongs to the quotes that follow it at once.
  std::string_view const word = text_.substr(begin, position_ - begin);
  if (word.size() != 1) return finish(token::kind::word, begin);
  char const prefix = ascii::lower(word[0]);
  unsigned char const after = at(position_);
  if (after == '\'' && (prefix == 'e' || prefix == 'b' || prefix == 'x' || prefix == 'n')) {
    return scan_text(begin, prefix == 'e');
  }
  if (prefix == 'u' && after == '&') {
    unsigned char const quote = at(position_ + 1);
    if (quote == '\'' || quote == '"') {
      ++position_;
      return quote == '"' ? scan_quoted_name(begin) : scan_text(begin, false);
    }
  }
  return finish(token::kind::word, begin);
}

// Stands at the opening quote. A text may go on behind a line end: 'a'
// 'b' is 'ab', and keeps the rules of its first part.
token token_scanner::scan_text(std::size_t begin, bool backslash_escapes) {
  ++position_;
  while (position_ < text_.size()) {
    unsigned char const byte = at(position_);
    if (byte == '\\' && backslash_escapes) {
      position_ = std::min(position_ + 2, text_.size());
    } else if (byte != '\'') {
      ++position_;
    } else if (at(position_ + 1) == '\'') {
      position_ += 2;
    } else {
      ++position_;
      if (!backslash_escapes || !skip_to_continuation()) return finish(token::kind::text, begin);
    }
  }
  return finish(token::kind::text, begin, false);
}

// Behind a closing quote: goes behind the quote with which the text goes on, if it does.
bool token_scanner::skip_to_continuation() {
  std::size_t const after_quote = position_;
  bool line_ended = false;
  while (true) {
    unsigned char const byte = at(position_);
    if (class_of(byte) == character::space) {
      line_ended |= byte == '\n' || byte == '\r';
      ++position_;
    } else if (byte == '-' && at(position_ + 1) == '-') {
      skip_line_comment();
    } else {
      break;
    }
  }
  if (line_ended && at(position_) == '\'') {
    ++position_;
    return true;
  }
  position_ = after_quote;
  return false;
}

// Stands at the opening quote.
token token_scanner::scan_quoted_name(std::size_t begin) {
  ++position_;
  while (position_ < text_.size()) {
    if (at(position_) != '"') {
      ++position_;
    } else if (at(position_ + 1) == '"') {
      position_ += 2;
    } else {
      ++position_;
      return finish(token::kind::quoted_name, begin);
    }
  }
  return finish(token::kind::quoted_name, begin, false);
}

token token_scanner::scan_dollar(std::size_t begin) {
  ++position_;
  if (class_of(at(position_)) == character::digit) {
    while (class_of(at(position_)) == character::digit) ++position_;
    return finish(token::kind::parameter, begin);
  }
  std::size_t tag_end = position_;
  if (class_of(at(tag_end)) == character::letter) {
    while (continues_word(at(tag_end)) && at(tag_end) != '$') ++tag_end;
  }
  if (at(tag_end) != '$') return finish(token::kind::symbol, begin);
  std::string_view const tag = text_.substr(begin, tag_end + 1 - begin);
  std::size_t const closing = text_.find(tag, tag_end + 1);
  position_ = closing == std::string_view::npos ? text_.size() : closing + tag.size();
  return finish(token::kind::text, begin, closing != std::string_view::npos);
}

// A run of operator characters, up to where a comment begins.
token token_scanner::scan_symbol(std::size_t begin) {
  do {
    ++position_;
    unsigned char const byte = at(position_);
    unsigned char const after = at(position_ + 1);
    if ((byte == '-' && after == '-') || (byte == '/' && after == '*')) break;
  } while (class_of(at(position_)) == character::operation);
  return finish(token::kind::symbol, begin);
}

bool names(token const& name, std::string_view text, std::string_view wanted) {
  std::string_view const written = name.in(text);
  if (name.what == token::kind::word) {
    return ascii::equal_but_for_case(written, wanted);
  }
  if (name.what != token::kind::quoted_name || !name.closed || written[0] != '"') return false;
  std::string content;
  for (std::size_t i = 1; i + 1 < written.size(); ++i) {
    content.push_back(written[i]);
    if (written[i] == '"') ++i;
  }
  return content == wanted;
}

}  // namespace qd::sql
