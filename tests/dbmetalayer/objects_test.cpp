// Objects written through the embedded interface, read back through the kernel's functions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "dbmetalayer/database.h"
#include "raw_reader.h"

namespace qd::embedded {
namespace {

using testing::ElementsAre;

std::vector<class_definition> const shapes = {
    {.name = u"s.Shape",
     .columns = {{u"text", column_type::string},
                 {u"bytes", column_type::binary},
                 {u"signed", column_type::signed_integer},
                 {u"unsigned", column_type::unsigned_integer},
                 {u"decimal", column_type::decimal},
                 {u"float", column_type::single_float},
                 {u"double", column_type::double_float},
                 {u"link", column_type::reference, true, u"s.Shape"},
                 {u"bool", column_type::boolean}}},
    {.name = u"s.Round", .base = u"s.Shape", .columns = {{u"radius", column_type::decimal, false}}},
    {.name = u"s.Ball", .base = u"s.Round", .columns = {{u"bounces", column_type::boolean}}},
};

class Objects : public testing::Test {
 protected:
  Objects() { write.define_classes(shapes); }

  void commit() {
    write.commit();
    view.emplace(data.begin_snapshot());
    read.context = view->context();
  }

  database data = database::open_temporary();
  transaction write = data.begin_write();
  std::optional<snapshot> view;
  raw_reader read{write.context()};
};

TEST_F(Objects, EveryColumnTypeRoundTrips) {
  std::u16string const long_text(3000, u'\u00E9');
  unsigned char const bytes[] = {0, 255, 1};
  constexpr auto least = std::numeric_limits<std::int64_t>::min();
  object_id const full =
      write.insert(u"s.Shape", {{u"bool", true},
                                {u"text", long_text},
                                {u"bytes", binary_view(bytes)},
                                {u"signed", least},
                                {u"unsigned", ~0ull},
                                {u"decimal", decimal{-4'398'046'511'103'999'999}},
                                {u"float", -0.5f},
                                {u"double", std::numeric_limits<double>::infinity()}});
  // Integers of the other signedness, NULL by name, an empty text and an empty binary.
  object_id const other = write.insert(u"s.Shape", {{u"text", u""},
                                                    {u"bytes", binary_view()},
                                                    {u"signed", 7u},
                                                    {u"unsigned", 7},
                                                    {u"bool", false},
                                                    {u"link", full},
                                                    {u"double", null}});
  commit();

  QD_OBJ_REF const first = read.object(full);
  EXPECT_EQ(read.text(first, 3), long_text);
  EXPECT_THAT(*read.binary(first, 4), ElementsAre(0, 255, 1));
  EXPECT_EQ(read.signed_number(first, 5), least);
  EXPECT_EQ(read.number(first, 6), ~0ul);
  EXPECT_EQ(read.scaled(first, 7), -4'398'046'511'103'999'999);
  EXPECT_EQ(read.single(first, 8), -0.5f);
  EXPECT_EQ(read.real(first, 9), std::numeric_limits<double>::infinity());
  EXPECT_EQ(read.reference(first, 10).oid, 0u);
  EXPECT_EQ(read.truth(first, 11), true);

  QD_OBJ_REF const second = read.object(other);
  EXPECT_EQ(read.text(second, 3), u"");
  EXPECT_THAT(*read.binary(second, 4), ElementsAre());
  EXPECT_EQ(read.signed_number(second, 5), 7);
  EXPECT_EQ(read.number(second, 6), 7u);
  EXPECT_EQ(read.scaled(second, 7), std::nullopt);
  EXPECT_EQ(read.real(second, 9), std::nullopt);
  EXPECT_EQ(read.reference(second, 10), first);
  EXPECT_EQ(read.reference(second, 10).address, first.address);
  EXPECT_EQ(read.truth(second, 11), false);
}

TEST_F(Objects, BaseClassesHoldTheObjectsOfDerivedClasses) {
  object_id const shape = write.insert(u"s.Shape", {{u"text", u"shape"}});
  object_id const ball = write.insert(
      u"s.Ball", {{u"text", u"ball"}, {u"radius", decimal{2'000'000}}, {u"bounces", true}});
  object_id const round = write.insert(u"s.Round", {{u"text", u"round"}, {u"radius", decimal{1}}});
  write.define_index(
      {.name = u"s.Shape.by_text", .class_name = u"s.Shape", .columns = {{u"text"}}});
  write.define_index({.name = u"s.Round.by_text",
                      .class_name = u"s.Round",
                      .columns = {{u"text", false}, {u"radius"}}});
  commit();

  EXPECT_THAT(oids(read.extent(*view, u"s.Shape")),
              testing::UnorderedElementsAre(shape.oid, ball.oid, round.oid));
  EXPECT_THAT(oids(read.extent(*view, u"s.Round")),
              testing::UnorderedElementsAre(ball.oid, round.oid));
  EXPECT_THAT(oids(read.extent(*view, u"s.Ball")), ElementsAre(ball.oid));
  auto const scan = [&](char16_t const* index, raw_key const& first, raw_key const& last) {
    return oids(read.scan(read.kernel_id(view->index_reference(index)), first, last));
  };
  EXPECT_THAT(scan(u"s.Shape.by_text", raw_key().null(), raw_key().text(u"", true)),
              ElementsAre(ball.oid, round.oid, shape.oid));
  EXPECT_THAT(scan(u"s.Round.by_text", raw_key().text(u"", true), raw_key().null()),
              ElementsAre(round.oid, ball.oid));
  EXPECT_THAT(scan(u"s.Shape.by_text", raw_key().text(u"r"), raw_key().text(u"r", true)),
              ElementsAre(round.oid));

  // Through the layout of the base, as a plan over the base reads it.
  unsigned long const base_layout = read.number(view->class_reference(u"s.Shape"), 9).value();
  QD_OBJ_REF as_shape = read.object(ball);
  as_shape.address = (as_shape.address & ~0xFFFFul) | base_layout;
  EXPECT_EQ(read.text(as_shape, 3), u"ball");
  QD_OBJ_REF const as_ball = read.object(ball);
  EXPECT_EQ(read.scaled(as_ball, 12), 2'000'000);
  EXPECT_EQ(read.truth(as_ball, 13), true);
  EXPECT_EQ(read.reference(as_ball, 0), as_ball);
  EXPECT_EQ(read.reference(as_ball, 2), view->class_reference(u"s.Ball"));
  EXPECT_TRUE(read.set_specifier(as_ball).starts_with(read.set_specifier(read.object(round))));
  EXPECT_FALSE(read.set_specifier(read.object(shape)).starts_with(read.set_specifier(as_ball)));
}

TEST_F(Objects, PreparedRowsFollowTheirColumns) {
  inserter all = write.prepare_insert(u"s.Ball");
  object_id const first =
      all.insert({u"t", null, -1, 1, null, null, null, null, true, decimal{5}, false});
  inserter some = write.prepare_insert(u"s.Ball", {u"radius", u"text"});
  object_id const second = some.insert({decimal{6}, u"longer than the first"});
  object_id const third = some.insert({decimal{7}, null});
  object_id last;
  for (int i = 0; i < 10; ++i) last = some.insert({decimal{i}, u"as long as the second"});
  commit();
  EXPECT_EQ(read.text(read.object(first), 3), u"t");
  EXPECT_EQ(read.signed_number(read.object(first), 5), -1);
  EXPECT_EQ(read.scaled(read.object(first), 12), 5);
  EXPECT_EQ(read.truth(read.object(first), 13), false);
  EXPECT_EQ(read.scaled(read.object(second), 12), 6);
  EXPECT_EQ(read.text(read.object(second), 3), u"longer than the first");
  EXPECT_EQ(read.text(read.object(third), 3), std::nullopt) << "no value of the row before";
  EXPECT_EQ(read.text(read.object(last), 3), u"as long as the second");
}

TEST_F(Objects, ReservedObjectsAreReferredToBeforeTheyAreThere) {
  inserter rounds = write.prepare_insert(u"s.Round", {u"radius", u"link"});
  object_id const first = write.reserve_oids(u"s.Round", 3);
  object_id const second = {first.oid + 1};
  object_id const unused = {first.oid + 2};
  rounds.insert_reserved(first, {decimal{1}, second});
  object_id const outside = rounds.insert({decimal{2}, unused});
  rounds.insert_reserved(second, {decimal{3}, first});
  commit();
  EXPECT_EQ(read.reference(read.object(first), 10), read.object(second));
  EXPECT_EQ(read.reference(read.object(second), 10), read.object(first));
  EXPECT_EQ(read.reference(read.object(outside), 10).oid, 0u) << "an unused id reads as NULL";
  EXPECT_EQ(read.extent(*view, u"s.Round").size(), 3u);
}

// An index must have NULL where a read of the reference says NULL, whenever its target went.
TEST_F(Objects, IndexesHaveTheNullsThatReferencesRead) {
  object_id const erased = write.insert(u"s.Shape", {});
  for (int i = 0; i < 2; ++i) write.insert(u"s.Shape", {{u"link", erased}});
  write.erase(erased);
  object_id const unused = write.reserve_oids(u"s.Round", 2);
  write.insert(u"s.Shape", {{u"link", unused}});
  // Over objects that are there; the two dangling references are no equal keys.
  write.define_index(
      {.name = u"s.link", .class_name = u"s.Shape", .columns = {{u"link"}}, .unique = true});
  object_id const used = {unused.oid + 1};
  write.prepare_insert(u"s.Round", {u"radius"}).insert_reserved(used, {decimal{1}});
  write.insert(u"s.Shape", {{u"link", used}});
  // A class that goes takes its reservations along.
  write.define_class({.name = u"s.Gone", .base = u"s.Shape"});
  object_id const of_gone = write.reserve_oids(u"s.Gone", 1);
  write.insert(u"s.Shape", {{u"link", of_gone}});
  write.drop_class(u"s.Gone");
  EXPECT_THROW(write.insert(u"s.Shape", {{u"link", of_gone}}), error);
  auto const null_links = [&](read_context const& names) {
    return read.scan(read.kernel_id(names.index_reference(u"s.link")), raw_key().null(),
                     raw_key().null());
  };
  EXPECT_EQ(null_links(write).size(), 4u) << "the reserved id may still get its object";
  commit();
  EXPECT_EQ(null_links(*view).size(), 5u);
  EXPECT_EQ(read.scan(read.kernel_id(view->index_reference(u"s.link")), raw_key().number(0),
                      raw_key().number(~0ul))
                .size(),
            1u);
}

TEST_F(Objects, UpdatesAndDeletionsKeepIndexesAndReferencesInStep) {
  write.define_index({.name = u"s.by_text", .class_name = u"s.Shape", .columns = {{u"text"}}});
  object_id const target = write.insert(u"s.Round", {{u"text", u"m"}, {u"radius", decimal{1}}});
  object_id const source = write.insert(u"s.Shape", {{u"text", u"b"}, {u"link", target}});
  write.update(target, {{u"text", u"a"}, {u"signed", 3}});
  auto const by_text = [&](read_context const& names) {
    return oids(read.scan(read.kernel_id(names.index_reference(u"s.by_text")), raw_key().null(),
                          raw_key().text(u"", true)));
  };
  EXPECT_THAT(by_text(write), ElementsAre(target.oid, source.oid)) << "within the transaction";
  write.erase(target);
  EXPECT_THAT(by_text(write), ElementsAre(source.oid));
  commit();
  EXPECT_THAT(by_text(*view), ElementsAre(source.oid));
  EXPECT_EQ(read.reference(read.object(source), 10).oid, 0u);
  unsigned long address = 0;
  EXPECT_NE(vela_context_lookup(view->context(), target.oid, &address), 0u);

  transaction later = data.begin_write();
  object_id const next = later.insert(u"s.Round", {{u"radius", decimal{1}}});
  EXPECT_NE(next, target) << "ids are not used again";
}

}  // namespace
}  // namespace qd::embedded
