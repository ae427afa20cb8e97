// Statements in which one kernel call or one allocation fails, each in its turn: whatever fails,
// the database is as it was, and the statement succeeds when it is run again.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "sql_run/support.h"
#include "support/failing_allocations.h"
#include "support/faulty_kernel.h"
#include "support/scratch_directory.h"

namespace {

using qd::sql::connection;
using sql_run_test::lines_of;
using testing::IsEmpty;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t stride = 31;
#else
constexpr std::size_t stride = 3;
#endif

class Faults : public testing::Test {
 protected:
  Faults() : data(connection::open_temporary()) {
    data.execute(
        "CREATE TABLE country (code text NOT NULL UNIQUE, name text);"
        "CREATE TABLE city (id bigint NOT NULL UNIQUE, name text, "
        "country country REFERENCES country(code), near city REFERENCES city(id));"
        "CREATE INDEX city_name ON city (name);"
        "INSERT INTO country VALUES ('CH', 'Switzerland'), ('AT', 'Austria');"
        "INSERT INTO city VALUES (1, 'Bern', 'CH', 2), (2, 'Wien', 'AT', 1), "
        "(3, 'Basel', 'CH', 1)");
    std::ofstream file(csv());
    file << "id,name,country,near\n7,Graz,AT,8\n8,Linz,AT,2\n9,Chur,CH,\n";
  }

  std::string csv() const { return (directory.path() / "city.csv").string(); }

  std::vector<std::string> content() {
    std::vector<std::string> lines =
        lines_of(data, "SELECT id, name, country.code, near.id FROM city ORDER BY id");
    // By way of an index, too.
    for (std::string& line : lines_of(data, "SELECT name, id FROM city WHERE name >= ''")) {
      lines.push_back(std::move(line));
    }
    return lines;
  }

  // The statements change what they find back, so that each can run again.
  std::vector<std::string> statements() const {
    return {
        "INSERT INTO city VALUES (4, 'Genf', 'CH', 5), (5, 'Graz', 'AT', 4)",
        "DELETE FROM city WHERE id IN (4, 5)",
        "INSERT INTO city (id, name, country) SELECT id + 10, name, country FROM city",
        "DELETE FROM city WHERE id > 10",
        "UPDATE city SET id = id + 1, name = name || '!', near = 2",
        "UPDATE city SET id = CASE id WHEN 2 THEN 1 WHEN 3 THEN 2 ELSE 3 END, name = 'x'",
        "COPY city FROM '" + csv() + "' (FORMAT csv, HEADER)",
        "DELETE FROM city WHERE id > 6",
        "CREATE TABLE village (inhabitants bigint UNIQUE) INHERITS (city)",
        "CREATE INDEX city_country ON city (country, name DESC)",
        "DROP TABLE village",
        "DROP INDEX city_country",
    };
  }

  // Runs every statement with each of its faults, alone and inside a transaction. `arm` makes fault
  // `number` happen; `disarm` says whether it did.
  void fail_all(std::function<void(std::size_t)> const& arm,
                std::function<bool(std::size_t)> const& disarm) {
    for (std::string const& statement : statements()) {
      SCOPED_TRACE(statement);
      for (bool const inside : {false, true}) {
        auto const before = content();
        bool happened = true;
        for (std::size_t number = 1; happened; number += stride) {
          SCOPED_TRACE((inside ? "in a transaction, fault " : "fault ") + std::to_string(number));
          if (inside) data.execute("BEGIN");
          bool failed = false;
          auto prepared = data.prepare(statement);
          arm(number);
          try {
            prepared.step();
          } catch (qd::sql::error const&) {
            failed = true;
          } catch (std::bad_alloc const&) {
            failed = true;
          }
          happened = disarm(number);
          prepared.reset();
          if (inside) {
            // Undone by itself, unless that failed as well.
            if (failed && sql_run_test::error_of([&] { EXPECT_EQ(content(), before); }) != 0) {
              data.execute("ROLLBACK");
            } else {
              data.execute(failed ? "COMMIT" : "ROLLBACK");
            }
            ASSERT_EQ(content(), before);
          } else if (failed) {
            ASSERT_EQ(content(), before);
          }
        }
        ASSERT_THAT(data.check(), IsEmpty());
      }
    }
  }

  scratch_directory directory;
  connection data;
};

TEST_F(Faults, OfTheKernelLeaveTheDatabaseAsItWas) {
  constexpr unsigned int damaged = 5011;
  fail_all([](std::size_t number) { faulty_kernel::arm(number, damaged); },
           [](std::size_t number) { return faulty_kernel::disarm().size() >= number; });
}

TEST_F(Faults, OfMemoryLeaveTheDatabaseAsItWas) {
  fail_all([](std::size_t number) { failing_allocations::arm(number); },
           [](std::size_t number) { return failing_allocations::disarm() >= number; });
}

}  // namespace
