// What is seen by whom: commit, rollback, snapshots, unique indexes, changes of the schema, object
// ids.
#include <functional>
#include <set>

#include "coredb/support.h"

namespace qd::coredb::test {
namespace {

class Transactions : public testing::Test {
 protected:
  Transactions() { create(); }

  void create() {
    auto const transaction = database->begin_write();
    layout = transaction->create_layout({0, 0, 0, u"A", {kind::unsigned_integer, kind::string}});
    by_number =
        transaction->create_index({0, layout, {{3, kind::unsigned_integer, true}}, false, false});
    extent = transaction->create_index(
        {0, layout, {{own_reference_column, kind::reference, true}}, false, true});
    first = insert(*transaction, layout, {unsigned_of(1), text_of(u"one")});
    transaction->commit();
  }
  unsigned long number_of(unsigned long context, std::uint64_t oid) {
    unsigned long number = 0;
    EXPECT_EQ(vela_context_get_ulong(context, oid, layout, 3, &number), status_ok);
    return number;
  }

  scratch_directory directory;
  std::shared_ptr<coredb::database> database = database::open(directory / "db");
  std::uint16_t layout = 0;
  std::uint64_t by_number = 0, extent = 0, first = 0;
};

TEST_F(Transactions, ASnapshotKeepsItsMomentWhileOthersCommit) {
  auto const old = database->begin_snapshot();
  // Reads before and after the commits, so that both new and remembered blocks are tried.
  EXPECT_EQ(number_of(old->handle(), first), 1u);
  oids written{first};
  for (std::uint64_t i = 2; i < 150; ++i) {
    auto const transaction = database->begin_write();
    update(*transaction, first, 3, unsigned_of(i));
    written.push_back(insert(*transaction, layout, {unsigned_of(0), null_of(kind::string)}));
    transaction->commit();
  }
  EXPECT_EQ(number_of(old->handle(), first), 1u);
  EXPECT_EQ(scan(old->handle(), by_number), oids{first});
  EXPECT_EQ(scan(old->handle(), extent), oids{first});
  auto const young = database->begin_snapshot();
  EXPECT_EQ(number_of(young->handle(), first), 149u);
  EXPECT_EQ(scan(young->handle(), extent), written);
}

TEST_F(Transactions, ASnapshotAfterACommitDoesNotReadThroughAnEarlierOnesBlocks) {
  for (std::uint64_t i = 2; i < 50; ++i) {
    // Each leaves its table of blocks to the next.
    EXPECT_EQ(number_of(database->begin_snapshot()->handle(), first), i - 1);
    auto const transaction = database->begin_write();
    update(*transaction, first, 3, unsigned_of(i));
    transaction->commit();
  }
}

TEST_F(Transactions, WhatIsCommittedIsThereWhenTheDatabaseIsOpenedAgainAndNothingElse) {
  auto transaction = database->begin_write();
  insert(*transaction, layout, {unsigned_of(7), text_of(u"gone")});
  update(*transaction, first, 3, unsigned_of(8));
  transaction->create_layout({0, 0, 0, u"B", {}});
  transaction->roll_back();
  database->begin_write()->drop_index(by_number);  // Rolled back by going away.
  database.reset();
  database = database::open(directory / "db", {.create = false});
  EXPECT_FALSE(database->created());
  auto const snapshot = database->begin_snapshot();
  EXPECT_EQ(snapshot->schema().layouts().size(), 1u);
  EXPECT_EQ(scan(snapshot->handle(), by_number), oids{first});
  EXPECT_EQ(number_of(snapshot->handle(), first), 1u);
  VELA_UCS2 const* text = nullptr;
  ASSERT_EQ(vela_context_get_string(snapshot->handle(), first, layout, 4, &text), status_ok);
  EXPECT_EQ(text_in(text), u"one");
}

TEST_F(Transactions, ObjectIdsAreNeverGivenOutTwice) {
  std::set<std::uint64_t> given{first};
  std::mt19937 random(5);
  for (int i = 0; i < 30; ++i) {
    auto const transaction = database->begin_write();
    oids added;
    for (std::size_t count = random() % 150; count > 0; --count) {
      added.push_back(insert(*transaction, layout, {unsigned_of(0), null_of(kind::string)}));
      EXPECT_TRUE(given.insert(added.back()).second) << added.back();
    }
    if (random() % 3 == 0) transaction->reserve_oids(layout, 1 + random() % 200);
    // Whole blocks go, and the last one with them.
    for (std::uint64_t const oid : added) transaction->erase(oid);
    transaction->commit();
    if (i % 10 == 9) {
      database.reset();
      database = database::open(directory / "db");
    }
  }
  EXPECT_EQ(scan(database->begin_snapshot()->handle(), extent), oids{first});
}

TEST_F(Transactions, ASchemaIsSeenBySnapshotsAfterItsCommitOnly) {
  auto const old = database->begin_snapshot();
  auto transaction = database->begin_write();
  std::uint16_t const derived = transaction->create_layout({0, layout, 0, u"AB", {kind::boolean}});
  std::uint64_t const by_flag =
      transaction->create_index({0, derived, {{5, kind::boolean, true}}, false, false});
  std::uint64_t const object =
      insert(*transaction, derived, {unsigned_of(0), text_of(u"d"), word_of(kind::boolean, 1)});
  EXPECT_EQ(scan(transaction->handle(), by_flag), oids{object});
  std::vector<unsigned char> const key = key_of({});
  unsigned long iterator = 0;
  auto const open = [&](unsigned long context, std::uint64_t index) {
    return vela_context_create_iterator(context, index, both_inclusive, key.data(), key.data(),
                                        &iterator);
  };
  EXPECT_EQ(open(old->handle(), by_flag), status_unknown_index);
  transaction->commit();
  EXPECT_EQ(open(old->handle(), by_flag), status_unknown_index);
  auto const middle = database->begin_snapshot();
  EXPECT_EQ(scan(middle->handle(), by_number), (oids{object, first}));

  transaction = database->begin_write();
  transaction->drop_layout(derived);
  EXPECT_EQ(scan(transaction->handle(), by_number), oids{first});
  EXPECT_EQ(open(transaction->handle(), by_flag), status_unknown_index);
  transaction->drop_index(by_number);
  transaction->commit();
  auto const young = database->begin_snapshot();
  EXPECT_EQ(open(young->handle(), by_number), status_unknown_index);
  EXPECT_EQ(scan(young->handle(), extent), oids{first});
  EXPECT_EQ(scan(middle->handle(), by_flag), oids{object});
  EXPECT_EQ(scan(old->handle(), by_number), oids{first});
}

TEST_F(Transactions, AChangeOfTheSchemaEndsTheIteratorsOfItsTransaction) {
  auto const transaction = database->begin_write();
  std::vector<unsigned char> const key = key_of({});
  unsigned long iterator = 0;
  ASSERT_EQ(vela_context_create_iterator(transaction->handle(), by_number, both_inclusive,
                                         key.data(), key.data(), &iterator),
            status_ok);
  transaction->drop_index(by_number);
  VELA_RECORD record{};
  EXPECT_EQ(vela_iterator_next(iterator, &record), status_bad_iterator);
  EXPECT_EQ(vela_iterator_free(iterator), status_bad_iterator);
}

TEST_F(Transactions, BadSchemasAreRefusedAndChangeNothing) {
  auto const transaction = database->begin_write();
  index_definition const good{0, layout, {{3, kind::unsigned_integer, true}}, false, false};
  auto const index_with = [&](auto change) {
    return [&, change] {
      index_definition bad = good;
      change(bad);
      transaction->create_index(bad);
    };
  };
  std::uint16_t const derived = transaction->create_layout({0, layout, 0, u"AB", {}});
  struct {
    char const* text;
    std::function<void()> refused;
  } const cases[] = {
      {"its base 99 does not exist",
       [&] {
         transaction->create_layout({0, 99, 0, u"X", {}});
       }},
      {"does not begin with its base's",
       [&] {
         transaction->create_layout({0, layout, 0, u"X", {}});
       }},
      {"exists already",
       [&] {
         transaction->create_layout({layout, 0, 0, u"X", {}});
       }},
      {"only column 1 is a set specifier",
       [&] {
         transaction->create_layout({0, 0, 0, u"X", {kind::set_specifier}});
       }},
      {"has no columns", index_with([](auto& bad) { bad.columns.clear(); })},
      {"column 9 does not exist", index_with([](auto& bad) { bad.columns[0].column = 9; })},
      {"is of another kind", index_with([](auto& bad) { bad.columns[0].column = 4; })},
      {"its layout 99 does not exist", index_with([](auto& bad) { bad.layout = 99; })},
      {"an extent has one column", index_with([](auto& bad) { bad.extent = true; })},
      {"is the base of layout", [&] { transaction->drop_layout(layout); }},
      {"layout 99 does not exist", [&] { transaction->drop_layout(99); }},
      {"index 99 does not exist", [&] { transaction->drop_index(99); }},
  };
  for (auto const& row : cases) expect_error(error_kind::bad_schema, row.text, row.refused);
  EXPECT_EQ(transaction->schema().layouts().size(), 2u);
  EXPECT_EQ(transaction->schema().indexes().size(), 2u);
  transaction->drop_layout(derived);
  transaction->commit();
}

TEST_F(Transactions, AUniqueIndexRefusesEqualKeysWithoutANull) {
  auto const transaction = database->begin_write();
  std::uint64_t const unique = transaction->create_index(
      {0, layout, {{4, kind::string, true}, {3, kind::unsigned_integer, false}}, true, false});
  std::u16string const start(1000, u'l');
  struct object {
    test_value number;
    test_value text;
    bool refused;
  } const objects[] = {
      {unsigned_of(1), text_of(u"one"), true},
      {unsigned_of(2), text_of(u"one"), false},
      {unsigned_of(1), text_of(u"on"), false},
      {null_of(kind::unsigned_integer), text_of(u"one"), false},
      {null_of(kind::unsigned_integer), text_of(u"one"), false},
      // Equal as far as stored keys go, and behind that.
      {unsigned_of(1), text_of(start + u"a"), false},
      {unsigned_of(1), text_of(start + u"b"), false},
      {unsigned_of(1), text_of(start + u"a"), true},
  };
  for (object const& each : objects) {
    std::size_t const count = scan(transaction->handle(), extent).size();
    if (each.refused) {
      expect_error(error_kind::unique_violation, "unique index " + std::to_string(unique), [&] {
        insert(*transaction, layout, {each.number, each.text});
      });
    } else {
      insert(*transaction, layout, {each.number, each.text});
    }
    EXPECT_EQ(scan(transaction->handle(), extent).size(), count + !each.refused);
    EXPECT_EQ(scan(transaction->handle(), by_number).size(), count + !each.refused);
  }
  std::uint64_t const other = insert(*transaction, layout, {unsigned_of(5), text_of(u"five")});
  update(*transaction, other, 3, unsigned_of(6));
  update(*transaction, other, 4, text_of(u"five"));  // Its own key.
  update(*transaction, other, 4, text_of(u"one"));
  try {
    update(*transaction, other, 3, unsigned_of(1));
    ADD_FAILURE() << "an equal key was accepted";
  } catch (unique_violation const& met) {
    EXPECT_EQ(met.index_id, unique);
    EXPECT_EQ(met.existing_oid, first);
  }
  EXPECT_EQ(number_of(transaction->handle(), other), 6u);
  // The key is free again once its object is gone.
  transaction->erase(first);
  update(*transaction, other, 3, unsigned_of(1));

  // A new index over equal keys is refused, and nothing of it stays.
  expect_error(error_kind::unique_violation, "", [&] {
    transaction->create_index({500, layout, {{3, kind::unsigned_integer, true}}, true, false});
  });
  EXPECT_EQ(transaction->create_index({500, layout, {{4, kind::string, true}}, false, false}),
            500u);
  EXPECT_EQ(scan(transaction->handle(), 500).size(), scan(transaction->handle(), extent).size());
  transaction->commit();
}

TEST_F(Transactions, AnIndexFindsAReferenceToADeletedObjectAsTheNullThatItReads) {
  auto transaction = database->begin_write();
  std::uint16_t const referring = transaction->create_layout(
      {0, 0, 0, u"R", {kind::reference, kind::unsigned_integer, kind::reference}});
  std::uint64_t const by_first =
      transaction->create_index({0, referring, {{3, kind::reference, false}}, false, false});
  std::uint64_t const target = insert(*transaction, layout, {unsigned_of(2), text_of(u"two")});
  std::uint64_t const other = insert(*transaction, layout, {unsigned_of(3), text_of(u"three")});
  oids written;
  for (std::uint64_t i = 0; i < 6; ++i) {
    written.push_back(insert(*transaction, referring,
                             {reference_of(i % 2 == 0 ? target : other), unsigned_of(9),
                              reference_of(i < 3 ? target : other)}));
  }
  // To itself, which must not keep it from going.
  update(*transaction, written[5], 5, reference_of(written[5]));
  // To another by now.
  update(*transaction, written[4], 3, reference_of(other));
  // Over objects that are there already, the reference behind another column.
  std::uint64_t const by_second =
      transaction->create_index({0,
                                 referring,
                                 {{4, kind::unsigned_integer, true}, {5, kind::reference, true}},
                                 false,
                                 false});
  transaction->commit();

  transaction = database->begin_write();
  transaction->erase(target);
  transaction->erase(written[5]);
  // The reference to no object is NULL from the start.
  std::uint64_t const nowhere =
      insert(*transaction, referring, {reference_of(0), unsigned_of(8), null_of(kind::reference)});
  transaction->commit();
  auto const snapshot = database->begin_snapshot();
  unsigned long const context = snapshot->handle();
  std::vector<test_value> const null{null_of(kind::reference)};
  EXPECT_EQ(scan(context, by_first, null, null), (oids{written[0], written[2], nowhere}));
  EXPECT_EQ(scan(context, by_first, {reference_of(other)}, {reference_of(other)}),
            (oids{written[1], written[3], written[4]}));
  std::vector<test_value> const nine_null{unsigned_of(9), null_of(kind::reference)};
  EXPECT_EQ(scan(context, by_second, nine_null, nine_null),
            (oids{written[0], written[1], written[2]}));
  EXPECT_EQ(scan(context, by_second).size(), 6u);
  VELA_RECORD record{};
  EXPECT_EQ(vela_context_get_reference(context, written[0], referring, 3, &record), status_null);
  ASSERT_EQ(vela_context_get_reference(context, written[4], referring, 3, &record), status_ok);
  EXPECT_EQ(record.oid, other);
}

TEST_F(Transactions, AnEndedTransactionRefusesEverything) {
  auto const transaction = database->begin_write();
  unsigned long const handle = transaction->handle();
  transaction->commit();
  expect_error(error_kind::bad_transaction, "has ended", [&] { transaction->commit(); });
  expect_error(error_kind::bad_transaction, "has ended", [&] { transaction->insert(layout, {}); });
  unsigned long number = 0;
  EXPECT_EQ(vela_context_get_ulong(handle, first, layout, 3, &number), status_bad_context);
  transaction->roll_back();
}

}  // namespace
}  // namespace qd::coredb::test
