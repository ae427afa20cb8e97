// Loads that are killed at random moments: what they had committed is there, and nothing else.
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <random>
#include <thread>

#include "sql_run/support.h"
#include "support/scratch_directory.h"

namespace {

using qd::sql::connection;
using sql_run_test::lines_of;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kills = 50;
constexpr long rows_per_commit = 500;

// What the loading process says of its progress, in memory that both processes see.
struct progress {
  std::atomic<bool> ready;
  std::atomic<long> commits_begun;
  std::atomic<long> commits_ended;
};

[[noreturn]] void load(std::filesystem::path const& path, progress& said) {
  connection data = connection::open(path);
  long batch = said.commits_ended;
  auto insert = data.prepare("INSERT INTO t VALUES ($1, $2, 'some text')");
  said.ready = true;
  for (;;) {
    data.execute("BEGIN");
    for (long row = 0; row < rows_per_commit; ++row) {
      insert.bind(1, batch * rows_per_commit + row);
      insert.bind(2, batch);
      insert.step();
      insert.reset();
    }
    ++batch;
    said.commits_begun = batch;
    data.execute("COMMIT");
    said.commits_ended = batch;
  }
}

TEST(KilledLoad, KeepsWhatWasCommitted) {
  scratch_directory const directory;
  std::filesystem::path const path = directory.path() / "data";
  connection::open(path).execute(
      "CREATE TABLE t (a bigint NOT NULL UNIQUE, batch bigint, b text);"
      "CREATE INDEX t_b ON t (b, a DESC)");
  void* const shared =
      mmap(nullptr, sizeof(progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  auto& said = *new (shared) progress{};
  std::mt19937 random(20261123);
  for (int round = 0; round < kills; ++round) {
    SCOPED_TRACE(round);
    said.ready = false;
    pid_t const child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      try {
        load(path, said);
      } catch (std::exception const& failed) {
        std::fprintf(stderr, "the load failed: %s\n", failed.what());
        _exit(1);
      }
    }
    while (!said.ready && waitpid(child, nullptr, WNOHANG) == 0) std::this_thread::yield();
    std::this_thread::sleep_for(
        std::chrono::microseconds(std::uniform_int_distribution(0, 40'000)(random)));
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));

    connection data = connection::open(path);
    ASSERT_THAT(data.check(), IsEmpty());
    // A commit that had begun may have come to its end.
    auto const count = std::stol(lines_of(data, "SELECT count(*) FROM t").front());
    EXPECT_EQ(count % rows_per_commit, 0);
    long const commits = count / rows_per_commit;
    EXPECT_GE(commits, said.commits_ended);
    EXPECT_LE(commits, said.commits_begun);
    said.commits_begun = commits;
    said.commits_ended = commits;
    if (count > 0) {
      EXPECT_THAT(
          lines_of(data, "SELECT min(a), max(a), max(batch) FROM t"),
          ElementsAre("0 | " + std::to_string(count - 1) + " | " + std::to_string(commits - 1)));
    }
  }
  EXPECT_GT(said.commits_ended, 0);
  munmap(shared, sizeof(progress));
}

}  // namespace
