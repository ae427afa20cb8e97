// COPY: what is refused and how it is reported, references among loaded rows, round trips.
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "sql_run/support.h"
#include "support/scratch_directory.h"

namespace {

using qd::sql::connection;
using qd::sql::copy_refused;
using qd::sql::error_code;
using qd::sql::refused_line;
using qd::sql::statement;
using sql_run_test::code;
using sql_run_test::error_of;
using sql_run_test::lines_of;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using lines = std::vector<std::string>;

auto refusal(std::uint64_t line, char const* column, char const* value, char const* reason) {
  return AllOf(Field(&refused_line::line, line), Field(&refused_line::column, column),
               Field(&refused_line::value, value), Field(&refused_line::reason, HasSubstr(reason)));
}

class Copy : public testing::Test {
 protected:
  Copy() : data(connection::open_temporary()) {
    data.execute(
        "CREATE TABLE country (code text NOT NULL UNIQUE, name text);"
        "INSERT INTO country VALUES ('CH', 'Switzerland'), ('AT', 'Austria');"
        "CREATE TABLE person (id bigint NOT NULL UNIQUE, name text NOT NULL, "
        "country country REFERENCES country(code), boss person REFERENCES person(id));"
        "INSERT INTO person VALUES (1, 'Ada', 'CH', NULL)");
  }

  std::string file(std::string const& content) {
    std::string const path = directory / "input.csv";
    std::ofstream(path) << content;
    return "'" + path + "'";
  }

  lines people() {
    return lines_of(data, "SELECT id, name, country.code, boss.id FROM person ORDER BY id");
  }

  // Loads with ON_ERROR skip and returns what was left out.
  std::vector<refused_line> load_skipping(std::string const& content) {
    statement copy =
        data.prepare("COPY person FROM " + file(content) + " (FORMAT csv, ON_ERROR skip)");
    EXPECT_FALSE(copy.step());
    return copy.refused_lines();
  }

  scratch_directory directory;
  connection data;
};

// Lines 2 to 6 each break another rule.
char const bad_lines[] =
    "2,Bob,CH,1\n"
    "x,Cid,CH,1\n"
    "4,,AT,1\n"
    "5,Eve,XX,1\n"
    "6,Fay,AT\n"
    "1,Gus,AT,1\n"
    "8,Hal,,2\n";

TEST_F(Copy, OneBadLineRefusesAll) {
  for (bool const inside : {false, true}) {
    SCOPED_TRACE(inside);
    if (inside) data.execute("BEGIN");
    try {
      data.execute("COPY person FROM " + file(bad_lines) + " (FORMAT csv)");
      FAIL();
    } catch (copy_refused const& refused) {
      EXPECT_EQ(refused.code(), code(error_code::bad_input));
      EXPECT_THAT(refused.lines(),
                  ElementsAre(refusal(2, "id", "x", ""), refusal(3, "name", "", "NOT NULL"),
                              refusal(4, "country", "XX", "no row of country"),
                              refusal(5, "", "6,Fay,AT", "")));
    }
    EXPECT_THAT(people(), ElementsAre("1 | Ada | CH | NULL"));
    if (inside) data.execute("COMMIT");
  }
  // What only the end of the load can tell.
  for (char const* content : {"2,Bob,CH,1\n2,Eve,CH,1\n", "2,Bob,CH,1\n1,Eve,CH,1\n",
                              "2,Bob,CH,3\n", "2,Bob,CH,2\n3,Eve,CH,4\n"}) {
    SCOPED_TRACE(content);
    data.execute("BEGIN");
    EXPECT_EQ(
        error_of([&] { data.execute("COPY person FROM " + file(content) + " (FORMAT csv)"); }),
        code(error_code::bad_input));
    data.execute("COMMIT");
    EXPECT_THAT(people(), ElementsAre("1 | Ada | CH | NULL"));
  }
  EXPECT_THAT(data.check(), IsEmpty());
}

TEST_F(Copy, ReportsTheFirstTwentyLines) {
  std::string content;
  for (int i = 0; i < 50; ++i) content += "x,y,,\n";
  try {
    data.execute("COPY person FROM " + file(content) + " (FORMAT csv)");
    FAIL();
  } catch (copy_refused const& refused) {
    EXPECT_THAT(refused.lines(), SizeIs(20));
    EXPECT_THAT(refused.what(), HasSubstr("50 lines"));
  }
}

TEST_F(Copy, SkipsRefusedLines) {
  EXPECT_THAT(load_skipping(bad_lines),
              ElementsAre(refusal(2, "id", "x", ""), refusal(3, "name", "", "NOT NULL"),
                          refusal(4, "country", "XX", "no row of country"),
                          refusal(5, "", "6,Fay,AT", ""), refusal(6, "", "", "person_id_key")));
  EXPECT_THAT(people(),
              ElementsAre("1 | Ada | CH | NULL", "2 | Bob | CH | 1", "8 | Hal | NULL | 2"));
  EXPECT_THAT(data.check(), IsEmpty());
}

TEST_F(Copy, RefersForwardAndSkipsWhatRefersToSkippedLines) {
  EXPECT_THAT(load_skipping("10,Ann,CH,11\n"
                            "11,Ben,CH,12\n"
                            "12,Cem,CH,10\n"
                            "20,Dan,CH,21\n"
                            "21,Eli,CH,22\n"
                            "22,Fox,CH,99\n"
                            "23,Gil,CH,\n"),
              ElementsAre(refusal(4, "boss", "21", "refused"), refusal(5, "boss", "22", "refused"),
                          refusal(6, "boss", "99", "no row of person")));
  EXPECT_THAT(people(),
              ElementsAre("1 | Ada | CH | NULL", "10 | Ann | CH | 11", "11 | Ben | CH | 12",
                          "12 | Cem | CH | 10", "23 | Gil | CH | NULL"));
  EXPECT_THAT(data.check(), IsEmpty());
}

TEST_F(Copy, ReadsBackWhatItWrote) {
  data.execute(
      "CREATE TABLE kinds (i bigint, u unsigned, d numeric, f double precision, s real, t text, "
      "b bytea, x boolean, p person REFERENCES person(id));"
      "INSERT INTO kinds VALUES (-9223372036854775808, 18446744073709551615, "
      "-4398046511103.999999, 1e300, 0.1, 'a \"quoted\", te\nxt', x'00ff', true, 1),"
      "(0, 0, 0.5, -0e0, 1e10, '', x'', false, NULL), (NULL, NULL, NULL, NULL, NULL, NULL, NULL, "
      "NULL, NULL), (1, 2, 3, 1e0, 2.5e0, 'NULL', NULL, NULL, 1)");
  std::string const path = "'" + (directory / "kinds.csv").string() + "'";
  data.execute("COPY kinds TO " + path + " (FORMAT csv, HEADER, DELIMITER ';', NULL 'NULL')");
  std::string const all = "SELECT i, u, d, f, s, t, b, x, p.id FROM kinds ORDER BY i, u";
  lines const before = lines_of(data, all);
  data.execute("DELETE FROM kinds");
  data.execute("COPY kinds FROM " + path + " (FORMAT csv, HEADER, DELIMITER ';', NULL 'NULL')");
  EXPECT_EQ(lines_of(data, all), before);
  EXPECT_THAT(before, SizeIs(4));
  data.execute("COPY (SELECT id, upper FROM (SELECT id, name AS upper FROM person) q) TO " + path +
               " (FORMAT csv)");
  std::ostringstream written;
  written << std::ifstream(directory / "kinds.csv").rdbuf();
  EXPECT_EQ(written.str(), "1,Ada\n");
}

TEST_F(Copy, UsesTheStreamsOfTheProgram) {
  std::istringstream input("1\n2\n");
  std::ostringstream output;
  qd::sql::connection_options options;
  options.copy_input = &input;
  options.copy_output = &output;
  connection streaming = connection::open_temporary(options);
  streaming.execute(
      "CREATE TABLE t (a bigint); COPY t FROM STDIN (FORMAT csv); "
      "COPY (SELECT a + 1 FROM t ORDER BY a) TO STDOUT (FORMAT csv)");
  EXPECT_EQ(output.str(), "2\n3\n");
  EXPECT_EQ(error_of([&] { data.execute("COPY person FROM STDIN (FORMAT csv)"); }),
            code(error_code::not_supported));
  EXPECT_EQ(error_of([&] { data.execute("COPY person FROM '/no/such/file' (FORMAT csv)"); }),
            code(error_code::bad_input));
}

}  // namespace
