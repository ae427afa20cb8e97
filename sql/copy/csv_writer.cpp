#include "sql/copy/csv_writer.h"

#include <algorithm>
#include <utility>

namespace qd::sql {

namespace {
constexpr std::size_t flush_bytes = std::size_t{64} << 10;
}

csv_writer::csv_writer(std::function<void(std::string_view)> sink, csv_format const& format)
    : sink_(std::move(sink)), format_(format), is_special_(format) {}

void csv_writer::field(std::string_view text) {
  begin_field();
  if (!needs_quotes(text)) {
    pending_.append(text);
    return;
  }
  pending_.push_back(format_.quote);
  for (char const each : text) {
    pending_.push_back(each);
    if (each == format_.quote) pending_.push_back(each);
  }
  pending_.push_back(format_.quote);
}

void csv_writer::null() {
  begin_field();
  pending_.append(format_.null_text);
}

void csv_writer::end_record() {
  pending_.push_back('\n');
  in_record_ = false;
  if (pending_.size() >= flush_bytes) flush();
}

void csv_writer::flush() {
  if (!pending_.empty()) sink_(pending_);
  pending_.clear();
}

void csv_writer::begin_field() {
  if (in_record_) pending_.push_back(format_.delimiter);
  in_record_ = true;
}

// A byte order mark could be the first thing of the file, and would be skipped there.
bool csv_writer::needs_quotes(std::string_view text) const {
  return text == format_.null_text || text.starts_with(byte_order_mark) ||
         std::any_of(text.begin(), text.end(), [&](char each) { return is_special_[each]; });
}

}  // namespace qd::sql
