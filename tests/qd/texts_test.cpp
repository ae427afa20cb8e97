// Cutting input into statements, the width of text on a terminal, places of errors, parameters.
#include <gmock/gmock.h>

#include "qd/error_report.h"
#include "qd/input_splitter.h"
#include "qd/parameters.h"
#include "qd/progress_bar.h"
#include "qd/schema_text.h"
#include "qd/text_width.h"

namespace {

using namespace qd::program;  // NOLINT: these tests are about it
using testing::ElementsAre;

// Pieces as "line: text", those of commands with a "!" before them.
std::vector<std::string> pieces_of(std::vector<std::string> const& lines) {
  std::vector<std::string> found;
  auto const note = [&](input_piece const& piece) {
    found.push_back((piece.is_command ? "!" : "") + std::to_string(piece.line) + ": " + piece.text);
  };
  input_splitter input;
  for (std::string const& line : lines) {
    for (input_piece const& piece : input.add_line(line)) note(piece);
  }
  if (auto const rest = input.finish()) note(*rest);
  return found;
}

TEST(input_splitter, statements_end_at_semicolons_outside_of_texts) {
  EXPECT_THAT(pieces_of({"SELECT 1; SELECT", "2;SELECT 3"}),
              ElementsAre("1: SELECT 1", "1: SELECT\n2", "2: SELECT 3"));
  EXPECT_THAT(pieces_of({"SELECT 'a;", ".b", "c''d';", "SELECT \";\"; SELECT $q$;$q$;"}),
              ElementsAre("1: SELECT 'a;\n.b\nc''d'", "4: SELECT \";\"", "4: SELECT $q$;$q$"));
  EXPECT_THAT(pieces_of({"-- a; comment", "", "/* one;", ".more /* inner */ ; */ SELECT 1;;", ";"}),
              ElementsAre("4: SELECT 1"));
  // The text goes on in the next line, so the statement does not end in between.
  EXPECT_THAT(pieces_of({"SELECT 'a'", "'b;c'", "; SELECT 2;"}),
              ElementsAre("1: SELECT 'a'\n'b;c'\n", "3: SELECT 2"));
  // A comment that nothing closes is told of, as what is no statement.
  EXPECT_THAT(pieces_of({"SELECT 1; /* SELECT 2;", "/* */ SELECT 3;"}),
              ElementsAre("1: SELECT 1", "1:  /* SELECT 2;\n/* */ SELECT 3;"));
}

TEST(input_splitter, commands_stand_where_a_statement_would_begin) {
  EXPECT_THAT(pieces_of({"\xEF\xBB\xBF.tables", "SELECT 1", ".5;", "-- nothing", ".quit\r"}),
              ElementsAre("!1: .tables", "2: SELECT 1\n.5", "!5: .quit"));
}

TEST(text_width, columns_of_a_terminal) {
  struct row {
    std::string text;
    std::string shown;
    std::size_t width;
  };
  std::vector<row> const rows = {
      {"plain", "plain", 5},
      {"日本", "日本", 4},
      {"e\u0301a", "e\u0301a", 2},    // A combining mark.
      {"\u0301", "\u25CC\u0301", 1},  // Nothing to combine with.
      {"한", "한", 2},                // One syllable of three letters.
      {"\U0001F468\u200D\U0001F469", "\U0001F468\u200D\U0001F469", 2},  // Joined to one shape.
      {"\U0001F1E8\U0001F1ED", "\U0001F1E8\U0001F1ED", 2},              // One flag.
      {"a\tb\nc\r", "a\\tb\\nc\\r", 9},
      {"\x1b[31m", "<U+001B>[31m", 12},  // Nothing may steer the terminal.
      {"a\u202Eb", "a<U+202E>b", 10},    // Nor turn the direction of writing.
      {"\xFFz", "\uFFFDz", 2},
  };
  for (row const& each : rows) {
    EXPECT_EQ(make_visible(each.text).text, each.shown);
    EXPECT_EQ(display_width(each.text), each.width) << each.shown;
  }
}

TEST(error_report, the_caret_stands_below_the_place) {
  std::string const text = "SELECT '日本',\n  nme FROM t";
  qd::sql::error const unknown(qd::sql::error_code::unknown_name, "no column nme",
                               static_cast<qd::sql::text_position>(text.find("nme")));
  failure const why = failure_of(unknown, text, 10);
  EXPECT_EQ(why.line, 11u);
  EXPECT_EQ(why.column, 3u);
  EXPECT_EQ(report(why, text, "a.sql"),
            "a.sql:11: error 9003: no column nme\n"
            "  11 |   nme FROM t\n"
            "     |   ^\n");
  // Behind wide characters, and at the end of the text.
  qd::sql::error const at_end(qd::sql::error_code::syntax, "x", 16);
  EXPECT_EQ(report(failure_of(at_end, "SELECT '日本'", 1), "SELECT '日本'", ""),
            "error 9001: x\n"
            "  1 | SELECT '日本'\n"
            "    |              ^\n");
  // Of a long line a stretch around the place.
  std::string const longer = std::string(5000, 'a') + "HERE" + std::string(5000, 'b');
  qd::sql::error const inside(qd::sql::error_code::syntax, "x", 5000);
  std::string const shown = report(failure_of(inside, longer, 1), longer, "");
  std::size_t const caret_line = shown.find("\n    |") + 1;
  std::size_t const excerpt_line = shown.find("\n  1 |") + 1;
  EXPECT_LT(shown.size(), 300u);
  EXPECT_EQ(shown.find('^') - caret_line, shown.find("HERE") - excerpt_line);
}

TEST(parameters, constants_of_sql_and_texts) {
  for (char const* text : {"1", "-2.5", "1e-3", ".5", "+7", "'it''s'", "x'0aff'", "NULL", "True"}) {
    EXPECT_TRUE(is_sql_constant(text)) << text;
  }
  for (char const* text : {"", "-", ".", "1e", "1.2.3", "2026-11-23", "'a'b'", "'", "abc", "x'0a",
                           "1; DROP TABLE t", "'a' || 'b'", "nulls"}) {
    EXPECT_FALSE(is_sql_constant(text)) << text;
  }
  auto database = qd::sql::connection::open_temporary();
  auto const shown = [&](char const* text) {
    return qd::sql::display_text(parameter_value(database, text));
  };
  EXPECT_EQ(shown("'it''s'"), "it's");
  EXPECT_EQ(shown("it's"), "it's");
  EXPECT_EQ(shown("18446744073709551615"), "18446744073709551615");
  EXPECT_EQ(shown("-0.50"), "-0.5");
  EXPECT_TRUE(parameter_value(database, "null").is_null());
  EXPECT_THROW(shown("1.1234567"), qd::sql::error);
}

TEST(schema_text, makes_the_same_schema_again) {
  auto first = qd::sql::connection::open_temporary();
  first.execute(
      "CREATE TABLE z (k text PRIMARY KEY, \"Two Words\" bigint, \"select\" unsigned NOT NULL);"
      "CREATE TABLE a (z z REFERENCES z(k), self a, f real, d numeric, o boolean, y bytea);"
      "CREATE TABLE \"B\" (x double precision) INHERITS (a);"
      "CREATE INDEX i ON z (\"Two Words\" DESC, k); CREATE INDEX j ON a (d);"
      "CREATE TABLE geo.land (k text UNIQUE)");
  std::string const schema = schema_text(first.tables(), "");
  auto second = qd::sql::connection::open_temporary();
  second.execute(schema);
  EXPECT_EQ(schema_text(second.tables(), ""), schema);
  EXPECT_THAT(schema, testing::HasSubstr("\"Two Words\" DESC, k"));
  EXPECT_THAT(schema_text(first.tables(), "B"),
              "CREATE TABLE \"B\" (\n  x double precision\n) INHERITS (a);\n");
}

TEST(progress_bar, share_count_and_rate) {
  EXPECT_EQ(progress_text({50, 100, 1234}, 2),
            "[===============               ]  50%  1,234 rows  617 rows/s");
  EXPECT_EQ(progress_text({50, 0, 1}, 0), "1 row");
}

}  // namespace
