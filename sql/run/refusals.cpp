#include "sql/run/refusals.h"

#include "sql/run/texts.h"

namespace qd::sql {
namespace {

// What a file says may be no UTF-8: then its bytes beyond ASCII become question marks.
std::string readable(std::string text) {
  if (!is_utf8(text)) {
    std::replace_if(
        text.begin(), text.end(), [](char byte) { return static_cast<signed char>(byte) < 0; },
        '?');
  }
  return text;
}

}  // namespace

void refusals::add(std::uint64_t line, std::string column, std::string_view shown,
                   std::string reason) {
  ++count_;
  // What the file's reading refuses comes in the order of the lines; the keys that are looked up at
  // the end come later, and by far not all are needed.
  if (!all_ && lines_.size() >= 2 * most_reported) return;
  lines_.push_back(
      {line, std::move(column), readable(cut_text(shown, most_value_bytes)), std::move(reason)});
}

std::vector<refused_line> refusals::take() {
  std::stable_sort(lines_.begin(), lines_.end(),
                   [](auto const& left, auto const& right) { return left.line < right.line; });
  if (!all_ && lines_.size() > most_reported) lines_.resize(most_reported);
  return std::move(lines_);
}

}  // namespace qd::sql
