// What statements become. A line per statement; the fault that each would catch is a clause lost,
// two operands or flags exchanged, or a shape that no statement reaches.
#include <gtest/gtest.h>

#include "dump.h"
#include "sql/error.h"
#include "sql/parse/parse.h"

namespace qd::sql {

namespace {

struct shape {
  char const* text;
  char const* expected;
};

void expect_shapes(std::initializer_list<shape> shapes) {
  for (shape const& each : shapes) {
    try {
      EXPECT_EQ(test::dump(parse(each.text)), each.expected) << each.text;
    } catch (error const& refused) {
      ADD_FAILURE() << each.text << "\n" << refused.what();
    }
  }
}

}  // namespace

TEST(ParsedShapes, Literals) {
  expect_shapes({
      {"SELECT 1, 2147483648, 99999999999999999999", "{select 1 2147483648 99999999999999999999}"},
      // The least integer has no positive counterpart: binding sees the minus.
      {"SELECT -1, -9223372036854775808, - 1.5, -2e0, +3",
       "{select (neg 1) (neg 9223372036854775808) (neg decimal:1.5) (neg float:2e0) (pos 3)}"},
      {"SELECT .5, 5., 1e0, 1.5E-3", "{select decimal:.5 decimal:5. float:1e0 float:1.5E-3}"},
      {"SELECT 'it''s', E'a\\tb\\u00e4', U&'\\00e4', $x$a'b$x$, ''",
       "{select 'it's' 'a\tb\xC3\xA4' '\xC3\xA4' 'a'b' ''}"},
      {"SELECT x'', X'0aFF', TRUE, false, NULL, $1, $32767",
       "{select x x0aff true false null $1 $32767}"},
  });
}

TEST(ParsedShapes, Expressions) {
  expect_shapes({
      {"SELECT a + b * c - d / 2 || 'x'", "{select (|| (- (+ a (* b c)) (/ d 2)) 'x')}"},
      {"SELECT a = b, a <> b, a != b, a < b, a <= b, a > b, a >= b",
       "{select (= a b) (<> a b) (<> a b) (< a b) (<= a b) (> a b) (>= a b)}"},
      {"SELECT a AND b AND c OR NOT d", "{select (or (and (and a b) c) (not d))}"},
      {"SELECT a AND (b AND c)", "{select (and a (and b c))}"},
      {"SELECT a IS NULL, a IS NOT NULL, a ISNULL, a NOTNULL",
       "{select (is-null a) (not-is-null a) (is-null a) (not-is-null a)}"},
      {"SELECT a IS TRUE, a IS NOT TRUE, a IS FALSE, a IS NOT FALSE, a IS UNKNOWN",
       "{select (is-true a) (not-is-true a) (is-false a) (not-is-false a) (is-unknown a)}"},
      {"SELECT a IN (1, b), a NOT IN (2), a BETWEEN 1 AND 2, a NOT BETWEEN b AND c",
       "{select (in a: 1 b) (not-in a: 2) (between a 1 2) (not-between a b c)}"},
      {"SELECT a LIKE 'x%', a NOT LIKE b", "{select (like a 'x%') (not-like a b)}"},
      {"SELECT CASE WHEN a THEN 1 ELSE 2 END, CASE a WHEN 1 THEN b WHEN 2 THEN c END",
       "{select (case a->1 else=2) (case of=a 1->b 2->c)}"},
      {"SELECT coalesce(a, 1), NULLIF(a, b), starts_with(a, 'b'), Count(*), count(DISTINCT a, b)",
       "{select (coalesce a 1) (nullif a b) (starts_with a 'b') (count *) (count distinct a b)}"},
      {"SELECT CAST(a AS integer), a::double precision, real '1', a::geo.Land, a::\"X\"",
       "{select (cast a bigint) (cast a double) (cast '1' real) (cast a class:geo.land) (cast a "
       "class:X)}"},
      {"SELECT a.b.c.d, \"A\".\"b\"\"c\", *, t.*", "{select a.b.c.d A.b\"c * t.*}"},
  });
}

TEST(ParsedShapes, Queries) {
  expect_shapes({
      {"SELECT a AS x, b y FROM t WHERE c GROUP BY d, e + 1 HAVING f ORDER BY 1 DESC, g NULLS "
       "LAST, "
       "h ASC NULLS FIRST LIMIT $1 OFFSET 2;",
       "{select a:x b:y from=t where=c by=d by=(+ e 1) having=f order=1 desc order=g nulls-last "
       "order=h nulls-first limit=$1 offset=2}"},
      {"SELECT DISTINCT a FROM t, geo.u AS v (p, q)",
       "{select distinct a from=t from=geo.u:v[p,q]}"},
      {"SELECT ALL a FROM t LIMIT ALL", "{select a from=t}"},
      {"SELECT 1 FETCH FIRST ROW ONLY", "{select 1 limit=1}"},
      {"SELECT * FROM a JOIN b ON c LEFT OUTER JOIN d USING (e, f) CROSS JOIN g",
       "{select * from=(cross (left (join a b on=c) d using=e,f) g)}"},
      {"SELECT * FROM a RIGHT JOIN (b FULL JOIN c ON x) ON y",
       "{select * from=(right a (full b c on=x) on=y)}"},
      {"SELECT * FROM (SELECT 1 ORDER BY 1) AS s (n)", "{select * from={select 1 order=1}:s[n]}"},
      {"SELECT 1 UNION ALL SELECT 2 UNION SELECT 3 ORDER BY 1",
       "{union {union-all {select 1} {select 2}} {select 3} order=1}"},
      {"VALUES (1, 'a'), (2, 'b')", "{values (1 'a') (2 'b')}"},
      {"TABLE t", "{select * from=t}"},
      {"WITH a AS (SELECT 1), b (n) AS (VALUES (2)) SELECT * FROM a, b",
       "{with a={select 1} with b(n)={values (2)} select * from=a from=b}"},
  });
}

TEST(ParsedShapes, Changes) {
  expect_shapes({
      {"INSERT INTO t VALUES (1, NULL)", "insert t {values (1 null)}"},
      {"INSERT INTO geo.t (a, \"B\") SELECT a, b FROM u", "insert geo.t(a,B) {select a b from=u}"},
      {"INSERT INTO t DEFAULT VALUES", "insert t default"},
      {"UPDATE t AS x SET a = a + 1, b = NULL WHERE x.c",
       "update t as=x a:=(+ a 1) b:=null where=x.c"},
      {"DELETE FROM t x WHERE a", "delete t as=x where=a"},
      {"DELETE FROM t", "delete t"},
  });
}

TEST(ParsedShapes, Definitions) {
  expect_shapes({
      {"CREATE TABLE IF NOT EXISTS geo.city (a bigint NOT NULL, b unsigned NULL, c numeric UNIQUE, "
       "d "
       "float PRIMARY KEY, e real, f varchar, g bytea, h bool, i smallint, UNIQUE (a, b)) INHERITS "
       "(geo.place)",
       "create-table if-not-exists geo.city base=geo.place a:bigint not-null b:unsigned c:numeric "
       "unique d:double not-null unique e:real f:text g:bytea h:boolean i:bigint unique(a,b)"},
      {"CREATE TABLE t (a country REFERENCES country (code) NOT NULL, b geo.land REFERENCES "
       "geo.land (name), "
       "PRIMARY KEY (a))",
       "create-table t a:class:country not-null references=country(code) b:class:geo.land "
       "references=geo.land(name) primary(a)"},
      {"CREATE TABLE t () INHERITS (u)", "create-table t base=u"},
      {"CREATE UNIQUE INDEX IF NOT EXISTS i ON geo.t (a, b DESC, c ASC NULLS FIRST)",
       "create-index unique if-not-exists i geo.t a b- c"},
      {"DROP TABLE IF EXISTS a, geo.b CASCADE", "drop-table if-exists cascade a geo.b"},
      {"DROP INDEX i RESTRICT", "drop-index i"},
  });
}

TEST(ParsedShapes, OtherStatements) {
  expect_shapes({
      {"BEGIN", "begin"},
      {"START TRANSACTION ISOLATION LEVEL SERIALIZABLE, READ WRITE", "begin"},
      {"COMMIT", "commit"},
      {"END", "commit"},
      {"ROLLBACK", "rollback"},
      {"COPY t FROM 'a.csv'", "copy t from a.csv ,\""},
      {"COPY t (a, b) FROM STDIN (FORMAT csv, HEADER, DELIMITER ';', NULL '\\N', QUOTE '''', "
       "ON_ERROR "
       "skip)",
       "copy t(a,b) from - header ;' null=\\N skip"},
      {"COPY t TO 'x' WITH CSV HEADER", "copy t to x header ,\""},
      {"COPY (SELECT 1) TO STDOUT (HEADER false, DELIMITER E'\\t')", "copy {select 1} to - \t\""},
      {"EXPLAIN SELECT 1", "explain {select 1}"},
      {"EXPLAIN DELETE FROM t", "explain delete t"},
      {"EXPLAIN EXECUTE p (1)", "explain execute p 1"},
      {"PREPARE p AS SELECT $1", "prepare p {select $1}"},
      {"EXECUTE p (1, 'a')", "execute p 1 'a'"},
      {"DEALLOCATE p", "deallocate p"},
      {"DEALLOCATE ALL", "deallocate all"},
  });
}

// Positions are bytes of the text as it was handed in, behind characters of several bytes too.
TEST(ParsedShapes, Positions) {
  syntax::statement const statement =
      parse("/* \xC3\xA4 */ SELECT '\xC3\xA4', -7 FROM t WHERE a = 1");
  EXPECT_EQ(statement.position, 9u);
  auto const& core = std::get<syntax::select_core>(std::get<syntax::query>(statement.content).body);
  EXPECT_EQ(core.outputs[0].value->position, 16u);
  EXPECT_EQ(core.outputs[1].value->position, 22u);
  EXPECT_EQ(std::get<syntax::unary>(core.outputs[1].value->content).operand->position, 23u);
  EXPECT_EQ(core.from[0]->position, 30u);
  EXPECT_EQ(core.where->position, 40u);

  auto const index =
      std::get<syntax::create_index>(parse("CREATE INDEX a ON a (a, \"b c\")").content);
  EXPECT_EQ(index.index.position, 13u);
  EXPECT_EQ(index.columns[0].position, 21u);
  EXPECT_EQ(index.columns[1].position, 24u);
}

}  // namespace qd::sql
