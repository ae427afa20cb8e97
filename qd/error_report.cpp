#include "qd/error_report.h"

#include <algorithm>

#include "qd/text_width.h"

namespace qd::program {

namespace {

// Of a long line, so many bytes are shown before the place and behind it.
constexpr std::size_t shown_before = 50;
constexpr std::size_t shown_behind = 60;

bool is_continuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// The excerpt with the caret.
std::string excerpt(text_place const& place, std::size_t line_number) {
  std::size_t begin = place.offset > shown_before + 10 ? place.offset - shown_before : 0;
  while (begin < place.offset && is_continuation(place.text[begin])) ++begin;
  std::size_t end = std::min(place.text.size(), place.offset + shown_behind);
  while (end < place.text.size() && is_continuation(place.text[end])) ++end;
  std::string const number = std::to_string(line_number);
  std::string const dots = begin > 0 ? "..." : "";
  visible_text const before = make_visible(place.text.substr(begin, place.offset - begin));
  visible_text const behind = make_visible(place.text.substr(place.offset, end - place.offset));
  return "  " + number + " | " + dots + before.text + behind.text +
         (end < place.text.size() ? "...\n" : "\n") + "  " + std::string(number.size(), ' ') +
         " | " + std::string(dots.size() + before.width, ' ') + "^\n";
}

}  // namespace

text_place place_of(std::string_view text, std::size_t position) {
  position = std::min(position, text.size());
  std::string_view const before = text.substr(0, position);
  std::size_t const last_end = before.rfind('\n');
  std::size_t const begin = last_end == std::string_view::npos ? 0 : last_end + 1;
  std::size_t const end = std::min(text.find('\n', position), text.size());
  auto const characters = [](std::string_view bytes) {
    auto const count =
        std::count_if(bytes.begin(), bytes.end(), [](char each) { return !is_continuation(each); });
    return static_cast<std::size_t>(count);
  };
  auto const line = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
  return {line, characters(before.substr(begin)), text.substr(begin, end - begin),
          position - begin};
}

failure failure_of(sql::error const& error, std::string_view statement, std::size_t first_line) {
  failure why{error.code(), error.what()};
  why.line = first_line;
  if (error.position() != sql::no_position) {
    text_place const place = place_of(statement, error.position());
    why.position = error.position();
    why.line = first_line + place.line;
    why.column = place.column + 1;
  }
  if (auto const* refused = dynamic_cast<sql::copy_refused const*>(&error)) {
    why.refused = refused->lines();
  }
  return why;
}

std::string report(failure const& why, std::string_view statement, std::string_view script_name) {
  std::string text;
  if (!script_name.empty()) text = std::string(script_name) + ':' + std::to_string(why.line) + ": ";
  text += "error " + std::to_string(why.code) + ": " + why.text + '\n';
  if (why.position) text += excerpt(place_of(statement, *why.position), why.line);
  return text + refused_lines_text(why.refused);
}

std::string refused_lines_text(std::span<sql::refused_line const> lines) {
  std::string text;
  for (sql::refused_line const& each : lines) {
    text += "  line " + std::to_string(each.line);
    if (!each.column.empty()) text += ", column " + make_visible(each.column).text;
    if (!each.value.empty()) text += ", value '" + make_visible(each.value).text + '\'';
    text += ": " + each.reason + '\n';
  }
  return text;
}

}  // namespace qd::program
