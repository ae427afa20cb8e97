#include "field_reader.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <system_error>

#include "db_string/string_encoder.h"

namespace unicode_demo {

namespace {

std::string_view without_comment(std::string_view line) {
  return line.substr(0, line.find('#'));
}

// The field that begins at byte `begin` of its line, blanks cut off.
field trimmed(std::string_view text, std::size_t begin, std::size_t line_number) {
  constexpr std::string_view blanks = " \t\r";
  std::size_t const leading = std::min(text.find_first_not_of(blanks), text.size());
  text.remove_prefix(leading);
  text = text.substr(0, text.find_last_not_of(blanks) + 1);
  return {text, {line_number, begin + leading + 1}};
}

// The whole of `text` as a number in the base; false when it is anything else.
bool parse(std::string_view text, int base, unsigned& number) {
  auto const [end, error] = std::from_chars(text.begin(), text.end(), number, base);
  return error == std::errc() && end == text.end();
}

}  // namespace

field_reader::field_reader(std::filesystem::path const& path) : path_(path), stream_(path) {
  if (!stream_) {
    std::error_code const reason(errno, std::generic_category());
    throw input_error(path.string() + ": cannot be opened: " + reason.message());
  }
}

bool field_reader::next_line() {
  while (std::getline(stream_, line_)) {
    ++line_number_;
    std::string_view const content = without_comment(line_);
    if (content.find_first_not_of(" \t\r") == std::string_view::npos) continue;
    fields_.clear();
    for (std::size_t begin = 0; begin <= content.size();) {
      std::size_t const end = std::min(content.find(';', begin), content.size());
      fields_.push_back(trimmed(content.substr(begin, end - begin), begin, line_number_));
      begin = end + 1;
    }
    return true;
  }
  if (stream_.bad()) refuse({line_number_, 1}, "cannot be read");
  return false;
}

std::vector<field> const& field_reader::fields(std::size_t expected_count) const {
  if (fields_.size() != expected_count) {
    refuse(fields_.back().where,
           std::to_string(fields_.size()) + " fields instead of " + std::to_string(expected_count));
  }
  return fields_;
}

char32_t field_reader::code(field const& source) const {
  unsigned number = 0;
  bool const well_formed = source.text.size() >= 4 && source.text.size() <= 6 &&
                           parse(source.text, 16, number) && number <= max_code;
  if (!well_formed) {
    refuse(source.where, "'" + std::string(source.text) + "' is no code point");
  }
  return number;
}

code_range field_reader::range(field const& source) const {
  std::size_t const dots = source.text.find("..");
  if (dots == std::string_view::npos) {
    char32_t const only = code(source);
    return {only, only};
  }
  char32_t const first = code({source.text.substr(0, dots), source.where});
  place const behind{source.where.line, source.where.column + dots + 2};
  char32_t const last = code({source.text.substr(dots + 2), behind});
  if (last < first) refuse(behind, "the range ends before it begins");
  return {first, last};
}

unsigned field_reader::number(field const& source, unsigned greatest) const {
  unsigned number = 0;
  if (!parse(source.text, 10, number) || number > greatest) {
    refuse(source.where,
           "'" + std::string(source.text) + "' is no number from 0 to " + std::to_string(greatest));
  }
  return number;
}

std::u16string field_reader::text(field const& source) const {
  if (source.text.empty()) refuse(source.where, "the field is empty");
  try {
    return encoder::utf8_to_utf16(source.text);
  } catch (std::range_error const&) {
    refuse(source.where, "the text is not UTF-8");
  }
}

void field_reader::refuse(place const& where, std::string const& reason) const {
  throw input_error(path_.string() + ':' + std::to_string(where.line) + ':' +
                    std::to_string(where.column) + ": " + reason);
}

}  // namespace unicode_demo
