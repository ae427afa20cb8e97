// Statements beside one another: changed schemas, open queries, transactions that end or fail.
#include <gmock/gmock.h>

#include <thread>

#include "sql_run/support.h"

namespace {

using qd::sql::connection;
using qd::sql::error_code;
using qd::sql::statement;
using sql_run_test::code;
using sql_run_test::error_of;
using sql_run_test::lines_of;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using lines = std::vector<std::string>;

class Connection : public testing::Test {
 protected:
  Connection() : data(connection::open_temporary()) {
    data.execute(
        "CREATE TABLE t (a bigint NOT NULL UNIQUE, b text);"
        "INSERT INTO t VALUES (1, 'one'), (2, 'two'), (3, NULL)");
  }

  connection data;
};

TEST_F(Connection, PreparesAnewWhenTheSchemaChanged) {
  statement query = data.prepare("SELECT * FROM t WHERE a >= $1 ORDER BY a");
  query.bind(1, 3L);
  ASSERT_TRUE(query.step());
  EXPECT_EQ(query.columns().size(), 2u);
  query.reset();
  // By another statement of the connection, and in a transaction that is taken back.
  data.execute("DROP TABLE t; CREATE TABLE t (a bigint, b text, c boolean)");
  data.execute("INSERT INTO t VALUES (4, 'four', true)");
  ASSERT_TRUE(query.step());
  EXPECT_EQ(query.columns().size(), 3u);
  EXPECT_EQ(query.text(2), "true");
  query.reset();
  data.execute("BEGIN; DROP TABLE t");
  EXPECT_EQ(error_of([&] { query.step(); }), code(error_code::unknown_name));
  query.reset();
  data.execute("CREATE TABLE t (a numeric)");
  data.execute("INSERT INTO t VALUES (7.5)");
  ASSERT_TRUE(query.step());
  EXPECT_EQ(query.text(0), "7.5");
  query.reset();
  data.execute("ROLLBACK");
  ASSERT_TRUE(query.step());
  EXPECT_EQ(query.text(0), "4");
}

TEST_F(Connection, OpenQueriesKeepTheirSnapshot) {
  statement first = data.prepare("SELECT a FROM t ORDER BY a");
  ASSERT_TRUE(first.step());
  data.execute("DELETE FROM t WHERE a > 1; INSERT INTO t VALUES (10, 'ten')");
  statement second = data.prepare("SELECT a FROM t ORDER BY a");
  ASSERT_TRUE(second.step());
  lines seen;
  do {
    seen.push_back(first.text(0));
  } while (first.step());
  EXPECT_THAT(seen, ElementsAre("1", "2", "3"));
  ASSERT_TRUE(second.step());
  EXPECT_EQ(second.text(0), "10");
}

TEST_F(Connection, MovesBetweenThreadsWhileAQueryIsOpen) {
  statement query = data.prepare("SELECT a FROM t ORDER BY a");
  ASSERT_TRUE(query.step());
  std::thread([&] {
    EXPECT_TRUE(query.step());
    EXPECT_EQ(query.text(0), "2");
    data.execute("INSERT INTO t VALUES (4, 'four')");
  }).join();
  EXPECT_TRUE(query.step());
  EXPECT_FALSE(query.step());
  query.reset();
  EXPECT_THAT(lines_of(data, "SELECT count(*) FROM t"), ElementsAre("4"));
}

TEST_F(Connection, ShowsPlansOfWhatHasOne) {
  data.execute("PREPARE p AS SELECT b FROM t WHERE a = $1");
  std::string const direct = data.prepare("SELECT b FROM t WHERE a = $1").plan_text();
  EXPECT_THAT(direct, HasSubstr("t_a_key"));
  EXPECT_EQ(data.prepare("EXECUTE p (1)").plan_text(), direct);
  EXPECT_EQ(data.prepare("EXPLAIN SELECT b FROM t WHERE a = $1").plan_text(), direct);
  EXPECT_THAT(data.prepare("DELETE FROM t").plan_text(), HasSubstr("Delete from t"));
  EXPECT_EQ(data.prepare("BEGIN").plan_text(), "");
}

TEST_F(Connection, QueriesEndWithTheirTransaction) {
  for (char const* ending : {"COMMIT", "ROLLBACK", "DROP TABLE u", "CREATE INDEX u_a ON u (a)"}) {
    SCOPED_TRACE(ending);
    data.execute("BEGIN; CREATE TABLE u (a bigint); INSERT INTO u VALUES (1), (2), (3)");
    statement query = data.prepare("SELECT a FROM u");
    ASSERT_TRUE(query.step());
    data.execute(ending);
    EXPECT_EQ(error_of([&] { query.step(); }), code(error_code::bad_transaction));
    if (data.in_transaction()) data.execute("ROLLBACK");
    data.execute("DROP TABLE IF EXISTS u");
  }
}

TEST_F(Connection, UndoesAFailedStatementAlone) {
  // Each fails at its last row, after others were written.
  struct refused {
    char const* statement;
    error_code code;
  };
  refused const cases[] = {
      {"INSERT INTO t VALUES (5, 'five'), (6, 'six'), (1, 'again')", error_code::constraint},
      {"INSERT INTO t SELECT a + 1, b FROM t", error_code::constraint},
      {"INSERT INTO t VALUES (5, 'five'), (NULL, 'none')", error_code::constraint},
      {"UPDATE t SET a = CASE a WHEN 3 THEN 2 ELSE a + 10 END WHERE a <> 2",
       error_code::constraint},
      {"UPDATE t SET a = CASE a WHEN 1 THEN 2 WHEN 2 THEN 1 ELSE 9 END, b = 'x' WHERE a < 3 OR "
       "a / (a - 3) > 0",
       static_cast<error_code>(7041)},
      {"CREATE TABLE u (a bigint UNIQUE, b text, UNIQUE (a))", error_code::bad_definition},
  };
  lines const before{"1 | one", "2 | two", "3 | NULL"};
  for (refused const& each : cases) {
    SCOPED_TRACE(each.statement);
    EXPECT_EQ(error_of([&] { data.execute(each.statement); }), code(each.code));
    EXPECT_EQ(lines_of(data, "SELECT * FROM t ORDER BY a"), before);
    data.execute("BEGIN; INSERT INTO t VALUES (4, 'four')");
    EXPECT_EQ(error_of([&] { data.execute(each.statement); }), code(each.code));
    lines after = before;
    after.push_back("4 | four");
    EXPECT_EQ(lines_of(data, "SELECT * FROM t ORDER BY a"), after);
    data.execute("DELETE FROM t WHERE a = 4; COMMIT");
    EXPECT_EQ(lines_of(data, "SELECT * FROM t ORDER BY a"), before);
  }
  EXPECT_THAT(data.check(), IsEmpty());
}

TEST_F(Connection, RefusesTransactionsOutOfTurn) {
  EXPECT_EQ(error_of([&] { data.execute("COMMIT"); }), code(error_code::bad_transaction));
  EXPECT_EQ(error_of([&] { data.execute("ROLLBACK"); }), code(error_code::bad_transaction));
  data.execute("BEGIN");
  EXPECT_TRUE(data.in_transaction());
  EXPECT_EQ(error_of([&] { data.execute("BEGIN"); }), code(error_code::bad_transaction));
  EXPECT_TRUE(data.in_transaction());
  data.execute("COMMIT");
  EXPECT_FALSE(data.in_transaction());
}

TEST_F(Connection, PlacesErrorsInScripts) {
  // Each is to be refused at its ^.
  for (std::string script :
       {"SELECT a FROM t; SELECT ^nothing FROM t", "SELECT a FROM t; ^/* SELECT a FROM t;",
        // Not where the name stood in PREPARE.
        "PREPARE gone AS SELECT 1 + nothing FROM t; ^EXECUTE gone",
        "PREPARE lost AS SELECT 1 + nothing FROM t; ^EXPLAIN EXECUTE lost"}) {
    std::size_t const place = script.find('^');
    script.erase(place, 1);
    try {
      data.execute(script);
      ADD_FAILURE() << script;
    } catch (qd::sql::error const& failed) {
      EXPECT_EQ(failed.position(), place) << script;
    }
  }
}

TEST_F(Connection, RefusesMisuse) {
  statement query = data.prepare("SELECT a FROM t WHERE a > $1");
  EXPECT_EQ(query.parameter_count(), 1u);
  EXPECT_EQ(error_of([&] { query.bind(0, 1L); }), code(error_code::bad_parameter));
  EXPECT_EQ(error_of([&] { query.bind(2, 1L); }), code(error_code::bad_parameter));
  EXPECT_EQ(error_of([&] { query.bind_text(1, "\xFF"); }), code(error_code::bad_parameter));
  EXPECT_EQ(error_of([&] { query.text(0); }), code(error_code::wrong_row));
  // A parameter that is not bound is NULL.
  EXPECT_FALSE(query.step());
  EXPECT_EQ(error_of([&] { query.step(); }), code(error_code::wrong_row));
  query.reset();
  query.bind(1, 2.5);
  EXPECT_TRUE(query.step());
}

TEST_F(Connection, DisplaysValues) {
  EXPECT_THAT(
      lines_of(data,
               "SELECT 1.50, -0.000001, 1e0, CAST(0.1 AS real), x'0aFF', NULL, true, "
               "18446744073709551615, 1e300 * 1e10, 'é'"),
      ElementsAre("1.5 | -0.000001 | 1 | 0.1 | \\x0aff | NULL | true | 18446744073709551615 | "
                  "Infinity | é"));
}

}  // namespace
