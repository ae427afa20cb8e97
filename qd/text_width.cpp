#include "qd/text_width.h"

#include <utf8proc.h>

#include <algorithm>
#include <cstdio>

namespace qd::program {

namespace {

constexpr utf8proc_int32_t zero_width_joiner = 0x200D;
constexpr utf8proc_int32_t zero_width_non_joiner = 0x200C;
constexpr utf8proc_int32_t first_regional_indicator = 0x1F1E6;
constexpr utf8proc_int32_t last_regional_indicator = 0x1F1FF;

bool is_plain(std::string_view utf8) {
  return std::all_of(utf8.begin(), utf8.end(),
                     [](char each) { return ' ' <= each && each <= '~'; });
}

bool has_shape(utf8proc_int32_t code) {
  // Inside a cluster these two say how their neighbours join.
  if (code == zero_width_joiner || code == zero_width_non_joiner) return true;
  switch (utf8proc_category(code)) {
    case UTF8PROC_CATEGORY_CN:
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_CO:
    case UTF8PROC_CATEGORY_CS:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
      return false;
    default:
      return true;
  }
}

std::string spelled(utf8proc_int32_t code) {
  switch (code) {
    case '\t':
      return "\\t";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    default: {
      char text[16];
      std::snprintf(text, sizeof text, "<U+%04X>", static_cast<unsigned>(code));
      return text;
    }
  }
}

bool is_regional_indicator(utf8proc_int32_t code) {
  return first_regional_indicator <= code && code <= last_regional_indicator;
}

// Builds the text one grapheme cluster at a time: a cluster is as wide as its widest code point, but
// for flags, which are made of two.
class cluster_writer {
 public:
  void add(utf8proc_int32_t code, std::string_view bytes) {
    if (!has_shape(code)) {
      add_spelled(spelled(code));
      return;
    }
    bool const joined =
        previous_ != 0 && !utf8proc_grapheme_break_stateful(previous_, code, &state_);
    auto width = static_cast<std::size_t>(utf8proc_charwidth(code));
    if (is_regional_indicator(code)) width = joined ? 2 : 1;
    if (joined) {
      if (width > cluster_width_) grow_to(width);
    } else {
      // What has no width needs something to stand on.
      if (width == 0) result_.text += "\u25CC";
      cluster_width_ = 0;
      grow_to(std::max<std::size_t>(width, 1));
    }
    result_.text += bytes;
    previous_ = code;
  }

  void add_invalid() { add_spelled("\uFFFD", 1); }

  visible_text take() { return std::move(result_); }

 private:
  void add_spelled(std::string const& text) { add_spelled(text, text.size()); }
  void add_spelled(std::string_view text, std::size_t width) {
    result_.text += text;
    result_.width += width;
    previous_ = 0;
    state_ = 0;
  }
  void grow_to(std::size_t width) {
    result_.width += width - cluster_width_;
    cluster_width_ = width;
  }

  visible_text result_;
  std::size_t cluster_width_ = 0;
  utf8proc_int32_t previous_ = 0;  // 0 before the first of a cluster.
  utf8proc_int32_t state_ = 0;
};

}  // namespace

visible_text make_visible(std::string_view utf8) {
  if (is_plain(utf8)) return {std::string(utf8), utf8.size()};
  cluster_writer clusters;
  while (!utf8.empty()) {
    utf8proc_int32_t code = 0;
    auto const* const bytes = reinterpret_cast<utf8proc_uint8_t const*>(utf8.data());
    auto const length = utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(utf8.size()), &code);
    if (length <= 0) {
      clusters.add_invalid();
      utf8.remove_prefix(1);
      continue;
    }
    clusters.add(code, utf8.substr(0, static_cast<std::size_t>(length)));
    utf8.remove_prefix(static_cast<std::size_t>(length));
  }
  return clusters.take();
}

std::size_t display_width(std::string_view utf8) {
  return is_plain(utf8) ? utf8.size() : make_visible(utf8).width;
}

}  // namespace qd::program
