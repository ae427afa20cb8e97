// SQL LIKE on UTF-16 text.
//
// In a pattern, % stands for any sequence of units, _ for one character (one unit, or a high
// surrogate and whatever unit follows it), and a backslash makes a following %, _ or backslash
// stand for itself. Every other unit stands for itself: no case folding, no normalisation. Escapes
// are read from left to right.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "error_handling/qd_exception.h"

namespace like {

// Throws QDException 7042 at `location` unless every backslash is followed by %, _ or a backslash.
void ValidateWildcard(std::u16string_view pattern, YYLTYPE location);

// Whether the whole text matches the pattern. Throws as ValidateWildcard, without a location.
// Takes time proportional at most to the product of the lengths, and no memory.
bool Match(std::u16string_view text, std::u16string_view pattern);

// What can be told about the matching texts. These do not validate the pattern.
//
//     pattern     StartsWith   ExactMatch   AbsorbableStartsWith
//     ab%         ab           -            ab
//     ab_ , ab%c  ab           -            -
//     a\%b        -            a%b          -
//     %ab, %      -            -            -
//     (empty)     -            (empty)      -

// The text before the first wildcard, with which every match begins; none where that is empty or
// there is no wildcard.
std::optional<std::u16string> StartsWith(std::u16string_view pattern);

// The only match of a pattern without wildcards. A lone backslash at the end, which Match refuses,
// is dropped.
std::optional<std::u16string> ExactMatch(std::u16string_view pattern);

// The prefix, if the pattern matches exactly the texts that begin with a prefix that is not empty.
std::optional<std::u16string> AbsorbableStartsWith(std::u16string_view pattern);

}  // namespace like
