// The owner of a kernel iterator, and the hooks that end the process.
#include "db_util/db_iterator.h"

#include <gtest/gtest.h>

#include "db_util/db_iter_with_keys.h"
#include "db_util/fatal_errors.h"
#include "support/fake_kernel.h"

namespace {

using db_util::db_iter_with_keys;

class db_iterator_test : public testing::Test {
 protected:
  void SetUp() override { fake_kernel::reset(); }

  // Opens a scan of index 9 from NULL to 7.
  static void open(db_iter_with_keys& records) {
    auto first = records.write_first_key();
    first.write_null();
    first.UpdateHeader();
    auto last = records.write_last_key();
    last.write_unsigned(7);
    last.UpdateHeader();
    records.open(3, 9, VELA_ITERATE_CATALOGUE, records.first_key, records.last_key);
  }

  fake_kernel::kernel& kernel = fake_kernel::current();
};

// Faults: a reference put together wrongly; the end not told; an iterator left open or freed twice.
TEST_F(db_iterator_test, steps_through_its_range_and_frees_it_once) {
  kernel.entries[{9, "\x60"}] = {{21, 0x1234, 5}, {22, 0xFFFFFFFFFFFF, 0xFFFF}};
  {
    db_iter_with_keys records;
    EXPECT_EQ(records.iterator, 0U);
    open(records);
    EXPECT_EQ(kernel.opened.back(),
              (fake_kernel::opened_iterator{3, 9, 0x70, "\x60", {"\x28\0\0\0\0\0\0\0\x07", 9}}));
    ASSERT_TRUE(records.next());
    EXPECT_EQ(records.current.oid, 21U);
    EXPECT_EQ(records.current.address, 0x12340005U);
    ASSERT_TRUE(records.next());
    EXPECT_EQ(records.current.address, 0xFFFFFFFFFFFFFFFFU);
    EXPECT_FALSE(records.next());
    EXPECT_FALSE(records.next());
    EXPECT_EQ(records.current.oid, 0U);

    open(records);  // Frees the first.
    EXPECT_EQ(kernel.open_iterators.size(), 1U);
    EXPECT_TRUE(records.next());
    records.free_resources();
    EXPECT_EQ(records.iterator, 0U);
    EXPECT_TRUE(kernel.open_iterators.empty());
    records.free_resources();
    open(records);
  }
  EXPECT_TRUE(kernel.open_iterators.empty());
}

TEST_F(db_iterator_test, a_refused_release_ends_the_process) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        db_iter_with_keys records;
        open(records);
        kernel.free_status = 1;
        records.free_resources();
      },
      testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
