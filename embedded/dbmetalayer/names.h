// Names and texts: dotted names, and UTF-8 for messages.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qd::embedded {

// The parts of a dotted name, in order; a name without dots has one part.
std::vector<std::u16string_view> split_name(std::u16string_view name);

// The same parts in reverse order: a.b.c for c.b.a.
std::u16string reverse_name(std::u16string_view name);

// For messages: an unpaired surrogate becomes U+FFFD.
std::string to_utf8(std::u16string_view text);

}  // namespace qd::embedded
