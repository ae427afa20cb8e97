// What is refused: every construct that the grammar knows and nothing answers for, by name and at
// its place. A construct that stops being refused would be ignored silently.
#include <gtest/gtest.h>

#include <thread>

#include "sql/error.h"
#include "sql/parse/parse.h"

namespace qd::sql {

namespace {

struct refusal {
  char const* text;     // ^ marks the place.
  char const* message;  // Its beginning.
};

void expect_refusals(error_code code, std::initializer_list<refusal> refusals) {
  for (refusal const& each : refusals) {
    std::string text = each.text;
    std::size_t const marked = text.find('^');
    text_position const place =
        marked == text.npos ? no_position : static_cast<text_position>(marked);
    if (marked != text.npos) text.erase(marked, 1);
    try {
      parse(text);
      ADD_FAILURE() << "accepted: " << text;
    } catch (error const& refused) {
      EXPECT_EQ(refused.code(), static_cast<unsigned>(code)) << text << "\n" << refused.what();
      EXPECT_EQ(refused.position(), place) << text << "\n" << refused.what();
      EXPECT_EQ(std::string_view(refused.what()).substr(0, std::string_view(each.message).size()),
                each.message)
          << text;
    }
  }
}

std::string repeated(std::string const& text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

bool accepts(std::string const& text) {
  try {
    parse(text);
    return true;
  } catch (error const& refused) {
    EXPECT_EQ(refused.code(), static_cast<unsigned>(error_code::limit_exceeded)) << refused.what();
    return false;
  }
}

}  // namespace

TEST(ParseRefuses, Expressions) {
  expect_refusals(error_code::not_supported,
                  {
                      {"SELECT ^(SELECT 1)", "scalar subqueries are not supported"},
                      // Places are bytes, behind characters of several bytes too.
                      {"/* \xC3\xA4 */ SELECT '\xC3\xA4', ^(SELECT 1)", "scalar subqueries are"},
                      {"SELECT 1 WHERE ^EXISTS (SELECT 1)", "EXISTS is"},
                      {"SELECT a ^IN (SELECT 1)", "IN (SELECT ...) is"},
                      {"SELECT a ^NOT IN (SELECT 1)", "IN (SELECT ...) is"},
                      {"SELECT a ^= ANY (SELECT 1)", "ANY (SELECT ...) is"},
                      {"SELECT a ^< ALL (SELECT 1)", "ALL (SELECT ...) is"},
                      {"SELECT a ^= ANY ($1)", "ANY is"},
                      {"SELECT ^ARRAY[1]", "arrays are"},
                      {"SELECT ^a[1]", "a subscript"},
                      {"SELECT ^(1, 2) = b", "row constructors are"},
                      {"SELECT ^ROW(1)", "row constructors are"},
                      {"SELECT a ^LIKE 'b' ESCAPE 'c'", "LIKE ... ESCAPE is"},
                      {"SELECT a ^ILIKE 'b'", "ILIKE is"},
                      {"SELECT a ^SIMILAR TO 'b'", "SIMILAR TO is"},
                      {"SELECT a ^~~ 'b'", "the operator ~~ is"},
                      {"SELECT a ^% 2", "the operator % is"},
                      {"SELECT a ^OPERATOR(pg_catalog.+) 1", "OPERATOR(...) is"},
                      {"SELECT a ^BETWEEN SYMMETRIC 1 AND 2", "BETWEEN SYMMETRIC is"},
                      {"SELECT a ^IS DISTINCT FROM b", "IS DISTINCT FROM is"},
                      {"SELECT a ^COLLATE \"C\"", "COLLATE is"},
                      {"SELECT ^CURRENT_TIMESTAMP", "CURRENT_TIMESTAMP is"},
                      {"SELECT ^greatest(a, b)", "GREATEST is"},
                      {"SELECT ^extract(year FROM a)", "EXTRACT is"},
                      {"SELECT a ^AT TIME ZONE 'b'", "AT TIME ZONE is"},
                      {"SELECT a ^IS DOCUMENT", "IS DOCUMENT is"},
                      {"DELETE FROM a WHERE ^CURRENT OF b", "CURRENT OF is"},
                      {"SELECT ^rank() OVER (ORDER BY a)", "window functions are"},
                      {"SELECT ^sum(a) FILTER (WHERE b)", "FILTER of an aggregate is"},
                      {"SELECT ^sum(a ORDER BY b)", "ORDER BY in an aggregate is"},
                      {"SELECT ^s.f(a)", "the schema of a function is"},
                      {"SELECT f(^x => 1)", "named arguments are"},
                      {"SELECT ^b'01'", "bit strings are"},
                      {"SELECT a::^numeric(10, 2)", "a length or precision of a type is"},
                      {"SELECT a::^varchar(10)", "a length or precision of a type is"},
                      {"SELECT a::^int[]", "arrays are"},
                      {"SELECT a::^timestamp", "the type TIMESTAMP is"},
                  });
}

TEST(ParseRefuses, Queries) {
  expect_refusals(
      error_code::not_supported,
      {
          {"SELECT DISTINCT ON (^a) b", "DISTINCT ON is"},
          {"SELECT 1 ^INTERSECT SELECT 2", "INTERSECT is"},
          {"SELECT 1 ^EXCEPT SELECT 2", "EXCEPT is"},
          {"SELECT a GROUP BY ^ROLLUP (a)", "GROUPING SETS"},
          {"SELECT ^a GROUP BY DISTINCT a", "GROUP BY DISTINCT is"},
          {"SELECT a ^INTO b FROM c", "SELECT INTO is"},
          {"SELECT ^a FROM b FOR UPDATE", "FOR UPDATE"},
          {"SELECT ties FROM b ORDER BY 1 FETCH FIRST 2 ROWS WITH ^TIES", "FETCH"},
          {"SELECT a FROM b ORDER BY ^a USING <", "ORDER BY ... USING is"},
          {"SELECT * FROM a, ^LATERAL (SELECT \"lateral\" FROM c) b", "LATERAL is"},
          {"SELECT * FROM a ^NATURAL JOIN b", "NATURAL JOIN is"},
          {"SELECT * FROM (a JOIN ^b ON c) AS d", "an alias of a join is"},
          {"SELECT * FROM a TABLESAMPLE ^system (1)", "TABLESAMPLE is"},
          {"SELECT * FROM ONLY ^a", "ONLY is"},
          {"^WITH RECURSIVE a AS (SELECT 1) SELECT 1", "WITH RECURSIVE is"},
          {"WITH a AS (^WITH b AS (SELECT 1) SELECT 1) SELECT 1", "WITH inside WITH is"},
          {"WITH ^a AS MATERIALIZED (SELECT 1) SELECT 1", "MATERIALIZED is"},
          {"WITH ^a AS (DELETE FROM b) SELECT 1", "WITH of anything but a query is"},
          {"^SELECT FROM a", "SELECT without an output is"},
          {"SELECT ^a FROM b WINDOW w AS ()", "window functions are"},
      });
}

TEST(ParseRefuses, ChangesAndDefinitions) {
  expect_refusals(
      error_code::not_supported,
      {
          {"INSERT INTO a VALUES (^DEFAULT)", "DEFAULT is"},
          {"INSERT INTO a VALUES (1) ON ^CONFLICT DO NOTHING", "ON CONFLICT is"},
          {"INSERT INTO a VALUES (1) ^RETURNING b", "RETURNING is"},
          {"INSERT INTO a AS ^b VALUES (1)", "an alias of the table of INSERT is"},
          {"UPDATE a SET b = 1 ^FROM c", "UPDATE ... FROM is"},
          {"UPDATE a SET (^b, c) = (1, 2)", "assigning to several columns at once is"},
          {"DELETE FROM a ^USING b", "DELETE ... USING is"},
          {"DELETE FROM ONLY ^a", "ONLY is"},
          {"CREATE TEMP TABLE ^a (b int)", "temporary tables are"},
          {"CREATE TABLE a (b int ^DEFAULT 1)", "DEFAULT is"},
          {"CREATE TABLE a (b int ^CHECK (b > 1))", "CHECK is"},
          {"CREATE TABLE a (b int ^CONSTRAINT c UNIQUE)", "a name of a constraint is"},
          {"CREATE TABLE a (b int, ^FOREIGN KEY (b) REFERENCES c)", "FOREIGN KEY"},
          {"CREATE TABLE a (b c ^REFERENCES c ON DELETE CASCADE)", "ON DELETE"},
          {"CREATE TABLE a (b int ^GENERATED ALWAYS AS IDENTITY)", "GENERATED is"},
          {"CREATE TABLE a (b ^varchar(3))", "a length or precision of a type is"},
          {"CREATE TABLE a (^LIKE b)", "LIKE in CREATE TABLE is"},
          {"CREATE TABLE a (b int) INHERITS (c, ^d)", "INHERITS of several tables is"},
          {"CREATE TABLE ^a (b int) PARTITION BY RANGE (b)", "partitions are"},
          {"^CREATE TABLE a AS SELECT 1", "CREATE TABLE ... AS is"},
          {"^CREATE INDEX ON a (b)", "an index without a name is"},
          {"CREATE INDEX a ON b (^lower(c))", "an index of an expression is"},
          {"CREATE INDEX a ON b (c, ^d NULLS LAST)", "an ascending index with NULLS LAST is"},
          {"CREATE INDEX a ON b (c) ^WHERE d", "an index with WHERE is"},
          {"CREATE INDEX a ON b ^USING hash (c)", "USING of CREATE INDEX is"},
          {"^DROP VIEW a", "DROP VIEW is"},
          {"^ALTER TABLE a ADD b int", "ALTER is"},
          {"^TRUNCATE a", "TRUNCATE is"},
          {"^MERGE INTO a USING b ON c WHEN MATCHED THEN DELETE", "MERGE is"},
          {"^SAVEPOINT a", "savepoints are"},
          {"BEGIN ^READ ONLY", "READ ONLY is"},
          {"COMMIT AND ^CHAIN", "AND CHAIN is"},
          {"EXPLAIN ^ANALYZE SELECT 1", "an option of EXPLAIN is"},
          {"^EXPLAIN CREATE TABLE a AS SELECT 1", "EXPLAIN of this statement is"},
          {"PREPARE a (^int) AS SELECT $1", "a list of types in PREPARE is"},
          {"COPY a FROM ^PROGRAM 'b'", "COPY with a PROGRAM is"},
          {"COPY a FROM 'b' ^WHERE c", "WHERE of COPY is"},
          {"COPY a FROM 'b' (^FORMAT text)", "the format text is"},
          {"COPY a FROM 'b' (^ESCAPE 'x')", "the option escape of COPY is"},
          {"COPY a FROM 'b' (^HEADER match)", "HEADER match is"},
      });
}

TEST(ParseRefuses, WhatIsWrong) {
  expect_refusals(error_code::syntax,
                  {
                      {"^", "there is no statement"},
                      {"^-- nothing", "there is no statement"},
                      {"SELECT 1;^ SELECT 2", "there is more than one statement"},
                      {"SELECT '\xC3\xA4' a ^b", "syntax error at or near \"b\""},
                      {"SELECT ^'a", "unterminated quoted string"},
                      {"SELECT f(*^, 1)", "syntax error"},
                      {"SELECT 1 WHERE ^*", "syntax error"},
                      {"SELECT f(^a.*)", "* can stand for columns only"},
                      {"SELECT ^$0", "parameters are written"},
                      {"VALUES (1, 2), (^3)", "the rows of VALUES have different lengths"},
                      {"COPY a FROM 'b' (HEADER, ^HEADER)", "the option header stands twice"},
                      {"SELECT E'\\x00'", "invalid byte sequence"},
                      {"SELECT E'\\xff'", "invalid byte sequence"},
                  });
  expect_refusals(error_code::bad_literal,
                  {{"SELECT ^x'0g'", "x'...' takes hexadecimal"},
                   {"SELECT ^x'abc'", "x'...' takes an even number"},
                   {"SELECT '^\x80'", "the text is not valid UTF-8"},
                   {"SELECT '^\xC0\x80'", "the text is not valid UTF-8"},
                   {"SELECT '^\xED\xA0\x80'", "the text is not valid UTF-8"},
                   {"SELECT '^\xE2\x82", "the text is not valid UTF-8"}});
  EXPECT_THROW(parse(std::string_view("SELECT 1\0", 9)), error);
  expect_refusals(error_code::bad_definition,
                  {{"CREATE TABLE a (^b int NULL NOT NULL)", "column b is both"},
                   {"COPY a FROM 'b' (^DELIMITER 'ab')", "the option delimiter takes one"},
                   {"^COPY a FROM 'b' (DELIMITER '\"')", "the delimiter and the quote"},
                   {"^COPY a FROM 'b' (NULL 'x,y')", "the text for NULL has"}});
}

// Names are cut silently beyond 63 bytes by the grammar; so two long names could be one table.
TEST(ParseRefuses, LongNames) {
  std::string const longest(63, 'a');
  EXPECT_NO_THROW(parse("SELECT " + longest + ", \"" + longest + "\""));
  EXPECT_FALSE(accepts("SELECT " + longest + "a"));
  EXPECT_FALSE(accepts("SELECT \"" + longest + "a\""));
  EXPECT_NO_THROW(parse("SELECT '" + longest + "a' -- " + longest + "a"));
}

// The grammar keeps 32 bits of a number and would answer $4294967297 with the first parameter.
TEST(ParseRefuses, LargeParameterNumbers) {
  expect_refusals(error_code::limit_exceeded,
                  {{"SELECT ^$32768", "a parameter's number is above 32767"},
                   {"SELECT ^$4294967297", "a parameter's number is above 32767"},
                   {"SELECT $1 + ^$18446744073709551617", "a parameter's number is above 32767"}});
  EXPECT_TRUE(accepts("SELECT $00032767"));
}

// One text per way of nesting, each accepted just below the limit, and refused just above it and
// far above it, where the grammar's own recursion would end the process.
TEST(ParseRefuses, DeepAndLongChains) {
  struct {
    char const* before;
    char const* unit;
    char const* middle;
    char const* end_unit;
    std::size_t most;  // Units that are accepted.
  } const chains[] = {
      {"SELECT 1", " + 1", "", "", 498},
      {"SELECT a", " AND a", "", "", 499},
      {"SELECT a", " OR a = 1", "", "", 498},
      {"SELECT ", "- ", "a", "", 499},
      {"SELECT ", "NOT ", "a", "", 499},
      {"SELECT ", "(", "1", ")", 500},
      {"SELECT a", " IS NULL", "", "", 499},
      {"SELECT a", "::text", "", "", 499},
      {"SELECT ", "f(", "1", ")", 499},
      {"SELECT ", "CASE WHEN a THEN ", "1", " END", 499},
      {"SELECT 1", " UNION SELECT 1", "", "", 499},
      {"SELECT * FROM a", " JOIN a ON b", "", "", 499},
      {"", "SELECT * FROM (", "SELECT 1", ") a", 499},
  };
  for (auto const& each : chains) {
    auto const text = [&](std::size_t count) {
      return each.before + repeated(each.unit, count) + each.middle +
             repeated(each.end_unit, count);
    };
    EXPECT_TRUE(accepts(text(each.most))) << each.unit;
    EXPECT_FALSE(accepts(text(each.most + 2))) << each.unit;
    EXPECT_FALSE(accepts(text(20'000))) << each.unit;
    EXPECT_FALSE(accepts(text(200'000))) << each.unit;
  }
  // Many things side by side are no depth.
  EXPECT_TRUE(accepts("SELECT a IN (1" + repeated(", 1", 100'000) + ")"));
  EXPECT_TRUE(accepts("VALUES (1, -2)" + repeated(", (1, -2)", 50'000)));
  EXPECT_TRUE(accepts("SELECT CASE" + repeated(" WHEN a = 1 THEN 2", 5'000) + " END"));
}

TEST(ParseRefuses, LongStatements) {
  std::string const longest = "SELECT '" + std::string(max_statement_bytes - 9, 'a') + "'";
  EXPECT_TRUE(accepts(longest));
  EXPECT_FALSE(accepts(longest + " "));
}

// Both grow a tree of the grammar's on their own thread's stack, and on a large one.
TEST(Parse, RunsOnManyThreads) {
  std::string const deep = "SELECT 1" + repeated(" + 1", 450);
  std::string const wide = "SELECT a" + repeated(" OR (a = 1 AND NOT b IS NULL)", 450);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) {
        EXPECT_TRUE(accepts(deep));
        EXPECT_TRUE(accepts(wide));
        EXPECT_THROW(parse("SELECT FROM WHERE"), error);
      }
    });
  }
  for (std::thread& each : threads) each.join();
}

}  // namespace qd::sql
