#include "character_database.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>

#include "db_util/int128.h"
#include "db_util/value_kinds.h"
#include "schema.h"

namespace unicode_demo {

namespace {

block_table read_blocks(std::filesystem::path const& path) {
  block_table blocks;
  field_reader reader(path);
  while (reader.next_line()) {
    std::vector<field> const& fields = reader.fields(2);
    code_range const range = reader.range(fields[0]);
    std::u16string name = reader.text(fields[1]);
    if (!blocks.ranges.add(range, blocks.list.size())) {
      reader.refuse(fields[0].where, "the block overlaps another one");
    }
    blocks.list.push_back({std::move(name), range});
  }
  return blocks;
}

script_table read_scripts(std::filesystem::path const& path) {
  script_table scripts;
  std::map<std::u16string, std::size_t> numbers;
  field_reader reader(path);
  while (reader.next_line()) {
    std::vector<field> const& fields = reader.fields(2);
    code_range const range = reader.range(fields[0]);
    std::u16string const name = reader.text(fields[1]);
    auto const [position, is_new] = numbers.try_emplace(name, scripts.names.size());
    if (is_new) scripts.names.push_back(name);
    if (!scripts.ranges.add(range, position->second)) {
      reader.refuse(fields[0].where, "the range overlaps that of another line");
    }
  }
  return scripts;
}

// The lines of UnicodeData.txt.
class code_point_reader {
 public:
  explicit code_point_reader(std::filesystem::path const& path) : reader_(path) {}

  std::vector<code_point> read() {
    while (reader_.next_line()) read_line(reader_.fields(15));
    resolve_partners();
    return std::move(code_points_);
  }

 private:
  // A partner's code, to be looked up when all lines are read.
  struct partner {
    std::size_t of;  // Position of the code point that has it.
    std::optional<std::size_t> code_point::*member;
    char32_t code;
    place where;
  };

  void read_line(std::vector<field> const& fields) {
    code_point point;
    point.code = reader_.code(fields[0]);
    if (!code_points_.empty() && point.code <= code_points_.back().code) {
      reader_.refuse(fields[0].where, "the code points do not ascend");
    }
    point.name = reader_.text(fields[1]);
    std::optional<std::size_t> const category = find_category(fields[2].text);
    if (!category) {
      reader_.refuse(fields[2].where,
                     "'" + std::string(fields[2].text) + "' is no general category");
    }
    point.category = *category;
    point.combining_class = reader_.number(fields[3], 254);
    point.bidi_class = reader_.text(fields[4]);
    point.decomposition = optional_text(fields[5]);
    point.decimal_digit = optional_digit(fields[6]);
    point.digit = optional_digit(fields[7]);
    if (!fields[8].text.empty()) point.numeric = numeric(fields[8]);
    point.mirrored = yes_or_no(fields[9]);
    point.old_name = optional_text(fields[10]);
    point.comment = optional_text(fields[11]);
    note_partner(fields[12], &code_point::uppercase);
    note_partner(fields[13], &code_point::lowercase);
    note_partner(fields[14], &code_point::titlecase);
    code_points_.push_back(std::move(point));
  }

  std::optional<std::u16string> optional_text(field const& source) const {
    if (source.text.empty()) return std::nullopt;
    return reader_.text(source);
  }

  std::optional<unsigned> optional_digit(field const& source) const {
    if (source.text.empty()) return std::nullopt;
    return reader_.number(source, 9);
  }

  bool yes_or_no(field const& source) const {
    if (source.text != "Y" && source.text != "N") {
      reader_.refuse(source.where, "'" + std::string(source.text) + "' is neither Y nor N");
    }
    return source.text == "Y";
  }

  numeric_value numeric(field const& source) const {
    std::string_view const digits = source.text;
    std::size_t const slash = std::min(digits.find('/'), digits.size());
    std::int64_t const numerator = integer(source, digits.substr(0, slash));
    std::int64_t const denominator =
        slash == digits.size() ? 1 : integer(source, digits.substr(slash + 1));
    if (denominator <= 0) reader_.refuse(source.where, "the denominator is not positive");
    numeric_value result{reader_.text(source), std::nullopt};
    // In 128 bits nothing overflows here.
    using wide = db_util::int128;
    wide const millionths = wide{numerator} * operator_library::Decimal::scale;
    wide const scaled = millionths / denominator;
    bool const exact = scaled * denominator == millionths;
    wide const bound = operator_library::Decimal::max_scaled;
    if (exact && -bound <= scaled && scaled <= bound) {
      result.scaled = static_cast<std::int64_t>(scaled);
    }
    return result;
  }

  std::int64_t integer(field const& source, std::string_view digits) const {
    std::int64_t number = 0;
    auto const [end, error] = std::from_chars(digits.begin(), digits.end(), number);
    if (error != std::errc() || end != digits.end()) {
      reader_.refuse(source.where, "'" + std::string(source.text) + "' is no number");
    }
    return number;
  }

  void note_partner(field const& source, std::optional<std::size_t> code_point::*member) {
    if (source.text.empty()) return;
    partners_.push_back({code_points_.size(), member, reader_.code(source), source.where});
  }

  void resolve_partners() {
    for (partner const& wanted : partners_) {
      auto const found = std::lower_bound(
          code_points_.begin(), code_points_.end(), wanted.code,
          [](code_point const& point, char32_t code) { return point.code < code; });
      if (found == code_points_.end() || found->code != wanted.code) {
        reader_.refuse(wanted.where, "no line has this code point");
      }
      code_points_[wanted.of].*wanted.member =
          static_cast<std::size_t>(found - code_points_.begin());
    }
  }

  field_reader reader_;
  std::vector<code_point> code_points_;
  std::vector<partner> partners_;
};

}  // namespace

bool range_table::add(code_range range, std::size_t number) {
  auto const after = entries_.lower_bound(range.first);
  if (after != entries_.end() && after->first <= range.last) return false;
  if (after != entries_.begin() && std::prev(after)->second.last >= range.first) return false;
  entries_.emplace_hint(after, range.first, entry{range.last, number});
  return true;
}

std::optional<std::size_t> range_table::find(char32_t code) const {
  auto const after = entries_.upper_bound(code);
  if (after == entries_.begin()) return std::nullopt;
  entry const& candidate = std::prev(after)->second;
  if (candidate.last < code) return std::nullopt;
  return candidate.number;
}

character_database read_character_database(std::filesystem::path const& directory) {
  block_table blocks = read_blocks(directory / "Blocks.txt");
  script_table scripts = read_scripts(directory / "Scripts.txt");
  std::vector<code_point> code_points = code_point_reader(directory / "UnicodeData.txt").read();
  return {std::move(blocks), std::move(scripts), std::move(code_points)};
}

}  // namespace unicode_demo
