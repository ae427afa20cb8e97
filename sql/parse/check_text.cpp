#include "sql/parse/check_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "sql/error.h"
#include "sql/parse/parse.h"
#include "sql/parse/token_scanner.h"

namespace qd::sql {

namespace {

// Bytes of the UTF-8 sequence at the beginning of `text`; 0 when there is none.
std::size_t sequence_length(std::string_view text) {
  auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  auto const is_tail = [&](std::size_t i) { return i < text.size() && (byte(i) & 0xC0) == 0x80; };
  unsigned char const lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4 || !is_tail(1)) return 0;
  if (lead < 0xE0) return 2;
  if (!is_tail(2)) return 0;
  if (lead < 0xF0) {
    if (lead == 0xE0 && byte(1) < 0xA0) return 0;  // A shorter sequence would do.
    if (lead == 0xED && byte(1) > 0x9F) return 0;  // Surrogates.
    return 3;
  }
  if (lead == 0xF0 && byte(1) < 0x90) return 0;
  if (lead == 0xF4 && byte(1) > 0x8F) return 0;  // Beyond U+10FFFF.
  return is_tail(3) ? 4 : 0;
}

// The greatest number of levels that the text between two parentheses can add to the tree.
//
// Every word and operator may nest what stands before or behind it: a + b + c, NOT NOT a, a IS NULL
// IS NULL, a JOIN b JOIN c. What commas separate stands side by side, but for the parts of set
// operations: (SELECT a, b UNION SELECT c, d UNION ...).
class level_bound {
 public:
  void add_term() { ++terms_; }
  void add_set_operation() { ++set_operations_; }
  void add_inner(std::size_t levels) { inner_ = std::max(inner_, levels); }
  void end_element() {
    greatest_ = std::max(greatest_, terms_ + inner_);
    terms_ = 0;
    inner_ = 0;
  }
  std::size_t levels() const { return 1 + set_operations_ + std::max(greatest_, terms_ + inner_); }

 private:
  std::size_t terms_ = 0;  // Of the element at hand.
  std::size_t inner_ = 0;  // The deepest parentheses in it.
  std::size_t greatest_ = 0;
  std::size_t set_operations_ = 0;
};

bool is_set_operation(token const& word, std::string_view text) {
  return names(word, text, "union") || names(word, text, "intersect") ||
         names(word, text, "except");
}

[[noreturn]] void refuse(error_code code, std::string const& text, std::size_t position) {
  throw error(code, text, static_cast<text_position>(position));
}

void check_name_length(token const& name) {
  bool const quoted = name.what == token::kind::quoted_name;
  if (name.end - name.begin > max_identifier_bytes + (quoted ? 2 : 0)) {
    refuse(error_code::limit_exceeded,
           "a name is longer than " + std::to_string(max_identifier_bytes) + " bytes", name.begin);
  }
}

// The grammar keeps the lowest 32 bits of a parameter's number: $4294967297 would be $1.
void check_parameter_number(token const& parameter, std::string_view text) {
  std::string_view const digits = parameter.in(text).substr(1);
  std::uint32_t number = 0;
  auto const read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (read.ec != std::errc() || number > max_parameter_number) {
    refuse(error_code::limit_exceeded,
           "a parameter's number is above " + std::to_string(max_parameter_number),
           parameter.begin);
  }
  if (number == 0) {
    refuse(error_code::syntax, "parameters are written $1, $2 ...", parameter.begin);
  }
}

}  // namespace

void check_encoding(std::string_view text) {
  std::size_t position = 0;
  while (position < text.size()) {
    if (text.size() - position >= 8) {
      constexpr std::uint64_t top_bits = 0x8080808080808080;
      constexpr std::uint64_t ones = 0x0101010101010101;
      std::uint64_t bytes;
      std::memcpy(&bytes, text.data() + position, sizeof bytes);
      // No byte has its top bit, and none is zero: a zero byte borrows.
      if (((bytes | (bytes - ones)) & top_bits) == 0) {
        position += sizeof bytes;
        continue;
      }
    }
    if (text[position] == '\0') {
      refuse(error_code::bad_literal, "the text contains the character U+0000", position);
    }
    std::size_t const length = sequence_length(text.substr(position));
    if (length == 0) refuse(error_code::bad_literal, "the text is not valid UTF-8", position);
    position += length;
  }
}

std::size_t check_statement_text(std::string_view text) {
  if (text.size() > max_statement_bytes) {
    refuse(error_code::limit_exceeded,
           "the statement is longer than " + std::to_string(max_statement_bytes) + " bytes",
           no_position);
  }
  check_encoding(text);
  token_scanner scanner(text);
  std::vector<level_bound> levels(1);
  while (true) {
    token const each = scanner.next();
    switch (each.what) {
      case token::kind::word:
        check_name_length(each);
        if (is_set_operation(each, text)) {
          levels.back().add_set_operation();
        } else {
          levels.back().add_term();
        }
        break;
      case token::kind::quoted_name:
        check_name_length(each);
        levels.back().add_term();
        break;
      case token::kind::symbol:
        levels.back().add_term();
        break;
      case token::kind::open:
        if (levels.size() > max_statement_nesting) {
          refuse(
              error_code::limit_exceeded,
              "parentheses nest deeper than " + std::to_string(max_statement_nesting) + " levels",
              each.begin);
        }
        levels.emplace_back();
        break;
      case token::kind::close:
        if (levels.size() > 1) {
          std::size_t const inner = levels.back().levels();
          levels.pop_back();
          levels.back().add_inner(inner);
        }
        break;
      case token::kind::comma:
      case token::kind::semicolon:
        levels.back().end_element();
        break;
      case token::kind::parameter:
        check_parameter_number(each, text);
        break;
      case token::kind::text:
      case token::kind::number:
        break;
      case token::kind::end:
        while (levels.size() > 1) {
          std::size_t const inner = levels.back().levels();
          levels.pop_back();
          levels.back().add_inner(inner);
        }
        return levels.back().levels();
    }
  }
}

}  // namespace qd::sql
