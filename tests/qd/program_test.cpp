// The program from outside: scripts, arguments, exit status, the prompt, Ctrl-C.
#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "qd/terminal.h"
#include "support/scratch_directory.h"

namespace {

using testing::HasSubstr;

// Joins that nobody waits for the end of; a table t of 10 rows must be there.
std::string const endless =
    "SELECT count(*) FROM t a, t b, t c, t d, t e, t f, t g, t h, t i, t j, t k, t l, t m";
std::string const ten_rows =
    "CREATE TABLE t (n bigint); INSERT INTO t VALUES (1),(2),(3),(4),(5),(6),(7),(8),(9),(10);";

TEST(program, a_script_stops_at_its_first_failure_unless_told_otherwise) {
  std::string const script = "SELECT 1;\nSELECT x;\n\nSELECT 2;\nSELECT y";
  finished_run const stopped = run_program({}, script);
  EXPECT_EQ(stopped.status, 1);
  EXPECT_EQ(stopped.out, "?column?\n1\n");
  EXPECT_THAT(stopped.messages, testing::StartsWith("standard input:2: error 9003"));
  finished_run const continued = run_program({"--continue"}, script);
  EXPECT_EQ(continued.status, 1);
  EXPECT_EQ(continued.out, "?column?\n1\n?column?\n2\n");
  EXPECT_THAT(continued.messages, HasSubstr("standard input:5: error 9003"));
}

TEST(program, a_database_stays_and_arguments_are_statements_with_parameters) {
  scratch_directory const files;
  std::string const database = files / "data";
  EXPECT_EQ(run_program({database, "--existing", "SELECT 1"}).status, 1);
  EXPECT_EQ(run_program({database, ten_rows}).status, 0);
  EXPECT_EQ(
      run_program({database, "SELECT n, $2 AS x FROM t WHERE n > $1", "-p", "8.5", "-p", "a b"})
          .out,
      "n,x\n9,a b\n10,a b\n");
  finished_run const missing = run_program({database, "SELECT $2", "-p", "1"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_THAT(missing.messages, HasSubstr("$2"));
  finished_run const unused = run_program({database, "SELECT $1", "-p", "1", "-p", "2"});
  EXPECT_EQ(unused.status, 1);
  EXPECT_THAT(unused.messages, HasSubstr("error 9015: no statement has a parameter $2"));
  // A plan is the same with and without a value.
  std::string const explained = "EXPLAIN SELECT n FROM t WHERE n = $1";
  finished_run const plan = run_program({database, explained});
  EXPECT_THAT(plan.out, HasSubstr("$0"));
  EXPECT_EQ(run_program({database, explained, "-p", "1"}).out, plan.out);
  // What was not committed is no success.
  EXPECT_EQ(run_program({database, "BEGIN; DELETE FROM t"}).status, 1);
  EXPECT_EQ(run_program({database, "SELECT count(*) FROM t"}).out, "count\n10\n");
}

TEST(program, wrong_command_lines) {
  for (std::vector<std::string> const& each : std::vector<std::vector<std::string>>{
           {"--nothing"}, {"--format", "xml"}, {"a", "b", "c"}, {"x", "-p", "1"}, {"--existing"}}) {
    finished_run const run = run_program(each);
    EXPECT_EQ(run.status, 2) << each[0];
    EXPECT_NE(run.messages, "");
    EXPECT_EQ(run.out, "");
  }
  EXPECT_THAT(run_program({"--version"}).out, testing::MatchesRegex("qd [0-9.]+\n"));
}

TEST(program, commands_of_a_script) {
  scratch_directory const files;
  std::ofstream(files / "inner.sql")
      << "SELECT 5 AS five;\n.read " << (files / "inner.sql").string();
  std::string const read = ".read " + (files / "inner.sql").string() + "\n";
  finished_run const recursive = run_program({}, read);
  EXPECT_EQ(recursive.status, 1);
  EXPECT_THAT(recursive.messages, HasSubstr("16 deep"));
  finished_run const run = run_program(
      {}, ten_rows +
              "\n.mode table\n.check\n.plan on\n.echo on\nSELECT n FROM t WHERE n = 3;\n"
              ".tables\n.quit\nSELECT 'not run';");
  EXPECT_EQ(run.status, 0) << run.messages;
  EXPECT_THAT(run.out, HasSubstr("SELECT n FROM t WHERE n = 3;\n\nTransform"));
  EXPECT_THAT(run.out, testing::EndsWith(" t     | NULL     |   10\n1 row\n"));
  // A schema is statements, whatever the format of rows.
  std::string const schema = run_program({}, ten_rows + "\n.schema\n").out;
  EXPECT_EQ(run_program({}, schema + "SELECT count(*) FROM t").out, "count\n0\n") << schema;
  EXPECT_EQ(run_program({}, ".nothing").status, 1);
  EXPECT_EQ(run_program({}, ".timer maybe").status, 1);
  EXPECT_EQ(run_program({}, ".read /nowhere").status, 1);
}

TEST(program, copy_through_standard_input_and_output) {
  scratch_directory const files;
  std::string const database = files / "data";
  ASSERT_EQ(run_program({database, "CREATE TABLE p (a bigint, b text)"}).status, 0);
  finished_run const refused = run_program({database, "COPY p FROM STDIN"},
                                           "1,x\nb\xC3\xA4"
                                           "d,y\n");
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.messages, HasSubstr("line 2, column a, value 'bäd'"));
  finished_run const skipped =
      run_program({database, "COPY p FROM STDIN (ON_ERROR skip)"}, "1,x\nb,y\n");
  EXPECT_EQ(skipped.status, 0);
  EXPECT_THAT(skipped.messages, HasSubstr("line 2, column a, value 'b'"));
  EXPECT_EQ(run_program({database, "COPY p TO STDOUT (HEADER)"}).out, "a,b\n1,x\n");
}

TEST(program, a_full_disk_is_a_failure) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP();
  // The shell sends the output where nothing can be written.
  std::string const command = std::string(QD_PROGRAM) + " < /dev/null > /dev/full";
  EXPECT_EQ(
      std::system(("echo 'SELECT 1' | " + std::string(QD_PROGRAM) + " > /dev/full 2>&1").c_str()),
      1 << 8);
  EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST(prompt, statements_of_several_lines_and_history) {
  terminal at({});
  at.wait_for("qd> ");
  at.type("SELECT 'über'\n");
  at.wait_for("..> ");
  at.type("AS word, 1 + 1;\n");
  EXPECT_THAT(at.wait_for("1 row in"), HasSubstr(" über |        2"));
  at.wait_for("qd> ");
  at.type("BEGIN;\n");
  at.wait_for("qd*> ");
  // The line two before, again.
  at.type("\x1b[A\x1b[A\x01SELECT 'again' \n");
  EXPECT_THAT(at.wait_for("1 row in"), HasSubstr(" again |        2"));
  // The end of input counts at the prompt only.
  at.wait_for("qd*> ");
  at.type("\x04");
  EXPECT_EQ(at.status(), 0);
}

TEST(prompt, an_interrupt_stops_the_statement_or_drops_the_line) {
  terminal at({});
  at.wait_for("qd> ");
  at.type(ten_rows + "\n");
  at.wait_for("INSERT: 10 rows");
  at.wait_for("qd> ");
  at.type("SELECT 'half\n");
  at.wait_for("..> ");
  at.type("\x03");
  at.wait_for("qd> ");
  at.type(endless + ";\n");
  at.wait_for(" m;\r\n");
  // An interrupt between the line and its statement would find nothing to stop.
  std::this_thread::sleep_for(std::chrono::seconds(2));
  at.type("\x03");
  at.wait_for("error 9014");
  at.wait_for("qd> ");
  at.type("SELECT count(*) + 5 FROM t;\n");
  at.wait_for("15");
  at.wait_for("qd> ");
  at.type(".quit\n");
  EXPECT_EQ(at.status(), 0);
}

TEST(prompt, a_statement_that_reads_nothing_is_left_by_insisting) {
  terminal at({});
  at.wait_for("qd> ");
  std::string query = "SELECT count(*) FROM (VALUES (1),(2),(3),(4),(5),(6),(7),(8)) a0(x)";
  for (int i = 1; i < 12; ++i) {
    query += ", (VALUES (1),(2),(3),(4),(5),(6),(7),(8)) a" + std::to_string(i) + "(x)";
  }
  at.type(query + ";\n");
  at.wait_for("a11(x);\r\n");
  std::this_thread::sleep_for(std::chrono::seconds(2));
  at.type("\x03");
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  at.type("\x03");
  at.wait_for("Ctrl-C once more ends the program.");
  at.type("\x03");
  EXPECT_EQ(at.status(), 130);
}

}  // namespace
