// Objects written through the embedded interface, read back through the kernel's functions.
#include <gtest/gtest.h>

#include "dbmetalayer/database.h"
#include "raw_reader.h"

namespace qd::embedded {
namespace {

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

}  // namespace
}  // namespace qd::embedded
