// Places in the text of a statement.
#pragma once

#include <cstdint>

namespace qd::sql {

// A byte offset into the text that was parsed. Syntax, refusals and errors carry it, so that a
// message can point at the place.
using text_position = std::uint32_t;
inline constexpr text_position no_position = ~text_position{0};

}  // namespace qd::sql
