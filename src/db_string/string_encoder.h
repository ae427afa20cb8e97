// Conversions between UTF-16 and UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace encoder {

// Throws std::range_error "wstring_convert::to_bytes" on an unpaired surrogate.
std::string utf16_to_utf8(std::u16string_view const& text);

// Throws std::range_error "wstring_convert::from_bytes" on anything but UTF-8 up to U+10FFFF.
std::u16string utf8_to_utf16(std::string_view const& text);

}  // namespace encoder
