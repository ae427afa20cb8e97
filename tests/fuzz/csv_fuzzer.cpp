// CSV of any bytes: what is read of it, written and read again is the same, and every field is
// converted or refused.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "sql/copy/csv_reader.h"
#include "sql/copy/csv_writer.h"
#include "sql/copy/field_converter.h"

namespace {

using namespace qd;

struct record_reader {
  record_reader(std::string text, std::size_t piece, sql::csv_format const& format,
                std::size_t width)
      : reader(
            [text = std::move(text), piece, done = std::size_t{0}](std::span<char> buffer) mutable {
              std::size_t const count = std::min({piece, buffer.size(), text.size() - done});
              std::memcpy(buffer.data(), text.data() + done, count);
              done += count;
              return count;
            },
            format, width) {}
  sql::csv_reader reader;
};

[[noreturn]] void fail(char const* text) {
  std::fprintf(stderr, "%s\n", text);
  std::abort();
}

void convert(sql::csv_field const& field, sql::csv_format const& format) {
  using type = embedded::column_type;
  for (type const each : {type::string, type::binary, type::signed_integer, type::unsigned_integer,
                          type::decimal, type::single_float, type::double_float, type::boolean}) {
    sql::field_converter converter(each, format);
    embedded::value result;
    if (converter.convert(field, result).empty() && result.is_null() != field.is_null(format)) {
      fail("NULL of a field that is none, or the other way round");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 2) return 0;
  sql::csv_format const formats[] = {{}, {';', '\'', "NULL"}, {'\t', '"', "\\N"}, {'0', '1', "x"}};
  sql::csv_format const& format = formats[data[0] % std::size(formats)];
  std::size_t const width = 1 + data[0] / std::size(formats) % 4;
  std::size_t const piece = 1 + data[1];
  std::string const text(reinterpret_cast<char const*>(data) + 2, size - 2);

  using outcome = sql::csv_reader::outcome;
  struct kept_field {
    std::string text;
    bool is_null;
  };
  std::vector<std::vector<kept_field>> records;
  record_reader first(text, piece, format, width);
  for (outcome got = first.reader.next(); got != outcome::end; got = first.reader.next()) {
    if (got == outcome::refused) {
      if (first.reader.reason().empty() || first.reader.refused_text().size() > 80) {
        fail("a refusal without a reason, or with too much text");
      }
      continue;
    }
    auto& record = records.emplace_back();
    for (sql::csv_field const& each : first.reader.fields()) {
      convert(each, format);
      record.push_back({std::string(each.text), each.is_null(format)});
    }
  }
  if (first.reader.bytes_done() != text.size()) fail("bytes are left over");

  std::string written;
  sql::csv_writer writer([&](std::string_view part) { written += part; }, format);
  for (auto const& record : records) {
    for (kept_field const& each : record) {
      each.is_null ? writer.null() : writer.field(each.text);
    }
    writer.end_record();
  }
  writer.flush();
  record_reader second(written, piece, format, width);
  for (auto const& record : records) {
    if (second.reader.next() != outcome::record) fail("a written record is not read");
    for (std::size_t i = 0; i < record.size(); ++i) {
      sql::csv_field const& field = second.reader.fields()[i];
      if (field.text != record[i].text || field.is_null(format) != record[i].is_null) {
        fail("a written field is read as another one");
      }
    }
  }
  if (second.reader.next() != outcome::end) fail("more is read than was written");
  return 0;
}
