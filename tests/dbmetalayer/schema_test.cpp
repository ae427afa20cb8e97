// Changes of classes and indexes: what of them is left, and who sees it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "dbmetalayer/database.h"
#include "raw_reader.h"

namespace qd::embedded {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Schema, DroppingAClassLeavesNothingOfIt) {
  database data = database::open_temporary();
  transaction write = data.begin_write();
  raw_reader const read{write.context()};
  write.define_class({.name = u"a.Kept", .columns = {{u"n", column_type::unsigned_integer}}});
  write.define_index({.name = u"a.Kept.by_n", .class_name = u"a.Kept", .columns = {{u"n"}}});
  object_id const kept = write.insert(u"a.Kept", {{u"n", 1}});
  auto const before = read.extent(write, u"catalogue.Object");

  write.define_class({.name = u"a.Dropped",
                      .base = u"a.Kept",
                      .columns = {{u"text", column_type::string},
                                  {u"self", column_type::reference, true, u"a.Dropped"}}});
  write.define_index(
      {.name = u"a.Dropped.by_text", .class_name = u"a.Dropped", .columns = {{u"text"}}});
  for (int i = 0; i < 100; ++i) write.insert(u"a.Dropped", {{u"text", u"x"}, {u"n", 100 - i}});
  write.drop_class(u"a.Dropped");
  EXPECT_EQ(read.extent(write, u"catalogue.Object"), before);
  EXPECT_FALSE(write.has_class(u"a.Dropped"));
  EXPECT_FALSE(write.has_index(u"a.Dropped.extent"));
  EXPECT_THAT(oids(read.scan(read.kernel_id(write.index_reference(u"a.Kept.by_n")),
                             raw_key().null(), raw_key().number(~0ul))),
              ElementsAre(kept.oid))
      << "the base's index has lost its entries, too";

  // The name is free again, and the class anew has none of the former objects.
  write.define_class({.name = u"a.Dropped"});
  EXPECT_THAT(read.extent(write, u"a.Dropped"), IsEmpty());
  write.drop_index(u"a.Kept.by_n");
  EXPECT_FALSE(write.has_index(u"a.Kept.by_n"));
  write.commit();
  EXPECT_THAT(data.begin_snapshot().class_names(), ElementsAre(u"a.Kept", u"a.Dropped"));
}

TEST(Schema, AnIndexOnABaseEntersWhatIsThere) {
  database data = database::open_temporary();
  transaction write = data.begin_write();
  raw_reader const read{write.context()};
  write.define_classes(std::vector<class_definition>{
      {.name = u"Base", .columns = {{u"n", column_type::signed_integer}}},
      {.name = u"Derived", .base = u"Base"}});
  object_id const last = write.insert(u"Derived", {{u"n", -5}});
  object_id const first = write.insert(u"Base", {{u"n", 5}});
  object_id const none = write.insert(u"Derived", {});
  write.define_index({.name = u"down", .class_name = u"Base", .columns = {{u"n", false}}});
  object_id const middle = write.insert(u"Derived", {{u"n", 0}});
  // Descending: NULLs come last, and the greatest key begins.
  EXPECT_THAT(oids(read.scan(read.kernel_id(write.index_reference(u"down")), raw_key().number(~0ul),
                             raw_key().null())),
              ElementsAre(first.oid, middle.oid, last.oid, none.oid));
}

TEST(Schema, ReopenedDatabasesHaveWhatWasCommitted) {
  std::filesystem::path const path = testing::TempDir() + "dbmetalayer_reopen.qdb";
  auto const remove = [&] {
    std::filesystem::remove(path);
    std::filesystem::remove(path.string() + "-lock");
  };
  remove();
  object_id ada;
  {
    database data = database::open(path);
    EXPECT_TRUE(data.created());
    transaction write = data.begin_write();
    write.define_class({.name = u"hr.Person", .columns = {{u"name", column_type::string}}});
    ada = write.insert(u"hr.Person", {{u"name", u"Ada"}});
    write.commit();
    transaction lost = data.begin_write();
    lost.define_class({.name = u"hr.Lost"});
    lost.update(ada, {{u"name", u"lost"}});
    // Destroyed without a commit.
  }
  {
    database data = database::open(path, {.create = false});
    EXPECT_FALSE(data.created());
    snapshot view = data.begin_snapshot();
    EXPECT_THAT(view.class_names(), ElementsAre(u"hr.Person"));
    raw_reader const read{view.context()};
    EXPECT_EQ(read.text(read.object(ada), 3), u"Ada");
    transaction write = data.begin_write();
    write.define_class({.name = u"hr.Late", .base = u"hr.Person"});
    EXPECT_NE(write.insert(u"hr.Late", {{u"name", u"Bob"}}), ada);
    write.roll_back();
    EXPECT_FALSE(data.begin_snapshot().has_class(u"hr.Late"));
  }
  remove();
}

TEST(Schema, OlderSnapshotsKeepTheirSchema) {
  database data = database::open_temporary();
  transaction first = data.begin_write();
  first.define_class({.name = u"c.Old", .columns = {{u"n", column_type::unsigned_integer}}});
  first.define_index({.name = u"c.by_n", .class_name = u"c.Old", .columns = {{u"n"}}});
  object_id const object = first.insert(u"c.Old", {{u"n", 1}});
  first.commit();

  snapshot const before = data.begin_snapshot();
  transaction second = data.begin_write();
  second.drop_class(u"c.Old");
  second.define_class({.name = u"c.New"});
  EXPECT_FALSE(data.begin_snapshot().has_class(u"c.New")) << "not committed";
  second.commit();
  snapshot const after = data.begin_snapshot();

  EXPECT_THAT(before.class_names(), ElementsAre(u"c.Old"));
  EXPECT_THAT(after.class_names(), ElementsAre(u"c.New"));
  raw_reader const read{before.context()};
  unsigned long const index = read.kernel_id(before.index_reference(u"c.by_n"));
  EXPECT_THAT(oids(read.scan(index, raw_key().number(1))), ElementsAre(object.oid));
  unsigned long iterator = 0;
  auto const key = raw_key().number(1).end();
  EXPECT_NE(
      vela_context_create_iterator(after.context(), index, 0x30, key.data(), key.data(), &iterator),
      0u);
}

}  // namespace
}  // namespace qd::embedded
