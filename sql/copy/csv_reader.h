// Reading CSV: bytes become records of fields.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "sql/copy/csv_format.h"

namespace qd::sql {

// Fills a part of the buffer, at least one byte, and returns how many; 0 at the end. Throws what it
// has to.
using byte_source = std::function<std::size_t(std::span<char>)>;

// Reads a stream record by record. A record ends at LF, CR LF or CR outside quotes, or at the end
// of the input; an empty line is a record of one empty field. A byte order mark at the beginning is
// skipped. Inside quotes everything stands for itself but the quote, which is doubled.
//
//     csv_reader reader(source, format, 3);
//     for (auto got = reader.next(); got != csv_reader::outcome::end; got = reader.next())
//       if (got == csv_reader::outcome::refused) complain(reader.line(), reader.reason());
//       else take(reader.fields());
class csv_reader {
 public:
  enum class outcome {
    record,
    refused,  // The record is left out and reading can go on behind it.
    end,
  };

  // A quote that is never closed makes one record of all that follows it.
  static constexpr std::size_t max_record_bytes = std::size_t{64} << 20;

  // Records that have another number of fields than `field_count` are refused.
  csv_reader(byte_source source, csv_format const& format, std::size_t field_count);

  // Throws sql::error, bad_input, for a record beyond max_record_bytes, and what the source throws.
  outcome next();

  // Of the last record: valid until the next call of next.
  std::span<csv_field const> fields() const { return fields_; }
  // Of the last record, refused or not: the line at which it begins, from 1.
  std::uint64_t line() const { return record_line_; }
  // Of the last record, when refused.
  std::string const& reason() const { return reason_; }
  // Of the last record, when refused: the beginning of what stands there, at most 80 bytes.
  std::string_view refused_text() const;

  // Bytes of the input that the records so far, and the last one, take.
  std::uint64_t bytes_done() const { return bytes_before_buffer_ + position_; }

 private:
  // Where a field's text stands, counted from record_begin_.
  struct field_place {
    std::size_t begin;
    std::size_t end;
    bool quoted;
    bool has_doubled_quotes;
  };

  bool available() { return position_ < filled_ || fill(); }
  bool fill();
  void skip_byte_order_mark();
  bool read_record();
  bool read_quoted_field();
  bool read_plain_field();
  void take_fields();
  void skip_line();
  void end_line();

  byte_source source_;
  csv_format format_;
  std::size_t field_count_;
  special_bytes is_special_;

  std::vector<char> buffer_;
  std::size_t filled_ = 0;        // Bytes of buffer_ that hold input.
  std::size_t position_ = 0;      // The next byte to read.
  std::size_t record_begin_ = 0;  // The record at hand; bytes before it are not needed any more.
  std::uint64_t bytes_before_buffer_ = 0;
  bool begun_ = false;
  bool source_ended_ = false;

  std::uint64_t line_ = 1;         // Of position_.
  std::uint64_t record_line_ = 1;  // Of record_begin_.
  std::vector<field_place> places_;
  std::vector<csv_field> fields_;
  std::string reason_;  // Empty unless the last record is refused.
};

}  // namespace qd::sql
