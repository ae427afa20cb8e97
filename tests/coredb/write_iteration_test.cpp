// Iterators of a write transaction whose objects change while they walk.
#include <algorithm>
#include <map>
#include <set>

#include "coredb/support.h"

namespace qd::coredb::test {
namespace {

// Walks an index and changes objects at every step. The oracle: the next object is the first one
// behind the last that went out, in the order of the index as it is then.
class WriteIteration : public testing::TestWithParam<std::tuple<unsigned int, bool, bool>> {};

TEST_P(WriteIteration, EachStepSeesTheChangesBeforeIt) {
  auto const [seed, down, long_keys] = GetParam();
  std::mt19937 random(seed);
  auto const database = database::open_temporary();
  auto transaction = database->begin_write();
  std::uint16_t const layout = transaction->create_layout({0, 0, 0, u"A", {kind::string}});
  std::uint64_t const by_text =
      transaction->create_index({0, layout, {{3, kind::string, true}}, false, false});
  std::uint64_t const extent = transaction->create_index(
      {0, layout, {{own_reference_column, kind::reference, true}}, false, true});
  std::u16string const start(long_keys ? 500 : 0, u'x');
  using place = std::pair<std::u16string, std::uint64_t>;
  std::map<std::uint64_t, std::u16string> objects;
  auto const random_text = [&] {
    return start + std::u16string(1, static_cast<char16_t>(u'a' + random() % 8));
  };
  auto const add = [&] {
    std::u16string const text = random_text();
    objects[insert(*transaction, layout, {text_of(text)})] = text;
  };
  for (int i = 0; i < 150; ++i) add();
  // Half of the objects are stored, the others in memory.
  transaction->commit();
  transaction = database->begin_write();
  for (int i = 0; i < 50; ++i) add();

  for (std::uint64_t const index : {by_text, extent}) {
    auto const place_of = [&](std::uint64_t oid) {
      return index == extent ? place{u"", oid} : place{objects.at(oid), oid};
    };
    std::vector<unsigned char> const all = key_of({});
    unsigned long iterator = 0;
    ASSERT_EQ(vela_context_create_iterator(transaction->handle(), index,
                                           both_inclusive | (down ? descending : 0), all.data(),
                                           all.data(), &iterator),
              status_ok);
    std::optional<place> last;
    for (int step = 0; step < 2000; ++step) {
      VELA_RECORD record{};
      ASSERT_EQ(vela_iterator_next(iterator, &record), status_ok);
      std::set<place> ahead;
      for (auto const& [oid, text] : objects) {
        place const here = place_of(oid);
        if (!last || (down ? here < *last : here > *last)) ahead.insert(here);
      }
      if (ahead.empty()) {
        ASSERT_EQ(record.oid, 0u);
        break;
      }
      ASSERT_EQ(record.oid, (down ? *ahead.rbegin() : *ahead.begin()).second) << "step " << step;
      last = place_of(record.oid);
      for (std::size_t i = random() % 3; i > 0; --i) {
        auto const chosen = random() % 3 == 0
                                ? objects.find(record.oid)
                                : std::next(objects.begin(), random() % objects.size());
        if (chosen == objects.end()) continue;
        if (random() % 3 == 0) {
          transaction->erase(chosen->first);
          objects.erase(chosen);
        } else if (random() % 4 == 0) {
          add();
        } else {
          chosen->second = random_text();
          update(*transaction, chosen->first, 3, text_of(chosen->second));
        }
        if (objects.empty()) add();
      }
    }
    EXPECT_EQ(vela_iterator_free(iterator), status_ok);
  }
}

INSTANTIATE_TEST_SUITE_P(Walks, WriteIteration,
                         testing::Combine(testing::Range(1u, 6u), testing::Bool(),
                                          testing::Bool()));

TEST(ExtentScan, GoesThroughDerivedClassesInTheOrderOfIdsBetweenItsBounds) {
  auto const database = database::open_temporary();
  auto transaction = database->begin_write();
  std::vector<std::uint16_t> layouts{transaction->create_layout({0, 0, 0, u"A", {}})};
  layouts.push_back(transaction->create_layout({0, layouts[0], 0, u"AB", {}}));
  layouts.push_back(transaction->create_layout({0, layouts[1], 0, u"ABC", {}}));
  std::uint16_t const unrelated = transaction->create_layout({0, 0, 0, u"X", {}});
  auto const extent_of = [&](std::uint16_t layout) {
    return transaction->create_index(
        {0, layout, {{own_reference_column, kind::reference, true}}, false, true});
  };
  std::uint64_t const whole = extent_of(layouts[0]);
  std::uint64_t const middle = extent_of(layouts[1]);
  std::uint64_t const empty = extent_of(unrelated);
  std::mt19937 random(3);
  oids all;
  oids derived;
  std::uint64_t const reserved = transaction->reserve_oids(layouts[2], 200);
  for (int i = 0; i < 1000; ++i) {
    std::size_t const which = random() % 3;
    std::uint64_t oid = 0;
    if (i < 200 && which == 2) {
      // Out of order, and with gaps.
      oid = reserved + static_cast<std::uint64_t>(199 - i);
      transaction->insert_reserved(oid, {});
    } else {
      oid = transaction->insert(layouts[which], {});
    }
    all.push_back(oid);
    if (which > 0) derived.push_back(oid);
  }
  for (int i = 0; i < 300; ++i) {
    std::size_t const which = random() % all.size();
    std::uint64_t const oid = all[which];
    transaction->erase(oid);
    all.erase(all.begin() + static_cast<std::ptrdiff_t>(which));
    std::erase(derived, oid);
  }
  std::sort(all.begin(), all.end());
  std::sort(derived.begin(), derived.end());

  auto const expect_scans = [&](unsigned long context) {
    oids down(all.rbegin(), all.rend());
    EXPECT_EQ(scan(context, whole), all);
    EXPECT_EQ(scan(context, whole, {}, {}, both_inclusive | descending), down);
    EXPECT_EQ(scan(context, middle), derived);
    EXPECT_EQ(scan(context, empty), oids{});
    // As a plan writes its ends: NULL is below every object, the greatest number above.
    EXPECT_EQ(scan(context, whole, {null_of(kind::reference)}, {reference_of(~0ul)}), all);
    for (int i = 0; i < 200; ++i) {
      std::uint64_t const low = all[random() % all.size()] + random() % 3 - 1;
      std::uint64_t const high = all[random() % all.size()] + random() % 3 - 1;
      unsigned int const flags = random() % 4 * first_inclusive;
      oids wanted;
      for (std::uint64_t const oid : all) {
        bool const from = flags & first_inclusive ? oid >= low : oid > low;
        bool const to = flags & last_inclusive ? oid <= high : oid < high;
        if (from && to) wanted.push_back(oid);
      }
      EXPECT_EQ(scan(context, whole, {reference_of(low)}, {reference_of(high)}, flags), wanted);
      unsigned int const swapped = descending | (flags & first_inclusive ? last_inclusive : 0) |
                                   (flags & last_inclusive ? first_inclusive : 0);
      std::reverse(wanted.begin(), wanted.end());
      EXPECT_EQ(scan(context, whole, {reference_of(high)}, {reference_of(low)}, swapped), wanted);
    }
  };
  expect_scans(transaction->handle());
  transaction->commit();
  expect_scans(database->begin_snapshot()->handle());
}

}  // namespace
}  // namespace qd::coredb::test
