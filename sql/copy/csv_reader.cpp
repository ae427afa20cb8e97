#include "sql/copy/csv_reader.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "sql/error.h"

namespace qd::sql {

namespace {
constexpr std::size_t first_buffer_bytes = std::size_t{256} << 10;
constexpr std::size_t shown_bytes = 80;
}  // namespace

csv_reader::csv_reader(byte_source source, csv_format const& format, std::size_t field_count)
    : source_(std::move(source)),
      format_(format),
      field_count_(field_count),
      is_special_(format),
      buffer_(first_buffer_bytes) {
  places_.reserve(field_count);
  fields_.reserve(field_count);
}

csv_reader::outcome csv_reader::next() {
  places_.clear();
  fields_.clear();
  reason_.clear();
  if (!begun_) skip_byte_order_mark();
  record_begin_ = position_;
  record_line_ = line_;
  if (!available()) return outcome::end;
  if (!read_record()) return outcome::refused;
  if (places_.size() != field_count_) {
    reason_ = "the line has " + std::to_string(places_.size()) +
              (places_.size() == 1 ? " field, " : " fields, ") + std::to_string(field_count_) +
              (field_count_ == 1 ? " is expected" : " are expected");
    return outcome::refused;
  }
  take_fields();
  return outcome::record;
}

std::string_view csv_reader::refused_text() const {
  std::string_view text(buffer_.data() + record_begin_, position_ - record_begin_);
  text = text.substr(0, text.find_first_of("\r\n"));
  if (text.size() <= shown_bytes) return text;
  std::size_t end = shown_bytes;
  while (end > 0 && (text[end] & 0xC0) == 0x80) --end;  // Characters stay whole.
  return text.substr(0, end);
}

// Gets more input behind what the buffer holds of the record at hand; false at the input's end.
bool csv_reader::fill() {
  if (source_ended_) return false;
  if (record_begin_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + record_begin_, filled_ - record_begin_);
    bytes_before_buffer_ += record_begin_;
    filled_ -= record_begin_;
    position_ -= record_begin_;
    record_begin_ = 0;
  }
  if (filled_ == buffer_.size()) {
    if (buffer_.size() >= max_record_bytes) {
      throw error(error_code::bad_input,
                  "line " + std::to_string(record_line_) + ": the record is longer than " +
                      std::to_string(max_record_bytes) + " bytes; a quote may not be closed");
    }
    buffer_.resize(2 * buffer_.size());
  }
  std::size_t const got = source_({buffer_.data() + filled_, buffer_.size() - filled_});
  source_ended_ = got == 0;
  filled_ += got;
  return !source_ended_;
}

void csv_reader::skip_byte_order_mark() {
  begun_ = true;
  while (filled_ < byte_order_mark.size() && fill()) continue;
  if (std::string_view(buffer_.data(), filled_).starts_with(byte_order_mark)) {
    position_ = byte_order_mark.size();
  }
}

bool csv_reader::read_record() {
  while (true) {
    bool const quoted = available() && buffer_[position_] == format_.quote;
    if (!(quoted ? read_quoted_field() : read_plain_field())) return false;
    if (!available()) return true;
    if (buffer_[position_] != format_.delimiter) break;
    ++position_;
  }
  end_line();
  return true;
}

// Stands at the opening quote; ends at a delimiter, a line end or the input's end.
bool csv_reader::read_quoted_field() {
  ++position_;
  std::size_t const begin = position_ - record_begin_;
  bool has_doubled_quotes = false;
  while (true) {
    if (!available()) {
      reason_ = "a quote is not closed before the end";
      return false;
    }
    char const* const start = buffer_.data() + position_;
    auto const* const quote =
        static_cast<char const*>(std::memchr(start, format_.quote, filled_ - position_));
    char const* const end = quote != nullptr ? quote : buffer_.data() + filled_;
    line_ += static_cast<std::uint64_t>(std::count(start, end, '\n'));
    position_ += static_cast<std::size_t>(end - start);
    if (quote == nullptr) continue;
    ++position_;
    if (!available() || buffer_[position_] != format_.quote) break;
    has_doubled_quotes = true;
    ++position_;
  }
  places_.push_back({begin, position_ - 1 - record_begin_, true, has_doubled_quotes});
  if (!available() || buffer_[position_] == format_.delimiter || buffer_[position_] == '\n' ||
      buffer_[position_] == '\r') {
    return true;
  }
  reason_ = "text follows a closing quote";
  skip_line();
  return false;
}

// Ends at a delimiter, a line end or the input's end.
bool csv_reader::read_plain_field() {
  std::size_t const begin = position_ - record_begin_;
  do {
    while (position_ < filled_ && !is_special_[buffer_[position_]]) ++position_;
  } while (position_ == filled_ && fill());
  places_.push_back({begin, position_ - record_begin_, false, false});
  if (position_ == filled_ || buffer_[position_] != format_.quote) return true;
  reason_ = "a quote stands inside a field without quotes";
  skip_line();
  return false;
}

// Doubled quotes are made single in the buffer itself, now that the record is accepted.
void csv_reader::take_fields() {
  char* const record = buffer_.data() + record_begin_;
  for (field_place const& place : places_) {
    char* const begin = record + place.begin;
    char* end = record + place.end;
    if (place.has_doubled_quotes) {
      char const* const old_end = end;
      end = begin;
      for (char const* from = begin; from != old_end; ++from) {
        *end++ = *from;
        if (*from == format_.quote) ++from;
      }
    }
    fields_.push_back({{begin, static_cast<std::size_t>(end - begin)}, place.quoted});
  }
}

void csv_reader::skip_line() {
  while (available() && buffer_[position_] != '\n' && buffer_[position_] != '\r') ++position_;
  if (available()) end_line();
}

// Stands at the line end.
void csv_reader::end_line() {
  bool const is_carriage_return = buffer_[position_] == '\r';
  ++position_;
  ++line_;
  if (is_carriage_return && available() && buffer_[position_] == '\n') ++position_;
}

}  // namespace qd::sql
