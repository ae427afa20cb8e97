// What files of statements cannot say of binding: the places of refusals, the kinds of results and
// parameters, and what a statement costs that grows at every level.
#include <gmock/gmock.h>

#include "sql_run/support.h"

namespace {

using qd::sql::connection;
using qd::sql::kind;
using qd::sql::statement;
using sql_run_test::lines_of;
using testing::ElementsAre;

class Binding : public testing::Test {
 protected:
  Binding() : data(connection::open_temporary()) {
    data.execute(
        "CREATE TABLE country (code text, area numeric);"
        "CREATE TABLE city (name text, size bigint, weight real, country country);"
        "INSERT INTO city VALUES ('Bern', 5, 0.5, NULL)");
  }

  std::vector<kind> kinds_of(std::string_view query) {
    std::vector<kind> kinds;
    statement prepared = data.prepare(query);
    for (qd::sql::result_column const& column : prepared.columns()) kinds.push_back(column.kind);
    return kinds;
  }

  connection data;
};

TEST_F(Binding, RefusalsNameTheirPlace) {
  // The caret stands below the place.
  struct refused {
    char const* text;
    char const* caret;
  };
  refused const table[] = {
      {"SELECT name, wrong FROM city",  //
       "             ^"},
      {"SELECT 1 FROM city WHERE country.cod = 'x'",  //
       "                         ^"},
      {"SELECT size FROM city WHERE size = 5 AND name = 5",  //
       "                                              ^"},
      {"SELECT size FROM city, town",  //
       "                       ^"},
      {"SELECT size IN (1, 2, 'c') FROM city",  //
       "                      ^"},
      {"SELECT sum(size), name FROM city",  //
       "                  ^"},
      {"SELECT 1 FROM city GROUP BY size, sum(size)",  //
       "                                  ^"},
      {"SELECT name FROM city ORDER BY size, 7",  //
       "                                     ^"},
      {"SELECT size + 18446744073709551616 FROM city",  //
       "              ^"},
      {"INSERT INTO city (name, size) VALUES ('a', 1), ('b', 'c')",  //
       "                                                     ^"},
      {"INSERT INTO city (name, sise) VALUES ('a', 1)",  //
       "                        ^"},
      {"UPDATE city SET size = 1, name = size",  //
       "                                 ^"},
      {"SELECT size FROM city UNION SELECT name FROM city",  //
       "                                   ^"},
      {"SELECT name LIKE 'a\\b' FROM city",  //
       "                 ^"},
      {"SELECT lower(name) FROM city",  //
       "       ^"},
  };
  for (refused const& one : table) {
    try {
      data.prepare(one.text);
      ADD_FAILURE() << one.text << " was not refused";
    } catch (qd::sql::error const& error) {
      EXPECT_EQ(error.position(), std::string_view(one.caret).find('^'))
          << one.text << ": " << error.what();
    }
  }
}

TEST_F(Binding, ResultsHaveTheKindsOfTheirValues) {
  EXPECT_THAT(
      kinds_of("SELECT size, weight, size + 1.5, size * weight, name, country, oid(country), "
               "size IS NULL, NULL FROM city"),
      ElementsAre(kind::signed_integer, kind::single_float, kind::decimal, kind::single_float,
                  kind::text, kind::reference, kind::unsigned_integer, kind::boolean, kind::text));
  EXPECT_THAT(kinds_of("SELECT count(*), count(DISTINCT size), sum(size), avg(size), avg(weight), "
                       "max(country), min(name) FROM city"),
              ElementsAre(kind::signed_integer, kind::unsigned_integer, kind::signed_integer,
                          kind::decimal, kind::double_float, kind::reference, kind::text));
  EXPECT_THAT(kinds_of("SELECT size FROM city UNION SELECT area FROM country"),
              ElementsAre(kind::decimal));
  // Derived tables pass them on.
  EXPECT_THAT(kinds_of("SELECT d.c.area, d.n FROM (SELECT country AS c, -size AS n FROM city) d"),
              ElementsAre(kind::decimal, kind::signed_integer));
}

TEST_F(Binding, ParametersTakeTheKindOfTheirSurroundings) {
  EXPECT_THAT(kinds_of("SELECT coalesce($1, size), nullif($2, name), $3 + 1.5, $4 FROM city"),
              ElementsAre(kind::signed_integer, kind::text, kind::decimal, kind::text));
  // They restrict nothing: every value is compared as what it is.
  statement query = data.prepare("SELECT name FROM city WHERE size < $1 AND $2 IS NULL");
  query.bind(1, 5.5);
  ASSERT_TRUE(query.step());
  EXPECT_EQ(query.text(0), "Bern");
  // A side of a union has the kind of its column, whatever comes.
  statement united = data.prepare("SELECT area FROM country UNION SELECT $1 ORDER BY 1");
  united.bind(1, 7L);
  ASSERT_TRUE(united.step());
  EXPECT_TRUE(holds_alternative<operator_library::Decimal>(united.row()[0]));
}

TEST_F(Binding, CopiesOfOperandsDoNotGrowWithoutEnd) {
  // Each level uses the one inside twice.
  struct shape {
    std::string innermost;
    std::string around;  // What is inside stands for the question mark.
  };
  shape const shapes[] = {{"size", "nullif(?, 1)"},
                          {"size", "coalesce(?, 1)"},
                          {"size", "CASE ? WHEN 1 THEN 2 WHEN 2 THEN 3 END"},
                          {"TRUE", "(? BETWEEN FALSE AND TRUE)"},
                          {"TRUE", "(? IN (TRUE, FALSE))"}};
  for (shape const& one : shapes) {
    std::string expression = one.innermost;
    for (int depth = 0; depth < 60; ++depth) {
      std::string nested = one.around;
      nested.replace(nested.find('?'), 1, expression);
      expression = std::move(nested);
    }
    EXPECT_EQ(sql_run_test::error_of([&] { data.prepare("SELECT " + expression + " FROM city"); }),
              sql_run_test::code(qd::sql::error_code::limit_exceeded))
        << one.around;
  }
  // A chain of merged columns is no such nest.
  std::string chain = "SELECT count(*) FROM city a0";
  for (int i = 1; i < 12; ++i) chain += " FULL JOIN city a" + std::to_string(i) + " USING (size)";
  EXPECT_THAT(lines_of(data, chain), ElementsAre("1"));
}

}  // namespace
