// Failing allocations: each comes out as std::bad_alloc, and nothing stays locked or lost.
#include <cstdlib>
#include <new>

#include "coredb/inspection.h"
#include "coredb/support.h"

namespace {

// Allocations of this thread still to succeed; negative: all.
thread_local long allowed = -1;
thread_local bool refused = false;

void* allocate(std::size_t size) {
  if (allowed == 0) {
    refused = true;
    throw std::bad_alloc();
  }
  if (allowed > 0) --allowed;
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (!memory) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return allocate(size);
}
void* operator new[](std::size_t size) {
  return allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

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
  long failures = 0;
  // Every allocation of the first few hundred, then a sample.
  for (long count = 0; !finished; count += count < 300 ? 1 : 1 + count / 50) {
    refused = false;
    allowed = count;
    try {
      bool const good = work(directory / "db");
      allowed = -1;
      EXPECT_TRUE(good);
      finished = !refused;
      EXPECT_FALSE(refused) << "a failure was swallowed at allocation " << count;
    } catch (std::bad_alloc const&) {
      allowed = -1;
      ++failures;
    }
    if (count % 50 == 0) {
      EXPECT_TRUE(work(directory / "db")) << "after a failure at allocation " << count;
    }
  }
  EXPECT_GT(failures, 300);
}

TEST(Allocation, AFailureInATemporaryDatabaseIsNotTheEndOfTheProgram) {
  bool opened = false;
  for (long count = 0; !opened; ++count) {
    allowed = count;
    try {
      auto const database = database::open_temporary();
      opened = true;
      allowed = -1;
      EXPECT_FALSE(std::filesystem::exists(database->path().parent_path()));
    } catch (std::bad_alloc const&) {
      allowed = -1;
    }
  }
}

}  // namespace
}  // namespace qd::coredb::test
