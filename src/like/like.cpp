#include "like/like.h"

#include <experimental/simd>

#include "error_handling/error_codes.h"

namespace like {

namespace {

constexpr char16_t any_sequence = u'%';
constexpr char16_t any_character = u'_';
constexpr char16_t escape = u'\\';
constexpr std::size_t none = std::u16string_view::npos;

bool is_wildcard(char16_t unit) {
  return unit == any_sequence || unit == any_character;
}
bool is_high_surrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

// The position of the first wildcard that is not escaped.
std::size_t first_wildcard(std::u16string_view pattern) {
  for (std::size_t position = 0; position < pattern.size(); ++position) {
    if (is_wildcard(pattern[position])) return position;
    if (pattern[position] == escape) ++position;
  }
  return none;
}

// Drops every escaping backslash.
std::u16string RemoveEscapeChars(std::u16string_view pattern) {
  std::u16string text;
  text.reserve(pattern.size());
  for (std::size_t position = 0; position < pattern.size(); ++position) {
    if (pattern[position] == escape && ++position == pattern.size()) break;
    text.push_back(pattern[position]);
  }
  return text;
}

// The pattern up to its first % that is not escaped, or all of it: a run. It has one way at most to
// match from a given position of the text.
std::u16string_view leading_run(std::u16string_view pattern) {
  std::size_t position = 0;
  while (position < pattern.size() && pattern[position] != any_sequence) {
    position += pattern[position] == escape ? 2 : 1;
  }
  return pattern.substr(0, position);
}

// Matches a run from `position` on; returns where the match ends, or `none`.
std::size_t match_run(std::u16string_view text, std::size_t position, std::u16string_view run) {
  for (std::size_t i = 0; i < run.size(); ++i) {
    if (position >= text.size()) return none;
    if (run[i] == any_character) {
      position += is_high_surrogate(text[position]) ? 2 : 1;
    } else {
      if (run[i] == escape) ++i;
      if (text[position] != run[i]) return none;
      ++position;
    }
  }
  // Beyond the end when a character lacks its second unit.
  return position <= text.size() ? position : none;
}

// Two units that stand side by side in a text; of a single one, itself twice at distance 0.
struct unit_pair {
  char16_t first;
  char16_t second;
  std::size_t distance;
};

// The first units of a run that begins with a unit that stands for itself.
unit_pair first_units(std::u16string_view run) {
  std::size_t position = run[0] == escape ? 1 : 0;
  char16_t const first = run[position++];
  bool const at_end = position == run.size();
  if (at_end || run[position] == any_character) return {first, first, 0};
  if (run[position] == escape) ++position;
  return {first, run[position], 1};
}

// The first position from `position` on where the text has both units, or its size. A vector
// register of positions at a time: most of the time of '%word%' goes here, and one unit alone would
// stop it at every other word.
std::size_t find_units(std::u16string_view text, std::size_t position, unit_pair units) {
  using block = std::experimental::native_simd<char16_t>;
  using std::experimental::element_aligned;
  for (; position + units.distance + block::size() <= text.size(); position += block::size()) {
    block const here(text.data() + position, element_aligned);
    block const there(text.data() + position + units.distance, element_aligned);
    auto const found = here == units.first && there == units.second;
    if (any_of(found)) return position + static_cast<std::size_t>(find_first_set(found));
  }
  for (; position + units.distance < text.size(); ++position) {
    if (text[position] == units.first && text[position + units.distance] == units.second) {
      return position;
    }
  }
  return text.size();
}

// Matches a run at the first position from `position` on where it can match; returns where that
// match ends, or `none`.
std::size_t find_run(std::u16string_view text, std::size_t position, std::u16string_view run) {
  if (run.empty()) return position;
  bool const begins_with_character = run[0] == any_character;
  unit_pair const units = begins_with_character ? unit_pair{} : first_units(run);
  for (; position < text.size(); ++position) {
    if (!begins_with_character) position = find_units(text, position, units);
    std::size_t const end = match_run(text, position, run);
    if (end != none) return end;
  }
  return none;
}

// Whether a run matches, from some position at or after `position`, up to the end of the text.
bool match_tail(std::u16string_view text, std::size_t position, std::u16string_view run) {
  if (run.empty()) return true;
  std::size_t least_units = 0;
  std::size_t characters = 0;  // Each of these may take one unit more.
  for (std::size_t i = 0; i < run.size(); ++i) {
    ++least_units;
    if (run[i] == any_character) ++characters;
    if (run[i] == escape) ++i;
  }
  if (text.size() < least_units) return false;
  std::size_t const last_start = text.size() - least_units;
  std::size_t start = last_start > characters ? last_start - characters : 0;
  if (start < position) start = position;
  for (; start <= last_start; ++start) {
    if (match_run(text, start, run) == text.size()) return true;
  }
  return false;
}

}  // namespace

void ValidateWildcard(std::u16string_view pattern, YYLTYPE location) {
  for (std::size_t position = 0; position < pattern.size(); ++position) {
    if (pattern[position] != escape) continue;
    ++position;
    if (position == pattern.size() ||
        !(is_wildcard(pattern[position]) || pattern[position] == escape)) {
      error_handling::ThrowException(error_handling::invalid_like_escape, location,
                                     u"Escape character must be followed by a special character.");
    }
  }
}

// The definition tries, at each %, every remaining text in turn against the rest of the pattern.
// Two facts make one pass give the same answers.
//
// A run between two % may take its first match. Let it match from p and from a later p'. Each unit
// of the run moves both positions on, and p never overtakes p': as long as p < p', one step takes p
// to p + 2 at most and p' to p' + 1 at least; once level, they stay level. So the first match ends
// no later than any other, and the % behind it leaves every choice open that another match would.
//
// Validating the pattern once is enough: a % is met outside an escape only, so the escapes of the
// rest are escapes of the whole.
bool Match(std::u16string_view text, std::u16string_view pattern) {
  ValidateWildcard(pattern, error_handling::invalid_location);
  std::u16string_view run = leading_run(pattern);
  std::size_t position = match_run(text, 0, run);
  if (run.size() == pattern.size()) return position == text.size();
  while (position != none) {
    pattern.remove_prefix(run.size() + 1);
    run = leading_run(pattern);
    if (run.size() == pattern.size()) return match_tail(text, position, run);
    position = find_run(text, position, run);
  }
  return false;
}

std::optional<std::u16string> StartsWith(std::u16string_view pattern) {
  std::size_t const wildcard = first_wildcard(pattern);
  if (wildcard == none || wildcard == 0) return std::nullopt;
  return RemoveEscapeChars(pattern.substr(0, wildcard));
}

std::optional<std::u16string> ExactMatch(std::u16string_view pattern) {
  if (first_wildcard(pattern) != none) return std::nullopt;
  return RemoveEscapeChars(pattern);
}

std::optional<std::u16string> AbsorbableStartsWith(std::u16string_view pattern) {
  std::size_t const wildcard = first_wildcard(pattern);
  if (wildcard == none || wildcard == 0) return std::nullopt;
  if (wildcard + 1 != pattern.size() || pattern[wildcard] != any_sequence) return std::nullopt;
  return RemoveEscapeChars(pattern.substr(0, wildcard));
}

}  // namespace like
