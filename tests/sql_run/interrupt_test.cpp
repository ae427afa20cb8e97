// Stopping statements from another thread: soon, leaving nothing half-made, and never the next one.
#include <gmock/gmock.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <fstream>
#include <thread>

#include "sql_run/support.h"
#include "support/scratch_directory.h"

namespace {

using namespace std::chrono_literals;
using qd::sql::connection;
using qd::sql::error_code;
using sql_run_test::code;
using sql_run_test::error_of;
using sql_run_test::lines_of;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::chrono::nanoseconds longest_wait = 100ms;

// Time that the statement's own thread has spent: a busy machine does not count against it.
std::chrono::nanoseconds now(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

class Interrupt : public testing::Test {
 protected:
  Interrupt() : data(connection::open_temporary()) {
    data.execute("CREATE TABLE t (a bigint NOT NULL, b text)");
    auto insert = data.prepare("INSERT INTO t VALUES ($1, 'some text')");
    data.execute("BEGIN");
    for (long i = 0; i < 1000; ++i) {
      insert.bind(1, i);
      insert.step();
      insert.reset();
    }
    data.execute("COMMIT");
  }

  connection data;
};

TEST_F(Interrupt, EndsLongStatementsSoon) {
  clockid_t clock{};
  ASSERT_EQ(pthread_getcpuclockid(pthread_self(), &clock), 0);
  for (char const* statement : {
           "SELECT count(*) FROM t x, t y, t z WHERE x.a + y.a + z.a < 0",
           "SELECT x.a FROM t x, t y, t z WHERE x.a + y.a + z.a >= 0 ORDER BY y.a",
           "SELECT DISTINCT x.a * y.a + z.a FROM t x, t y, t z",
           "INSERT INTO t SELECT x.a, y.b FROM t x, t y, t z WHERE x.a + y.a + z.a < 0",
           "SELECT count(*) FROM t x FULL JOIN (SELECT y.a + z.a AS a FROM t y, t z) s "
           "ON x.a + s.a = -1",
       }) {
    SCOPED_TRACE(statement);
    std::chrono::nanoseconds asked{};
    std::jthread stopper([&] {
      std::this_thread::sleep_for(50ms);
      asked = now(clock);
      data.interrupt();
    });
    unsigned int const error = error_of([&] { data.execute(statement); });
    auto const ended = now(clock);
    stopper.join();
    EXPECT_EQ(error, code(error_code::interrupted));
    EXPECT_LT(ended - asked, longest_wait);
    EXPECT_THAT(lines_of(data, "SELECT count(*) FROM t"), ElementsAre("1000"));
  }
}

TEST_F(Interrupt, EndsALoadAndLeavesNothing) {
  scratch_directory const directory;
  std::string const path = (directory / "many.csv").string();
  {
    std::ofstream file(path);
    for (int i = 0; i < 2'000'000; ++i) file << i << ",text\n";
  }
  for (bool const inside : {false, true}) {
    if (inside) data.execute("BEGIN");
    std::jthread stopper([&] {
      std::this_thread::sleep_for(100ms);
      data.interrupt();
    });
    EXPECT_EQ(error_of([&] { data.execute("COPY t FROM '" + path + "' (FORMAT csv)"); }),
              code(error_code::interrupted));
    stopper.join();
    if (inside) data.execute("COMMIT");
    EXPECT_THAT(lines_of(data, "SELECT count(*) FROM t"), ElementsAre("1000"));
  }
  EXPECT_THAT(data.check(), IsEmpty());
}

TEST_F(Interrupt, OfNothingDoesNothing) {
  data.interrupt();
  EXPECT_THAT(lines_of(data, "SELECT count(*) FROM t"), ElementsAre("1000"));
  auto query = data.prepare("SELECT a FROM t");
  ASSERT_TRUE(query.step());
  // Between steps nothing runs either.
  data.interrupt();
  EXPECT_TRUE(query.step());
}

TEST_F(Interrupt, NeverReachesALaterStatement) {
  std::atomic<bool> go_on{true};
  std::jthread stopper([&] {
    while (go_on) data.interrupt();
  });
  auto insert = data.prepare("INSERT INTO t VALUES (-1, 'x')");
  auto query = data.prepare("SELECT count(*) FROM t WHERE a = -1");
  long inserted = 0;
  for (int round = 0; round < 300; ++round) {
    unsigned int const error = error_of([&] { insert.step(); });
    ASSERT_TRUE(error == 0 || error == code(error_code::interrupted));
    if (error == 0) ++inserted;
    insert.reset();
    error_of([&] { query.step(); });
    query.reset();
  }
  go_on = false;
  stopper.join();
  EXPECT_THAT(lines_of(data, "SELECT count(*) FROM t WHERE a = -1"),
              ElementsAre(std::to_string(inserted)));
  EXPECT_THAT(data.check(), IsEmpty());
}

}  // namespace
