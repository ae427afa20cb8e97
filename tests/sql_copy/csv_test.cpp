// CSV as COPY reads and writes it, and fields as values.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <random>

#include "sql/copy/csv_reader.h"
#include "sql/copy/csv_writer.h"
#include "sql/copy/field_converter.h"
#include "sql/error.h"

namespace qd::sql {

namespace {

// Hands out a text in pieces, so that every construct is once cut by the end of what is read.
byte_source source_of(std::string text, std::size_t piece) {
  return [text = std::move(text), piece, done = std::size_t{0}](std::span<char> buffer) mutable {
    std::size_t const count = std::min({piece, buffer.size(), text.size() - done});
    std::memcpy(buffer.data(), text.data() + done, count);
    done += count;
    return count;
  };
}

// Records between brackets behind their line, fields between bars, quoted ones marked with q.
std::string read_all(std::string const& text, std::size_t fields, csv_format const& format,
                     std::size_t piece) {
  csv_reader reader(source_of(text, piece), format, fields);
  std::string result;
  for (auto got = reader.next(); got != csv_reader::outcome::end; got = reader.next()) {
    result += std::to_string(reader.line());
    if (got == csv_reader::outcome::refused) {
      result += "!" + reader.reason() + ": " + std::string(reader.refused_text()) + ";";
      continue;
    }
    result += "[";
    for (csv_field const& each : reader.fields()) {
      if (&each != reader.fields().data()) result += "|";
      result += (each.quoted ? "q" : "") + std::string(each.text);
    }
    result += "]";
  }
  EXPECT_EQ(reader.bytes_done(), text.size()) << text;
  return result;
}

}  // namespace

TEST(CsvReader, Shapes) {
  csv_format const comma;
  csv_format const odd{'\t', '\'', "\\N"};
  struct {
    char const* text;
    std::size_t fields;
    csv_format const& format;
    char const* expected;
  } const cases[] = {
      {"", 1, comma, ""},
      {"a,b\nc,d\n", 2, comma, "1[a|b]2[c|d]"},
      {"a,b\r\nc,d", 2, comma, "1[a|b]2[c|d]"},
      {"a,b\rc,\r", 2, comma, "1[a|b]2[c|]"},
      {"\xEF\xBB\xBF\"a\",b", 2, comma, "1[qa|b]"},
      {"a\xEF\xBB\xBF,b", 2, comma, "1[a\xEF\xBB\xBF|b]"},
      {"\"\",,\" \",  x ", 4, comma, "1[q||q |  x ]"},
      {"\"a\"\"b\",\"\"\"\",\"\"\"x\"\"\"\n", 3, comma, "1[qa\"b|q\"|q\"x\"]"},
      {"\"a\nb\r\nc,\",d\ne,f\n", 2, comma, "1[qa\nb\r\nc,|d]4[e|f]"},
      {"a\n\nb\n", 1, comma, "1[a]2[]3[b]"},
      {"a,b\n\nc,d\n", 2, comma, "1[a|b]2!the line has 1 field, 2 are expected: ;3[c|d]"},
      {"a,b,c\nd,e\n", 2, comma, "1!the line has 3 fields, 2 are expected: a,b,c;2[d|e]"},
      {"a\"b,c\nd,e\n", 2, comma, "1!a quote stands inside a field without quotes: a\"b,c;2[d|e]"},
      {"\"a\"b,c\nd,e\n", 2, comma, "1!text follows a closing quote: \"a\"b,c;2[d|e]"},
      {"\"a\" ,c\nd,e\n", 2, comma, "1!text follows a closing quote: \"a\" ,c;2[d|e]"},
      {"a,b\nc,\"d\ne,f\n", 2, comma, "1[a|b]2!a quote is not closed before the end: c,\"d;"},
      {"\"a\"\"b\nc\"x\nd\n", 1, comma, "1!text follows a closing quote: \"a\"\"b;3[d]"},
      {"'a''\t'\t\"b\"\t\\N,", 3, odd, "1[qa'\t|\"b\"|\\N,]"},
  };
  for (auto const& each : cases) {
    for (std::size_t const piece : {std::size_t{1}, std::size_t{3}, std::size_t{1000}}) {
      EXPECT_EQ(read_all(each.text, each.fields, each.format, piece), each.expected)
          << each.text << " in pieces of " << piece;
    }
  }
}

TEST(CsvReader, LongRecords) {
  std::string const long_field(1'000'000, 'x');
  EXPECT_EQ(read_all("a,\"" + long_field + "\"\"\"\nb,c\n", 2, {}, 100'000),
            "1[a|q" + long_field + "\"]2[b|c]");
  // What is shown of a refused line is short and ends between characters.
  std::string const shown(79, 'x');
  EXPECT_EQ(read_all(shown + "\xC3\xA4yz\n", 2, {}, 10),
            "1!the line has 1 field, 2 are expected: " + shown + ";");
  // A quote that is never closed must not swallow all memory.
  csv_reader reader(
      [first = true](std::span<char> buffer) mutable {
        std::fill(buffer.begin(), buffer.end(), 'x');
        if (std::exchange(first, false)) buffer[0] = '"';
        return buffer.size();
      },
      {}, 1);
  EXPECT_THROW(reader.next(), error);
}

// Whatever fields are written, the same are read, and NULL stays apart from every text.
TEST(CsvWriter, ReadsBack) {
  std::mt19937 random(20260101);
  csv_format const formats[] = {{}, {';', '\'', "NULL"}, {'\t', '"', "\\N"}, {'0', '1', "x"}};
  std::string const alphabet = "ab,;\t\"'\r\nNUL\\x01 \xC3\xA4\xEF\xBB\xBF";
  for (int round = 0; round < 2000; ++round) {
    csv_format const& format = formats[round % std::size(formats)];
    std::size_t const width = 1 + random() % 3;
    std::vector<std::vector<std::optional<std::string>>> rows(1 + random() % 4);
    std::string written;
    csv_writer writer([&](std::string_view part) { written += part; }, format);
    for (auto& row : rows) {
      for (std::size_t i = 0; i < width; ++i) {
        std::optional<std::string>& field = row.emplace_back();
        switch (random() % 4) {
          case 0:
            writer.null();
            continue;
          case 1:
            field = format.null_text;
            break;
          default:
            field.emplace();
            for (auto left = random() % 6; left > 0; --left) {
              *field += alphabet[random() % alphabet.size()];
            }
        }
        writer.field(*field);
      }
      writer.end_record();
    }
    writer.flush();

    csv_reader reader(source_of(written, 1 + random() % 20), format, width);
    for (auto const& row : rows) {
      ASSERT_EQ(reader.next(), csv_reader::outcome::record) << written << reader.reason();
      for (std::size_t i = 0; i < width; ++i) {
        csv_field const& field = reader.fields()[i];
        ASSERT_EQ(field.is_null(format), !row[i].has_value()) << written;
        if (row[i].has_value()) {
          ASSERT_EQ(field.text, *row[i]) << written;
        }
      }
    }
    EXPECT_EQ(reader.next(), csv_reader::outcome::end);
  }
}

TEST(CsvWriter, QuotesOnlyWhatNeedsIt) {
  std::string written;
  csv_writer writer([&](std::string_view part) { written += part; }, {});
  for (char const* const each : {"a b", "1.5", "", "a,b", "\"", "x\ny"}) writer.field(each);
  writer.null();
  writer.end_record();
  writer.flush();
  EXPECT_EQ(written, "a b,1.5,\"\",\"a,b\",\"\"\"\",\"x\ny\",\n");
}

namespace {

using type = embedded::column_type;

// The value of a field as text, or its refusal.
std::string converted(type of, std::string_view text, bool quoted = false) {
  field_converter converter(of, {});
  embedded::value result;
  std::string_view const refusal = converter.convert({text, quoted}, result);
  if (!refusal.empty()) return "!" + std::string(refusal);
  struct {
    std::string operator()(std::monostate) const { return "null"; }
    std::string operator()(bool truth) const { return truth ? "true" : "false"; }
    std::string operator()(std::uint64_t number) const { return "u" + std::to_string(number); }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(embedded::decimal number) const {
      return "d" + std::to_string(number.scaled);
    }
    std::string operator()(float number) const { return "f" + std::to_string(number); }
    std::string operator()(double number) const {
      char text[40];
      std::snprintf(text, sizeof text, "%.17g", number);
      return text;
    }
    std::string operator()(std::u16string_view text) const {
      std::string units;
      for (char16_t const each : text) units += "." + std::to_string(unsigned{each});
      return "t" + units;
    }
    std::string operator()(embedded::binary_view bytes) const {
      std::string shown = "b";
      for (unsigned char const each : bytes) shown += "." + std::to_string(unsigned{each});
      return shown;
    }
    std::string operator()(embedded::object_id) const { return "reference"; }
  } const show;
  return std::visit(show, result.content());
}

}  // namespace

TEST(FieldConverter, Conversions) {
  std::string const no_integer = "!is no integer";
  std::string const range = "!is out of range";
  std::string const no_decimal = "!is no decimal number";
  std::string const no_number = "!is no number";
  std::string const no_binary = "!is not \\x and pairs of hexadecimal digits";
  struct {
    type of;
    std::string text;
    std::string expected;
  } const cases[] = {
      {type::signed_integer, "", "null"},
      {type::signed_integer, "-0", "0"},
      {type::signed_integer, "+0012", "12"},
      {type::signed_integer, "9223372036854775807", "9223372036854775807"},
      {type::signed_integer, "9223372036854775808", range},
      {type::signed_integer, "-9223372036854775808", "-9223372036854775808"},
      {type::signed_integer, "-9223372036854775809", range},
      {type::signed_integer, "99999999999999999999999", range},
      {type::signed_integer, "1.0", no_integer},
      {type::signed_integer, " 1", no_integer},
      {type::signed_integer, "--1", no_integer},
      {type::signed_integer, "-", no_integer},
      {type::unsigned_integer, "18446744073709551615", "u18446744073709551615"},
      {type::unsigned_integer, "18446744073709551616", range},
      {type::unsigned_integer, "-1", range},
      {type::decimal, "1.5", "d1500000"},
      {type::decimal, "-.000001", "d-1"},
      {type::decimal, "7.", "d7000000"},
      {type::decimal, "1.23456700", "d1234567"},
      {type::decimal, "1.2345671", "!has more than six decimals"},
      {type::decimal, "4398046511103.999999", "d4398046511103999999"},
      {type::decimal, "-4398046511103.999999", "d-4398046511103999999"},
      {type::decimal, "4398046511104", range},
      {type::decimal, "99999999999999999999999999", range},
      {type::decimal, ".", no_decimal},
      {type::decimal, "1e3", no_decimal},
      {type::decimal, "1.2.3", no_decimal},
      {type::double_float, "0.1", "0.10000000000000001"},
      {type::double_float, "-0", "-0"},
      {type::double_float, "+1e-3", "0.001"},
      {type::double_float, "nan", "nan"},
      {type::double_float, "-Infinity", "-inf"},
      {type::double_float, "1e999", range},
      {type::double_float, "0x10", no_number},
      {type::double_float, "1,5", no_number},
      {type::double_float, "+-1", no_number},
      {type::double_float, "nan(1)", no_number},
      {type::single_float, "0.1", "f0.100000"},
      {type::single_float, "1e39", range},
      {type::boolean, "T", "true"},
      {type::boolean, "false", "false"},
      {type::boolean, "1", "true"},
      {type::boolean, "yes", "!is neither true nor false"},
      {type::binary, "\\x", "b"},
      {type::binary, "\\x0aFF", "b.10.255"},
      {type::binary, "\\x0", no_binary},
      {type::binary, "\\x0g", no_binary},
      {type::binary, "0a", no_binary},
      {type::string, "az", "t.97.122"},
      {type::string, "\xC3\xA4\xF0\x9F\x98\x80", "t.228.55357.56832"},
      {type::string, "\xFF", "!is not valid UTF-8"},
      {type::string, "\xED\xA0\x80", "!is not valid UTF-8"},
      {type::string, std::string("a\0", 2), "!contains the character U+0000"},
      {type::string, std::string("\xC3\xA4\0", 3), "!contains the character U+0000"},
  };
  for (auto const& each : cases)
    EXPECT_EQ(converted(each.of, each.text), each.expected) << each.text;
  EXPECT_EQ(converted(type::string, "", true), "t");
  EXPECT_EQ(converted(type::signed_integer, "", true), no_integer);
}

// A converter's buffer is used again: nothing of a longer text may remain.
TEST(FieldConverter, ForgetsTheFieldBefore) {
  field_converter converter(type::string, {});
  embedded::value result;
  for (std::string const text : {"long enough to leave something", "ab", "\xC3\xA4", "abc", ""}) {
    ASSERT_EQ(converter.convert({text, true}, result), "");
    auto const view = std::get<std::u16string_view>(result.content());
    EXPECT_EQ(view, text == "\xC3\xA4" ? u"\u00E4" : std::u16string(text.begin(), text.end()));
  }
}

}  // namespace qd::sql
