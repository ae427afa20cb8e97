#include "qd/parameters.h"

#include "sql/text/ascii.h"

namespace qd::program {

namespace {

std::size_t digits_at(std::string_view text, std::size_t begin) {
  std::size_t end = begin;
  while (end < text.size() && sql::ascii::is_digit(text[end])) ++end;
  return end - begin;
}

// -12, 1.5, .5, 1e-3
bool is_number(std::string_view text) {
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  std::size_t place = digits_at(text, 0);
  std::size_t digits = place;
  if (place < text.size() && text[place] == '.') {
    std::size_t const fraction = digits_at(text, place + 1);
    digits += fraction;
    place += 1 + fraction;
  }
  if (digits == 0) return false;
  if (place < text.size() && (text[place] == 'e' || text[place] == 'E')) {
    ++place;
    if (place < text.size() && (text[place] == '-' || text[place] == '+')) ++place;
    std::size_t const exponent = digits_at(text, place);
    if (exponent == 0) return false;
    place += exponent;
  }
  return place == text.size();
}

// 'a', 'it''s'
bool is_quoted(std::string_view text) {
  if (text.size() < 2 || !text.starts_with('\'') || !text.ends_with('\'')) return false;
  text = text.substr(1, text.size() - 2);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\'') continue;
    if (i + 1 == text.size() || text[i + 1] != '\'') return false;
    ++i;
  }
  return true;
}

}  // namespace

bool is_sql_constant(std::string_view argument) {
  bool const binary = argument.starts_with("x'") || argument.starts_with("X'");
  return is_number(argument) || is_quoted(argument) || (binary && is_quoted(argument.substr(1))) ||
         sql::ascii::equal_but_for_case(argument, "null") ||
         sql::ascii::equal_but_for_case(argument, "true") ||
         sql::ascii::equal_but_for_case(argument, "false");
}

sql::value parameter_value(sql::connection& database, std::string_view argument) {
  // The engine reads its constants itself.
  bool const constant = is_sql_constant(argument);
  sql::statement reading =
      database.prepare(constant ? "SELECT " + std::string(argument) : std::string("SELECT $1"));
  if (!constant) reading.bind_text(1, argument);
  reading.step();
  return reading.row()[0];
}

}  // namespace qd::program
