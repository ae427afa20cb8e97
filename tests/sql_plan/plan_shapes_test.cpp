// The plans of statements: what becomes a bound and what stays a filter, which index is read in
// which direction, where the sides of joins stand. That plans of every shape give the right rows is
// for tests of statements and rows, which show the plainest plans, too; here are those that depend on
// how many rows there are, or go wrong more quietly.
#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>

#include "sql/connection.h"

namespace {

struct shape {
  char const* fault;  // What is wrong when the plan is another one.
  char const* query;
  char const* plan;
};

void PrintTo(shape const& each, std::ostream* stream) {
  *stream << each.fault;
}

qd::sql::connection make_data() {
  auto data = qd::sql::connection::open_temporary();
  data.execute(R"(
    CREATE TABLE country (code text, name text);
    CREATE UNIQUE INDEX country_code ON country (code);
    CREATE TABLE city (id bigint, name text, code text, people bigint, capital boolean,
                       state country);
    CREATE UNIQUE INDEX city_id ON city (id);
    CREATE INDEX city_code_name ON city (code, name);
    CREATE INDEX city_people ON city (people DESC);
    CREATE INDEX city_state ON city (state))");
  std::string countries = "INSERT INTO country VALUES ('c0', 'k0')";
  for (int i = 1; i < 20; ++i) {
    std::string const number = std::to_string(i);
    countries += ", ('c" + number + "', 'k" + number + "')";
  }
  data.execute(countries);
  std::string cities = "INSERT INTO city (id, name, code, people) VALUES (0, 'n0', 'c0', 0)";
  for (int i = 1; i < 400; ++i) {
    std::string const number = std::to_string(i);
    cities +=
        ", (" + number + ", 'n" + number + "', 'c" + std::to_string(i % 20) + "', " + number + "0)";
  }
  data.execute(cities);
  return data;
}

class PlanShapes : public testing::TestWithParam<shape> {
 protected:
  static void SetUpTestSuite() { data_.emplace(make_data()); }
  static void TearDownTestSuite() { data_.reset(); }
  static std::optional<qd::sql::connection> data_;
};
std::optional<qd::sql::connection> PlanShapes::data_;

TEST_P(PlanShapes, AreCheap) {
  std::string const plan = data_->prepare(GetParam().query).plan_text();
  // The expected text begins on a line of its own.
  EXPECT_EQ("\n" + plan, GetParam().plan) << GetParam().query;
}

shape const bounds[] = {
    {"a parameter may be NULL, of which the first column of a key keeps the key alone",
     "SELECT name FROM city WHERE code = $1 AND name > 'n'", R"(
Transform t1.name
  Filter ((t1.code = $0) AND (t1.name > 'n'))
    Scan t1 = city by city_code_name ascending
      code = $0, not NULL
      name > 'n', not NULL
)"},
    {"a pattern without wildcards is an equality, one with others keeps its filter",
     "SELECT name FROM city WHERE code LIKE 'c1' AND name LIKE 'n\\%_'", R"(
Transform t1.name
  Filter (t1.name LIKE 'n\%_')
    Scan t1 = city by city_code_name ascending
      code = 'c1', not NULL
      name starts with 'n%', not NULL
)"},
    {"an end of the range that is no key is an end all the same",
     "SELECT name FROM city WHERE id > 2.5 AND id <= $1", R"(
Transform t1.name
  Scan t1 = city by city_id ascending
    id > 2.500000, not NULL
    id <= $0, not NULL
)"},
    {"a list with a parameter is no union: two of its members may be equal",
     "SELECT name FROM city WHERE id IN (3, $1)", R"(
Transform t1.name
  Filter ((t1.id = 3) OR (t1.id = $0))
    Scan t1 = city by city.extent ascending
)"},
    {"an operand that can fail is not evaluated before the condition that guards it",
     "SELECT name FROM city WHERE $1 <> 0 AND id = 100 / $1", R"(
Transform t1.name
  Filter (($0 <> 0) AND (t1.id = (100 / $0)))
    Scan t1 = city by city.extent ascending
)"},
};

shape const orders[] = {
    {"all rows are sorted sooner than read in random order, and carry what is asked of them",
     "SELECT name FROM city ORDER BY people", R"(
Transform d1
  Order by t1.people ascending
    Extend
      d1 := t1.name
      Scan t1 = city by city.extent ascending
)"},
    {"a union of ranges has no order",
     "SELECT name FROM city WHERE code IN ('c1', 'c2') ORDER BY name", R"(
Transform d1
  Order by t1.name ascending
    Extend
      d1 := t1.name
      Union all
        Scan t1 = city by city_code_name ascending
          code = 'c1', not NULL
        Scan t1 = city by city_code_name ascending
          code = 'c2', not NULL
)"},
    {"a condition must not pass below a limit",
     "SELECT d.y FROM (SELECT name AS y, id + 1 AS x FROM city ORDER BY people LIMIT 5) d"
     " WHERE d.y = 'n1'",
     R"(
Transform t1.name
  Filter (t1.name = 'n1')
    Limit limit 5
      Scan t1 = city by city_people descending
)"},
};

shape const joins[] = {
    {"a condition of a left join on its left side says which rows match, not which there are",
     "SELECT c.name FROM city c LEFT JOIN country k ON c.code = k.code AND c.people > 5"
     " WHERE c.id < 5",
     R"(
Transform t1.name
  Join left
    Scan t1 = city by city_id ascending
      id < 5, not NULL
    Filter (t1.people > 5)
      Scan t2 = country by country_code ascending
        code = t1.code, not NULL
)"},
    {"an outer join whose padded rows are rejected is an inner one, in either order",
     "SELECT c.name FROM city c LEFT JOIN country k ON c.code = k.code WHERE k.name = 'k1'", R"(
Transform t1.name
  Join inner
    Filter (t2.name = 'k1')
      Scan t2 = country by country.extent ascending
    Scan t1 = city by city_code_name ascending
      code = t2.code, not NULL
)"},
    {"IS NULL is not: it asks for the padded rows",
     "SELECT c.name FROM city c LEFT JOIN country k ON c.code = k.code WHERE k.name IS NULL", R"(
Transform t1.name
  Filter is_null(t2.name)
    Join left
      Scan t1 = city by city.extent ascending
      Scan t2 = country by country_code ascending
        code = t1.code, not NULL
)"},
    {"a full join with one side's padded rows rejected is a left one",
     "SELECT c.name FROM city c FULL JOIN country k ON c.code = k.code WHERE c.id > 390", R"(
Transform t1.name
  Join left
    Scan t1 = city by city_id ascending
      id > 390, not NULL
    Scan t2 = country by country_code ascending
      code = t1.code, not NULL
)"},
    {"a reference is joined through the index by it",
     "SELECT c.name FROM city c JOIN country k ON c.state = k WHERE k.code = 'c1'", R"(
Transform t1.name
  Join inner
    Scan t2 = country by country_code ascending
      code = 'c1', not NULL
    Scan t1 = city by city_state ascending
      state = t2, not NULL
)"},
    {"a path is followed after the conditions that do not need it",
     "SELECT c.state.name FROM city c WHERE c.state.code = 'c1' AND c.id > 5", R"(
Transform t1.name
  Filter (t1.code = 'c1')
    Extend
      t1 = country := t2.state
      Scan t2 = city by city_id ascending
        id > 5, not NULL
)"},
    {"what a path leads to finds rows by their index, so its table comes first",
     "SELECT c.name FROM country k JOIN city c ON k.code = c.state.code", R"(
Transform t1.name
  Join inner
    Extend
      t2 = country := t1.state
      Scan t1 = city by city.extent ascending
    Scan t3 = country by country_code ascending
      code = t2.code, not NULL
)"},
    {"few rows that no condition links to the others are still a cross product",
     "SELECT a.name FROM country k JOIN city a ON a.code = k.code"
     " JOIN city b ON b.people = a.people WHERE k.name = 'k1' AND b.id = 3",
     R"(
Transform t1.name
  Join inner
    Join inner
      Scan t2 = city by city_id ascending
        id = 3, not NULL
      Scan t1 = city by city_people ascending
        people = t2.people, not NULL
    Filter (t3.name = 'k1')
      Scan t3 = country by country_code ascending
        code = t1.code, not NULL
)"},
    {"groups are looked up by what they are joined with",
     "SELECT k.name, d.n FROM country k JOIN"
     " (SELECT code, count(*) AS n, sum(people) AS s FROM city GROUP BY code) d"
     " ON d.code = k.code WHERE k.name = 'k1'",
     R"(
Transform t1.name, d1
  Join inner
    Filter (t1.name = 'k1')
      Scan t1 = country by country.extent ascending
    Aggregate
      d1 := count_star()
      by t2.code := t2.code
      Scan t2 = city by city_code_name ascending
        code = t1.code, not NULL
)"},
    {"groups that no index reaches are not computed again for every row left of them",
     "SELECT c.name, s.p FROM city c LEFT JOIN (SELECT k.code AS code, g.p AS p FROM country k"
     " JOIN (SELECT DISTINCT concat(name, 'x') AS p FROM city) g ON g.p = k.name) s"
     " ON s.code = c.code",
     R"(
Transform t1.name, d1
  Filter is_not_null(d2)
    Join full on (t2.code = t1.code)
      Extend
        d2 := TRUE
        Extend
          t1.code := t1.code
          Scan t1 = city by city.extent ascending
      Extend
        t2.code := t2.code
        Filter (is_not_null(d3) AND is_not_null(d4))
          Join full on (d1 = t2.name)
            Extend
              d3 := TRUE
              Extend
                t2.name := t2.name
                Scan t2 = country by country.extent ascending
            Extend
              d4 := TRUE
              Aggregate
                by d1 := d1
                Extend
                  d1 := concat(t3.name, 'x')
                  Scan t3 = city by city.extent ascending
)"},
    {"a union cannot stand right of a join: it is read once, with what is known of"
     " the other side, and rows are marked",
     "SELECT k.name, d.x FROM country k LEFT JOIN"
     " (SELECT code AS x FROM city UNION ALL SELECT code FROM country) d"
     " ON d.x = k.code AND d.x > 'c5' WHERE k.code = 'c1'",
     R"(
Transform t1.name, d1
  Filter is_not_null(d2)
    Join full on (d1 = t1.code)
      Extend
        d2 := TRUE
        Extend
          t1.code := t1.code
          Scan t1 = country by country_code ascending
            code = 'c1', not NULL
      Union all
        Transform d1
          Extend
            d1 := t2.code
            Filter (t2.code > 'c5')
              Scan t2 = city by city_code_name ascending
                code = 'c1', not NULL
        Transform d1
          Extend
            d1 := t3.code
            Filter (t3.code > 'c5')
              Scan t3 = country by country_code ascending
                code = 'c1', not NULL
)"},
};

INSTANTIATE_TEST_SUITE_P(Bounds, PlanShapes, testing::ValuesIn(bounds));
INSTANTIATE_TEST_SUITE_P(Orders, PlanShapes, testing::ValuesIn(orders));
INSTANTIATE_TEST_SUITE_P(Joins, PlanShapes, testing::ValuesIn(joins));

// Testing a row against thousands of alternatives takes longer than reading as many ranges.
TEST(Alternatives, OfAnyNumberAreRanges) {
  auto data = make_data();
  std::string query = "SELECT name FROM city WHERE id IN (0";
  for (int i = 1; i < 5000; ++i) query += ", " + std::to_string(i);
  std::string const plan = data.prepare(query + ")").plan_text();
  EXPECT_EQ(plan.find("Filter"), std::string::npos);
  EXPECT_NE(plan.find(" id = 4999,"), std::string::npos);
}

// Eight tables in a chain: seven of them are reached through an index, from the one that a
// condition narrows, whichever that is.
TEST(JoinOrder, AChainOfEightTablesIsNoCrossProduct) {
  auto data = make_data();
  for (int narrowed = 0; narrowed < 8; ++narrowed) {
    std::string query = "SELECT count(*) FROM city x0";
    for (int i = 1; i < 8; ++i) {
      std::string const name = "x" + std::to_string(i);
      query += " JOIN city " + name + " ON x" + std::to_string(i - 1) + ".id = " + name + ".id";
    }
    query += " WHERE x" + std::to_string(narrowed) + ".id = 5";
    std::string const plan = data.prepare(query).plan_text();
    std::size_t lookups = 0;
    for (std::size_t at = plan.find(" id = t"); at != std::string::npos;
         at = plan.find(" id = t", at + 1)) {
      ++lookups;
    }
    EXPECT_EQ(lookups, 7U) << query << "\n" << plan;
    EXPECT_EQ(plan.find("extent"), std::string::npos) << plan;
  }
}

}  // namespace
