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
  Faults() : data(connection::open(path())) {
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

  std::filesystem::path path() const { return directory / "data"; }
  std::string csv() const { return (directory / "city.csv").string(); }

  void keep() {
    std::filesystem::copy_file(path(), directory / "kept",
                               std::filesystem::copy_options::overwrite_existing);
  }
  void go_back() {
    data = connection::open_temporary();
    std::filesystem::copy_file(directory / "kept", path(),
                               std::filesystem::copy_options::overwrite_existing);
    data = connection::open(path());
  }

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

  // Runs a statement with one fault; returns whether it failed.
  bool fails(std::string const& statement, std::function<void()> const& arm,
             std::function<void()> const& disarm) {
    auto prepared = data.prepare(statement);
    bool failed = false;
    arm();
    try {
      prepared.step();
    } catch (qd::sql::error const&) {
      failed = true;
    } catch (std::bad_alloc const&) {
      failed = true;
    }
    disarm();
    return failed;
  }

  // In a transaction a failed statement is undone by itself, unless undoing fails as well.
  void run_inside(std::function<bool()> const& fails, std::vector<std::string> const& before) {
    data.execute("BEGIN");
    bool const failed = fails();
    std::vector<std::string> after;
    bool const usable = sql_run_test::error_of([&] { after = content(); }) == 0;
    if (failed && usable) {
      EXPECT_EQ(after, before);
    }
    data.execute(failed && usable ? "COMMIT" : "ROLLBACK");
    EXPECT_EQ(content(), before);
  }

  void run_alone(std::function<bool()> const& fails, std::vector<std::string> const& before) {
    if (fails()) {
      EXPECT_EQ(content(), before);
    } else {
      // Some faults do no harm.
      go_back();
    }
  }

  // Runs every statement with each of its faults, alone and inside a transaction. `arm` makes fault
  // `number` happen, 0 being none; `disarm` says whether it did; those that `is_fatal` says end the
  // process are left out.
  void fail_all(std::function<void(std::size_t)> const& arm,
                std::function<bool(std::size_t)> const& disarm,
                std::function<bool(std::size_t)> const& is_fatal) {
    for (std::string const& statement : statements()) {
      SCOPED_TRACE(statement);
      auto const before = content();
      keep();
      bool happened = true;
      // What the statement does without a fault, for is_fatal.
      run_inside(
          [&] {
            return fails(
                statement, [&] { arm(0); }, [&] { disarm(0); });
          },
          before);
      for (std::size_t number = 1; happened; number += stride) {
        if (is_fatal(number)) continue;
        SCOPED_TRACE("fault " + std::to_string(number));
        auto const with_fault = [&] {
          return fails(
              statement, [&] { arm(number); }, [&] { happened = disarm(number); });
        };
        run_inside(with_fault, before);
        run_alone(with_fault, before);
        if (HasFailure()) return;
      }
      ASSERT_THAT(data.check(), IsEmpty());
      data.execute(statement);
    }
  }

  scratch_directory directory;
  connection data;
};

TEST_F(Faults, OfTheKernelLeaveTheDatabaseAsItWas) {
  constexpr unsigned int damaged = 5011;
  std::vector<faulty_kernel::call> calls;
  fail_all([](std::size_t number) { faulty_kernel::arm(number, damaged); },
           [&](std::size_t number) {
             auto noted = faulty_kernel::disarm();
             bool const happened = noted.size() >= number;
             if (number == 0) calls = std::move(noted);
             return happened;
           },
           // The engine ends the process when an iterator over the catalogue cannot be released.
           [&](std::size_t number) {
             return number <= calls.size() && calls[number - 1].function == "iterator_free";
           });
}

TEST_F(Faults, OfMemoryLeaveTheDatabaseAsItWas) {
  fail_all([](std::size_t number) { failing_allocations::arm(number); },
           [](std::size_t number) { return failing_allocations::disarm() >= number; },
           [](std::size_t) { return false; });
}

}  // namespace
