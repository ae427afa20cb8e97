// Failing allocations: each comes out as std::bad_alloc, and nothing stays locked or lost.
#include "coredb/inspection.h"
#include "coredb/support.h"
#include "support/failing_allocations.h"

namespace qd::coredb::test {
namespace {

// Writes and reads what every part of the storage has to do with; false when a result is wrong.
bool work(std::filesystem::path const& path) {
  auto const database = database::open(path);
  auto transaction = database->begin_write();
  std::uint16_t const layout = transaction->create_layout({0, 0, 0, u"A", {kind::string}});
  std::uint64_t const by_text =
      transaction->create_index({0, layout, {{3, kind::string, true}}, true, false});
  std::uint64_t const extent = transaction->create_index(
      {0, layout, {{own_reference_column, kind::reference, true}}, false, true});
  oids written;
  for (char16_t i = 0; i < 70; ++i) {
    std::u16string const text = std::u16string(i % 5 * 300, u'x') + static_cast<char16_t>(u'a' + i);
    written.push_back(insert(*transaction, layout, {text_of(text)}));
  }
  transaction->erase(written[0]);
  transaction->erase(insert(*transaction, layout, {text_of(u"gone")}));
  update(*transaction, written[1], 3, text_of(u"changed"));
  bool good = scan(transaction->handle(), by_text).size() == 69;
  transaction->begin_bulk(layout);
  for (char16_t const last : {u'y', u'z', u'z'}) {
    insert(*transaction, layout, {text_of(std::u16string(600, u'b') + last)});
  }
  good &= transaction->finish_bulk().size() == 1;
  transaction->commit();
  // The second takes over what the first leaves.
  database->begin_snapshot();
  auto const snapshot = database->begin_snapshot();
  good &= scan(snapshot->handle(), by_text).size() == 71;
  good &= scan(snapshot->handle(), extent).size() == 71;
  good &= find_faults(snapshot->handle(), 1).empty();
  VELA_UCS2 const* text = nullptr;
  good &= vela_context_get_string(snapshot->handle(), written[1], layout, 3, &text) == status_ok;
  good &= text_in(text) == u"changed";
  transaction = database->begin_write();
  transaction->drop_layout(layout);
  transaction->commit();
  return good;
}

TEST(Allocation, EveryFailureComesOutAndLeavesTheDatabaseUsable) {
  scratch_directory const directory;
  ASSERT_TRUE(work(directory / "db"));
  bool finished = false;
  std::size_t failures = 0;
  // Every allocation of the first few hundred, then a sample.
  for (std::size_t number = 1; !finished; number += number < 300 ? 1 : 1 + number / 50) {
    failing_allocations::arm_from(number);
    try {
      bool const good = work(directory / "db");
      finished = failing_allocations::disarm() < number;
      EXPECT_TRUE(good);
      EXPECT_TRUE(finished) << "a failure was swallowed at allocation " << number;
      finished = true;
    } catch (std::bad_alloc const&) {
      failing_allocations::disarm();
      ++failures;
    }
    if (number % 50 == 0) {
      EXPECT_TRUE(work(directory / "db")) << "after a failure at allocation " << number;
    }
  }
  EXPECT_GT(failures, 300u);
}

TEST(Allocation, AFailureInATemporaryDatabaseIsNotTheEndOfTheProgram) {
  bool opened = false;
  for (std::size_t number = 1; !opened; ++number) {
    failing_allocations::arm_from(number);
    try {
      auto const database = database::open_temporary();
      opened = true;
      failing_allocations::disarm();
      EXPECT_FALSE(std::filesystem::exists(database->path().parent_path()));
    } catch (std::bad_alloc const&) {
      failing_allocations::disarm();
    }
  }
}

}  // namespace
}  // namespace qd::coredb::test
