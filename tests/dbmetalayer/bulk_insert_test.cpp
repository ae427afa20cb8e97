// Bulk inserts against single inserts of the same rows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <random>

#include "dbmetalayer/database.h"
#include "raw_reader.h"

namespace qd::embedded {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

template <class Body>
std::optional<error_kind> refusal_of(Body const& body) {
  try {
    body();
  } catch (error const& refused) {
    return refused.kind();
  }
  return std::nullopt;
}

void define_parts(transaction& write) {
  write.define_classes(std::vector<class_definition>{
      {.name = u"Part",
       .columns = {{u"number", column_type::signed_integer},
                   {u"text", column_type::string},
                   {u"of", column_type::reference, true, u"Part"}}},
      {.name = u"Screw", .base = u"Part", .columns = {{u"length", column_type::decimal, false}}}});
}

void define_indexes(transaction& write, bool unique) {
  write.define_index({.name = u"by_number",
                      .class_name = u"Part",
                      .columns = {{u"number", false}, {u"of"}},
                      .unique = unique});
  write.define_index(
      {.name = u"by_text", .class_name = u"Part", .columns = {{u"text"}}, .unique = unique});
  write.define_index({.name = u"by_length", .class_name = u"Screw", .columns = {{u"length"}}});
}

constexpr char16_t const* all_indexes[] = {u"Part.extent", u"Screw.extent", u"by_number",
                                           u"by_text", u"by_length"};

std::vector<std::uint64_t> walk(read_context const& context, std::u16string_view index) {
  raw_reader const read{context.context()};
  return oids(read.scan(read.kernel_id(context.index_reference(index)), raw_key(), raw_key()));
}

struct row {
  std::optional<int> number;
  std::optional<std::u16string> text;
  object_id of;
  int length;

  value number_value() const { return number ? value(*number) : value(); }
  value text_value() const { return text ? value(*text) : value(); }
  value of_value() const { return of.oid == 0 ? value() : value(of); }
};

// Few numbers and texts, so that many are equal; some texts differ only where keys are cut.
row random_row(std::mt19937& random, std::vector<object_id> const& objects, int variety) {
  auto const below = [&](int end) { return static_cast<int>(random() % end); };
  row made;
  if (below(10) != 0) made.number = below(variety) - variety / 2;
  switch (below(4)) {
    case 0:
      break;
    case 1:
      made.text = std::u16string(600, u'x') + static_cast<char16_t>(u'a' + below(26)) +
                  static_cast<char16_t>(u'a' + below(std::max(variety / 26, 1)));
      break;
    default:
      made.text = std::u16string(below(20), u'y') + static_cast<char16_t>(0x100 + below(variety));
  }
  if (!objects.empty() && below(3) == 0) made.of = objects[random() % objects.size()];
  made.length = below(50);
  return made;
}

object_id insert(inserter& rows, row const& each) {
  return rows.insert(
      {each.number_value(), each.text_value(), each.of_value(), decimal{each.length}});
}

TEST(BulkInsert, EntersWhatSingleInsertsEnter) {
  database const bulk_data = database::open_temporary();
  database const single_data = database::open_temporary();
  for (database data : {bulk_data, single_data}) {
    bool const is_bulk = data.path() == bulk_data.path();
    std::mt19937 random(1);
    transaction write = data.begin_write();
    define_parts(write);
    define_indexes(write, false);
    std::vector<object_id> objects;
    inserter singles = write.prepare_insert(u"Screw");
    for (int i = 0; i < 300; ++i) {
      objects.push_back(insert(singles, random_row(random, objects, 100)));
    }
    std::optional<bulk_inserter> bulk;
    if (is_bulk) bulk.emplace(write.prepare_bulk_insert(u"Screw"));
    for (int i = 0; i < 1000; ++i) {
      objects.push_back(insert(is_bulk ? *bulk : singles, random_row(random, objects, 100)));
    }
    if (is_bulk) {
      EXPECT_EQ(walk(write, u"by_text").size(), 300u);
      EXPECT_EQ(walk(write, u"Screw.extent").size(), 1300u);
    }
    // Of objects in indexes and in none yet, and of those that others refer to.
    for (int i = 0; i < 200; ++i) {
      std::size_t const which = random() % objects.size();
      object_id const changed = objects[which];
      row const next = random_row(random, objects, 100);
      if (i % 4 == 0) {
        write.erase(changed);
        objects.erase(objects.begin() + static_cast<std::ptrdiff_t>(which));
      } else {
        write.update(changed, {{u"number", next.number_value()},
                               {u"text", next.text_value()},
                               {u"of", next.of.oid == changed.oid ? value() : next.of_value()}});
      }
    }
    if (is_bulk) {
      EXPECT_THAT(bulk->finish(), ElementsAre());
    }
    for (int i = 0; i < 100; ++i) {
      write.erase(objects[i * 7]);
      write.update(objects[i * 7 + 1], {{u"text", random_row(random, objects, 100).text_value()}});
    }
    write.commit();
  }
  snapshot const bulk = database(bulk_data).begin_snapshot();
  snapshot const single = database(single_data).begin_snapshot();
  EXPECT_THAT(bulk.check(), ElementsAre());
  EXPECT_THAT(single.check(), ElementsAre());
  raw_reader const read_bulk{bulk.context()};
  raw_reader const read_single{single.context()};
  for (char16_t const* const index : all_indexes) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(index)));
    std::vector<std::uint64_t> const found = walk(bulk, index);
    EXPECT_EQ(found, walk(single, index));
    for (std::uint64_t const oid : found) {
      QD_OBJ_REF const object = read_bulk.object({oid});
      ASSERT_EQ(read_bulk.reference(object, 5), read_single.reference(object, 5));
      ASSERT_EQ(read_bulk.text(object, 4), read_single.text(object, 4));
    }
  }
  // An index made of objects that are there is the one that would have been kept for them.
  transaction write = database(bulk_data).begin_write();
  write.define_index({.name = u"later", .class_name = u"Part", .columns = {{u"text"}}});
  EXPECT_EQ(walk(write, u"later"), walk(write, u"by_text"));
}

TEST(BulkInsert, UniqueIndexesTakeTheRowsThatSingleInsertsWouldTake) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    std::vector<int> taken[2];
    for (int const is_bulk : {0, 1}) {
      std::mt19937 random(seed);
      database data = database::open_temporary();
      transaction write = data.begin_write();
      define_parts(write);
      define_indexes(write, true);
      auto const accept = [&](inserter& rows, row const& each) {
        return !refusal_of([&] { insert(rows, each); });
      };
      inserter singles = write.prepare_insert(u"Screw");
      for (int i = 0; i < 30; ++i) accept(singles, random_row(random, {}, 200));
      if (is_bulk == 0) {
        for (int i = 0; i < 300; ++i) {
          if (accept(singles, random_row(random, {}, 200))) taken[0].push_back(i);
        }
        continue;
      }
      bulk_inserter bulk = write.prepare_bulk_insert(u"Screw");
      std::vector<object_id> given;
      for (int i = 0; i < 300; ++i) given.push_back(insert(bulk, random_row(random, {}, 200)));
      std::vector<duplicate_row> const duplicates = bulk.finish();
      ASSERT_FALSE(duplicates.empty());
      std::vector<std::uint64_t> const present = walk(write, u"Screw.extent");
      for (duplicate_row const& each : duplicates) {
        EXPECT_THAT(present, testing::Contains(each.existing.oid));
        EXPECT_THAT(each.text, HasSubstr("object " + std::to_string(each.existing.oid)));
      }
      for (int i = 0; i < 300; ++i) {
        bool const is_there = std::count(present.begin(), present.end(), given[i].oid) != 0;
        if (is_there) taken[1].push_back(i);
      }
      EXPECT_EQ(walk(write, u"by_text").size(), present.size());
      EXPECT_EQ(walk(write, u"by_number").size(), present.size());
      EXPECT_EQ(duplicates.size() + taken[1].size(), given.size());
      write.commit();
      EXPECT_THAT(data.begin_snapshot().check(), ElementsAre());
    }
    EXPECT_EQ(taken[0], taken[1]);
  }
}

TEST(BulkInsert, RefusedRowsAreNotReferredToAnyMore) {
  database data = database::open_temporary();
  transaction write = data.begin_write();
  define_parts(write);
  define_indexes(write, true);
  object_id const first = write.reserve_oids(u"Part", 3);
  bulk_inserter bulk = write.prepare_bulk_insert(u"Part", {u"text", u"of"});
  object_id const second{first.oid + 1};
  object_id const third{first.oid + 2};
  bulk.insert_reserved(third, {u"t3", second});
  bulk.insert_reserved(first, {u"t", third});
  bulk.insert_reserved(second, {u"t", first});
  std::vector<duplicate_row> const duplicates = bulk.finish();
  ASSERT_EQ(duplicates.size(), 1u);
  EXPECT_EQ(duplicates[0].refused, second);
  EXPECT_EQ(duplicates[0].existing, first);
  EXPECT_EQ(duplicates[0].index_name, u"by_text");
  EXPECT_THAT(duplicates[0].text, HasSubstr("class Part, column text, value \"t\""));
  raw_reader const read{write.context()};
  EXPECT_EQ(read.reference(read.object(third), 5).oid, 0u);
  EXPECT_EQ(read.reference(read.object(first), 5).oid, third.oid);
  // Where the third's NULL stands now, before the first's reference to it.
  EXPECT_THAT(walk(write, u"by_number"), ElementsAre(third.oid, first.oid));
  write.erase(third);
  EXPECT_EQ(read.reference(read.object(first), 5).oid, 0u);
}

TEST(BulkInsert, IsRefusedAbandonedOrLeftOpen) {
  database data = database::open_temporary();
  transaction write = data.begin_write();
  define_parts(write);
  define_indexes(write, true);
  write.insert(u"Part", {{u"number", 1}});
  bulk_inserter bulk = write.prepare_bulk_insert(u"Screw");
  EXPECT_EQ(refusal_of([&] { bulk.insert({1, u"", null, null}); }), error_kind::null_value);
  bulk.insert({2, u"a", null, decimal{1}});
  object_id const referred = write.insert(u"Part", {{u"number", 3}});
  object_id const of_bulk = bulk.insert({4, u"b", referred, decimal{1}});
  write.update(referred, {{u"of", of_bulk}});
  auto const bad_transaction = error_kind::bad_transaction;
  EXPECT_EQ(refusal_of([&] { write.prepare_bulk_insert(u"Part"); }), bad_transaction);
  EXPECT_EQ(refusal_of([&] { write.define_class({.name = u"New"}); }), bad_transaction);
  EXPECT_EQ(refusal_of([&] { write.drop_index(u"by_text"); }), bad_transaction);
  EXPECT_EQ(write.object_count(u"Part"), 4u);
  bulk.abandon();
  EXPECT_EQ(write.object_count(u"Part"), 2u);
  EXPECT_EQ(walk(write, u"by_text").size(), 2u);
  raw_reader const read{write.context()};
  EXPECT_EQ(read.reference(read.object(referred), 5).oid, 0u);
  EXPECT_EQ(refusal_of([&] { bulk.insert({5, u"c", null, decimal{1}}); }), bad_transaction);
  EXPECT_EQ(refusal_of([&] { bulk.finish(); }), bad_transaction);
  { write.prepare_bulk_insert(u"Part").insert({6, null, null}); }
  EXPECT_EQ(refusal_of([&] { write.commit(); }), bad_transaction);
  EXPECT_FALSE(data.begin_snapshot().has_class(u"Part"));
}

// More rows than are entered at once.
TEST(BulkInsert, ManyRowsAreEnteredInParts) {
  constexpr int count = (1 << 20) + 1000;
  database data = database::open_temporary();
  transaction write = data.begin_write();
  write.define_class({.name = u"Number", .columns = {{u"n", column_type::signed_integer}}});
  write.define_index(
      {.name = u"by_n", .class_name = u"Number", .columns = {{u"n"}}, .unique = true});
  bulk_inserter bulk = write.prepare_bulk_insert(u"Number");
  std::vector<object_id> given;
  // Downwards, so that later parts belong before what is there; the last two have the key of one of
  // the first part, and of one another.
  for (int i = 0; i < count - 2; ++i) given.push_back(bulk.insert({count - i}));
  given.push_back(bulk.insert({count - 5}));
  given.push_back(bulk.insert({count - 5}));
  std::vector<duplicate_row> const duplicates = bulk.finish();
  ASSERT_EQ(duplicates.size(), 2u);
  EXPECT_EQ(duplicates[0].refused, given[count - 2]);
  EXPECT_EQ(duplicates[1].existing, given[5]);
  write.commit();
  snapshot const view = data.begin_snapshot();
  std::vector<std::uint64_t> const found = walk(view, u"by_n");
  ASSERT_EQ(found.size(), static_cast<std::size_t>(count - 2));
  for (std::size_t i = 0; i < found.size(); ++i) {
    ASSERT_EQ(found[i], given[found.size() - 1 - i].oid);
  }
}

}  // namespace
}  // namespace qd::embedded
