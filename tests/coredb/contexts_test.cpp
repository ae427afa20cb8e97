// Contexts: stops, misuse of handles, threads.
#include <atomic>
#include <thread>

#include "coredb/support.h"

namespace qd::coredb::test {
namespace {

class Contexts : public testing::Test {
 protected:
  Contexts() {
    auto const transaction = database->begin_write();
    layout = transaction->create_layout({0, 0, 0, u"A", {kind::signed_integer}});
    by_number =
        transaction->create_index({0, layout, {{3, kind::signed_integer, true}}, false, false});
    extent = transaction->create_index(
        {0, layout, {{own_reference_column, kind::reference, true}}, false, true});
    for (int i = 0; i < 100; ++i) objects.push_back(insert(*transaction, layout, {signed_of(i)}));
    transaction->commit();
  }

  unsigned int open(unsigned long context, std::uint64_t index, unsigned long& iterator,
                    unsigned int flags = both_inclusive) const {
    return vela_context_create_iterator(context, index, flags, whole.data(), whole.data(),
                                        &iterator);
  }

  std::vector<unsigned char> const whole = key_of({});
  std::shared_ptr<coredb::database> database = database::open_temporary();
  std::uint16_t layout = 0;
  std::uint64_t by_number = 0, extent = 0;
  oids objects;
};

TEST_F(Contexts, AStopIsSeenAtTheNextCallAndCanBeTakenBack) {
  auto const snapshot = database->begin_snapshot();
  unsigned long const context = snapshot->handle();
  for (std::uint64_t const index : {by_number, extent}) {
    unsigned long iterator = 0;
    ASSERT_EQ(open(context, index, iterator), status_ok);
    VELA_RECORD record{};
    // Entries read ahead are waiting when the stop comes.
    for (int i = 0; i < 5; ++i) ASSERT_EQ(vela_iterator_next(iterator, &record), status_ok);
    std::thread([&] { EXPECT_TRUE(request_stop(context)); }).join();
    EXPECT_EQ(vela_iterator_next(iterator, &record), status_stopped);
    long number = 0;
    EXPECT_EQ(vela_context_get_long(context, record.oid, 0, 3, &number), status_stopped);
    unsigned long address = 0;
    EXPECT_EQ(vela_context_lookup(context, record.oid, &address), status_stopped);
    unsigned long other = 0;
    EXPECT_EQ(open(context, index, other), status_stopped);
    EXPECT_TRUE(clear_stop(context));
    EXPECT_EQ(vela_iterator_next(iterator, &record), status_ok);
    EXPECT_EQ(record.oid, objects[5]);
    request_stop(context);
    EXPECT_EQ(vela_iterator_free(iterator), status_ok);
    clear_stop(context);
  }
  // The next context in the same place does not inherit a stop.
  request_stop(context);
  auto next = database->begin_snapshot();
  EXPECT_EQ(scan(next->handle(), extent), objects);
}

TEST_F(Contexts, MisuseIsReported) {
  auto const snapshot = database->begin_snapshot();
  unsigned long const context = snapshot->handle();
  unsigned long const ended = database->begin_snapshot()->handle();
  unsigned long iterator_of_ended = 0;
  {
    auto const short_lived = database->begin_snapshot();
    ASSERT_EQ(open(short_lived->handle(), by_number, iterator_of_ended), status_ok);
  }
  // In the place of the ended ones.
  auto const successor = database->begin_snapshot();
  unsigned long successors_iterator = 0;
  ASSERT_EQ(open(successor->handle(), by_number, successors_iterator), status_ok);

  long number = 0;
  unsigned long iterator = 0;
  for (unsigned long const bad : {0ul, ended, context ^ 1ul << 30, ~0ul, 0xDEADBEEFul}) {
    EXPECT_EQ(vela_context_get_long(bad, objects[0], 0, 3, &number), status_bad_context);
    EXPECT_EQ(open(bad, by_number, iterator), status_bad_context);
    EXPECT_FALSE(request_stop(bad));
    EXPECT_FALSE(clear_stop(bad));
  }
  ASSERT_EQ(open(context, by_number, iterator), status_ok);
  unsigned long second = 0;
  ASSERT_EQ(open(context, by_number, second), status_ok);
  ASSERT_EQ(vela_iterator_free(second), status_ok);
  VELA_RECORD record{};
  for (unsigned long const bad : {0ul, second, iterator_of_ended, context, iterator ^ 1ul << 40}) {
    EXPECT_EQ(vela_iterator_next(bad, &record), status_bad_iterator) << bad;
    EXPECT_EQ(vela_iterator_free(bad), status_bad_iterator) << bad;
  }
  std::thread([&] {
    EXPECT_EQ(vela_context_get_long(context, objects[0], 0, 3, &number), status_wrong_thread);
    EXPECT_EQ(vela_iterator_next(iterator, &record), status_wrong_thread);
    EXPECT_EQ(vela_iterator_free(iterator), status_wrong_thread);
    EXPECT_EQ(open(context, by_number, second), status_wrong_thread);
  }).join();
  EXPECT_EQ(open(context, 999, second), status_unknown_index);
  EXPECT_EQ(open(context, by_number, second, 0x400), status_bad_argument);
  EXPECT_EQ(vela_context_create_iterator(context, by_number, 0, nullptr, whole.data(), &second),
            status_bad_argument);
  EXPECT_EQ(
      vela_context_create_iterator(context, by_number, 0, whole.data(), whole.data(), nullptr),
      status_bad_argument);
  EXPECT_EQ(vela_iterator_next(iterator, nullptr), status_bad_argument);
  EXPECT_EQ(vela_context_get_long(context, objects[0], 0, 3, nullptr), status_bad_argument);
  std::vector<unsigned char> const text_key = key_of({text_of(u"t")});
  EXPECT_EQ(
      vela_context_create_iterator(context, by_number, 0, whole.data(), text_key.data(), &second),
      status_bad_key);
  std::vector<unsigned char> const long_key = key_of({signed_of(1), signed_of(1)});
  EXPECT_EQ(
      vela_context_create_iterator(context, by_number, 0, long_key.data(), whole.data(), &second),
      status_bad_key);
  EXPECT_EQ(vela_iterator_free(iterator), status_ok);
  EXPECT_EQ(vela_iterator_free(successors_iterator), status_ok);
}

TEST_F(Contexts, ASnapshotCanBeHandedToAnotherThread) {
  auto const snapshot = database->begin_snapshot();
  std::thread([&] {
    snapshot->bind_to_calling_thread();
    EXPECT_EQ(scan(snapshot->handle(), by_number), objects);
  }).join();
  long number = 0;
  EXPECT_EQ(vela_context_get_long(snapshot->handle(), objects[0], 0, 3, &number),
            status_wrong_thread);
  snapshot->bind_to_calling_thread();
  EXPECT_EQ(vela_context_get_long(snapshot->handle(), objects[0], 0, 3, &number), status_ok);
}

// A later snapshot takes over what an earlier one leaves: its memory, never what it saw.
TEST_F(Contexts, NothingOfAnEndedSnapshotShowsInTheNext) {
  auto snapshot = database->begin_snapshot();
  unsigned long const ended_context = snapshot->handle();
  unsigned long left_open = 0;
  VELA_RECORD record{};
  ASSERT_EQ(open(ended_context, by_number, left_open), status_ok);
  ASSERT_EQ(vela_iterator_next(left_open, &record), status_ok);
  EXPECT_EQ(scan(ended_context, extent).size(), 100u);
  request_stop(ended_context);
  snapshot = nullptr;

  auto transaction = database->begin_write();
  for (std::uint64_t const oid : objects) transaction->erase(oid);
  oids const added{insert(*transaction, layout, {signed_of(-1)}),
                   insert(*transaction, layout, {signed_of(-2)})};
  std::uint64_t const descending =
      transaction->create_index({0, layout, {{3, kind::signed_integer, false}}, false, false});
  transaction->commit();
  transaction = nullptr;

  for (char const* const which : {"after a commit", "after nothing"}) {
    SCOPED_TRACE(which);
    snapshot = database->begin_snapshot();
    unsigned long const context = snapshot->handle();
    unsigned long address = 0;
    EXPECT_EQ(vela_context_lookup(ended_context, added[0], &address), status_bad_context);
    EXPECT_EQ(vela_iterator_next(left_open, &record), status_bad_iterator);
    EXPECT_EQ(vela_iterator_free(left_open), status_bad_iterator);
    EXPECT_EQ(vela_context_lookup(context, objects[0], &address), status_unknown_object);
    EXPECT_EQ(scan(context, extent), added);
    EXPECT_EQ(scan(context, by_number), (oids{added[1], added[0]}));
    EXPECT_EQ(scan(context, descending), added);
    snapshot = nullptr;
  }
}

TEST_F(Contexts, TheEndOfAWalkStaysTheEnd) {
  auto const transaction = database->begin_write();
  auto const snapshot = database->begin_snapshot();
  for (unsigned long const context : {transaction->handle(), snapshot->handle()}) {
    for (std::uint64_t const index : {by_number, extent}) {
      unsigned long iterator = 0;
      ASSERT_EQ(open(context, index, iterator), status_ok);
      VELA_RECORD record{};
      do {
        ASSERT_EQ(vela_iterator_next(iterator, &record), status_ok);
      } while (record.oid != 0);
      insert(*transaction, layout, {signed_of(1000)});
      for (int i = 0; i < 3; ++i) {
        record.oid = 1;
        EXPECT_EQ(vela_iterator_next(iterator, &record), status_ok);
        EXPECT_EQ(record.oid, 0u);
      }
      EXPECT_EQ(vela_iterator_free(iterator), status_ok);
    }
  }
}

TEST_F(Contexts, TooManyContextsAndIteratorsAreRefusedUntilSomeEnd) {
  std::vector<std::unique_ptr<snapshot>> open_snapshots;
  expect_error(error_kind::too_many, "", [&] {
    for (int i = 0; i < 10'000; ++i) open_snapshots.push_back(database->begin_snapshot());
  });
  EXPECT_GT(open_snapshots.size(), 500u);
  open_snapshots.resize(1);
  unsigned long const context = open_snapshots[0]->handle();
  std::vector<unsigned long> iterators;
  unsigned long iterator = 0;
  unsigned int status = status_ok;
  while ((status = open(context, extent, iterator)) == status_ok) iterators.push_back(iterator);
  EXPECT_EQ(status, status_too_many_iterators);
  EXPECT_GT(iterators.size(), 4000u);
  for (unsigned long const each : iterators) EXPECT_EQ(vela_iterator_free(each), status_ok);
  EXPECT_EQ(scan(context, extent), objects);
}

TEST(Opening, ManyThreadsOpenAndCloseOneFile) {
  scratch_directory const directory;
  std::uint64_t extent = 0;
  {
    auto const database = database::open(directory / "db");
    auto const transaction = database->begin_write();
    std::uint16_t const layout = transaction->create_layout({0, 0, 0, u"A", {}});
    extent = transaction->create_index(
        {0, layout, {{own_reference_column, kind::reference, true}}, false, true});
    for (int i = 0; i < 100; ++i) transaction->insert(layout, {});
    transaction->commit();
  }
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < 100; ++j) {
        auto const database = database::open(directory / "db", {.create = false});
        EXPECT_EQ(scan(database->begin_snapshot()->handle(), extent).size(), 100u);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// Readers, a writer and stops at once, for the thread sanitizer; every reader sees one moment: the
// writer moves amounts about and keeps their sum.
TEST_F(Contexts, ReadersSeeWholeCommitsBesideAWriterAndStops) {
  constexpr int reader_count = 3;
  std::atomic<bool> done{false};
  std::atomic<unsigned long> reading[reader_count] = {};
  std::atomic<int> whole_scans{0};
  std::atomic<int> stopped_scans{0};
  auto const read = [&](std::atomic<unsigned long>& published) {
    while (!done) {
      auto const snapshot = database->begin_snapshot();
      published = snapshot->handle();
      unsigned long iterator = 0;
      unsigned int status = open(snapshot->handle(), by_number, iterator);
      bool const opened = status == status_ok;
      VELA_RECORD record{};
      long sum = 0;
      while (status == status_ok) {
        status = vela_iterator_next(iterator, &record);
        if (status != status_ok || record.oid == 0) break;
        long number = 0;
        status = vela_context_get_long(snapshot->handle(), record.oid, layout, 3, &number);
        sum += number;
      }
      published = 0;
      if (opened) {
        EXPECT_EQ(vela_iterator_free(iterator), status_ok);
      }
      if (status == status_stopped) {
        ++stopped_scans;
      } else {
        EXPECT_EQ(status, status_ok);
        EXPECT_EQ(sum, 4950);
        ++whole_scans;
      }
    }
  };
  std::vector<std::thread> threads;
  for (auto& published : reading) threads.emplace_back(read, std::ref(published));
  threads.emplace_back([&] {
    std::mt19937 random(1);
    while (!done) {
      request_stop(reading[random() % reader_count]);
      std::this_thread::sleep_for(std::chrono::microseconds{200});
    }
  });
  std::mt19937 random(2);
  for (int i = 0; i < 300 || whole_scans == 0 || stopped_scans == 0; ++i) {
    auto const transaction = database->begin_write();
    for (int j = 0; j < 4; ++j) {
      std::uint64_t const from = objects[random() % objects.size()];
      std::uint64_t const to = objects[random() % objects.size()];
      long from_number = 0;
      long to_number = 0;
      vela_context_get_long(transaction->handle(), from, layout, 3, &from_number);
      vela_context_get_long(transaction->handle(), to, layout, 3, &to_number);
      if (from == to) continue;
      update(*transaction, from, 3, signed_of(from_number - i));
      update(*transaction, to, 3, signed_of(to_number + i));
    }
    transaction->commit();
  }
  done = true;
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace qd::coredb::test
