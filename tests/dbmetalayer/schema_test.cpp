// What is left of classes and indexes that are dropped.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace qd::embedded
