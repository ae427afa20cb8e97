// Descriptions of classes, and counts of objects and index entries, as contexts report them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dbmetalayer/database.h"

namespace qd::embedded {
namespace {

using testing::ElementsAre;
using testing::FieldsAre;

void define_zoo(transaction& write) {
  write.define_classes(std::vector<class_definition>{
      {.name = u"zoo.Keeper",
       .columns = {{u"name", column_type::string, false},
                   {u"chief", column_type::reference, true, u"zoo.Keeper", u"name"}}},
      {.name = u"zoo.Animal",
       .columns = {{u"name", column_type::string, false},
                   {u"keeper", column_type::reference, true, u"zoo.Keeper", u"name"}}},
      {.name = u"zoo.Bird", .base = u"zoo.Animal", .columns = {{u"span", column_type::decimal}}},
  });
  write.define_index({.name = u"zoo.Animal.by_name",
                      .class_name = u"zoo.Animal",
                      .columns = {{u"name", false}, {u"keeper"}},
                      .unique = true});
  write.define_index(
      {.name = u"zoo.Bird.by_span", .class_name = u"zoo.Bird", .columns = {{u"span"}}});
}

TEST(Description, TellsColumnsIndexesAndRelatives) {
  database data = database::open_temporary();
  transaction write = data.begin_write();
  define_zoo(write);
  write.commit();
  snapshot const view = data.begin_snapshot();
  auto const bird = view.describe_class(u"zoo.Bird");
  EXPECT_EQ(bird->name, u"zoo.Bird");
  EXPECT_EQ(bird->base, u"zoo.Animal");
  EXPECT_EQ(bird->reference, view.class_reference(u"zoo.Bird"));
  struct shown {
    std::u16string name;
    column_origin origin;
    std::u16string referenced, lookup;
    bool operator==(shown const&) const = default;
  };
  std::vector<shown> columns;
  for (column_description const& each : bird->columns) {
    columns.push_back({each.name, each.origin, each.referenced_class, each.lookup_column});
    EXPECT_EQ(each.reference, view.column_reference(u"zoo.Bird", each.name));
  }
  EXPECT_THAT(columns,
              ElementsAre(shown{u"$self", column_origin::system, u"zoo.Bird", u""},
                          shown{u"$set_specifier", column_origin::system, u"", u""},
                          shown{u"$class", column_origin::system, u"catalogue.Table", u""},
                          shown{u"name", column_origin::inherited, u"", u""},
                          shown{u"keeper", column_origin::inherited, u"zoo.Keeper", u"name"},
                          shown{u"span", column_origin::own, u"", u""}));
  EXPECT_FALSE(bird->columns[3].nullable);
  EXPECT_EQ(bird->columns[5].type, column_type::decimal);

  ASSERT_EQ(bird->indexes.size(), 3u);
  EXPECT_TRUE(bird->indexes[0].extent);
  EXPECT_EQ(bird->indexes[1].name, u"zoo.Bird.by_span");
  EXPECT_FALSE(bird->indexes[1].inherited);
  index_description const& inherited = bird->indexes[2];
  EXPECT_EQ(inherited.name, u"zoo.Animal.by_name");
  EXPECT_EQ(inherited.class_name, u"zoo.Animal");
  EXPECT_TRUE(inherited.inherited);
  EXPECT_TRUE(inherited.unique);
  EXPECT_THAT(inherited.columns, ElementsAre(FieldsAre(3u, false), FieldsAre(4u, true)));
  EXPECT_EQ(inherited.reference, view.index_reference(u"zoo.Animal.by_name"));

  auto const animal = view.describe_class(view.class_reference(u"zoo.Animal"));
  EXPECT_EQ(animal->base, u"");
  EXPECT_THAT(animal->derived, ElementsAre(u"zoo.Bird"));
  EXPECT_EQ(animal, view.describe_class(u"zoo.Animal")) << "read once";
  EXPECT_EQ(animal, data.begin_snapshot().describe_class(u"zoo.Animal")) << "of one schema";
  EXPECT_THROW(view.describe_class(u"zoo.Fish"), error);
  EXPECT_THROW(view.describe_class(bird->columns[3].reference), error) << "a column's record";
}

TEST(Description, FollowsTheSchemaOfItsContext) {
  database data = database::open_temporary();
  {
    transaction write = data.begin_write();
    define_zoo(write);
    write.commit();
  }
  snapshot const before = data.begin_snapshot();
  EXPECT_EQ(before.describe_class(u"zoo.Bird")->indexes.size(), 3u);
  {
    transaction write = data.begin_write();
    EXPECT_EQ(write.describe_class(u"zoo.Bird"), before.describe_class(u"zoo.Bird"));
    write.drop_index(u"zoo.Bird.by_span");
    EXPECT_EQ(write.describe_class(u"zoo.Bird")->indexes.size(), 2u);
    EXPECT_EQ(data.begin_snapshot().describe_class(u"zoo.Bird")->indexes.size(), 3u);
    write.roll_back();
  }
  // The number that the commit would have given now goes to another schema.
  transaction write = data.begin_write();
  write.define_index(
      {.name = u"zoo.Bird.by_span_2", .class_name = u"zoo.Bird", .columns = {{u"span"}}});
  write.commit();
  snapshot const after = data.begin_snapshot();
  EXPECT_GT(after.schema_version(), before.schema_version());
  EXPECT_EQ(after.describe_class(u"zoo.Bird")->indexes.size(), 4u);
  EXPECT_EQ(before.describe_class(u"zoo.Bird")->indexes.size(), 3u);
}

TEST(Description, RefusesLookupColumnsThatCannotBe) {
  database data = database::open_temporary();
  transaction write = data.begin_write();
  define_zoo(write);
  auto const kind_of_refusal = [&](column_definition column) {
    try {
      write.define_class({.name = u"zoo.Ticket", .columns = {column}});
    } catch (error const& refused) {
      return refused.kind();
    }
    return error_kind::storage;
  };
  EXPECT_EQ(kind_of_refusal({u"of", column_type::reference, true, u"zoo.Keeper", u"nam"}),
            error_kind::unknown_name);
  EXPECT_EQ(kind_of_refusal({u"of", column_type::reference, true, u"zoo.Ticket", u"nam"}),
            error_kind::unknown_name);
  EXPECT_EQ(kind_of_refusal({u"of", column_type::string, true, u"", u"name"}),
            error_kind::bad_definition);
  EXPECT_FALSE(write.has_class(u"zoo.Ticket"));
}

TEST(Counts, FollowEveryChangeAndSeeWhatTheirContextSees) {
  database data = database::open_temporary();
  transaction write = data.begin_write();
  define_zoo(write);
  EXPECT_EQ(write.object_count(u"zoo.Animal"), 0u);
  object_id const bird = write.insert(u"zoo.Bird", {{u"name", u"owl"}});
  write.insert(u"zoo.Bird", {{u"name", u"jay"}});
  object_id const animal = write.insert(u"zoo.Animal", {{u"name", u"cat"}});
  EXPECT_THROW(write.insert(u"zoo.Animal", {{u"name", u"cow"}, {u"keeper", bird}}), error);
  EXPECT_EQ(write.object_count(u"zoo.Animal"), 3u);
  write.commit();
  snapshot const before = data.begin_snapshot();

  transaction change = data.begin_write();
  change.erase(bird);
  change.update(animal, {{u"name", u"dog"}});
  EXPECT_EQ(change.entry_count(u"zoo.Animal.by_name"), 2u);
  EXPECT_EQ(change.entry_count(u"zoo.Bird.by_span"), 1u) << "its NULL stands in the index, too";
  change.commit();
  snapshot const after = data.begin_snapshot();
  EXPECT_EQ(before.object_count(u"zoo.Animal"), 3u);
  EXPECT_EQ(before.entry_count(u"zoo.Bird.by_span"), 2u);
  EXPECT_EQ(after.object_count(*after.describe_class(u"zoo.Bird")), 1u);
  EXPECT_EQ(after.entry_count(u"zoo.Bird.extent"), 1u);
  EXPECT_THROW((void)after.object_count(u"zoo.Fish"), error);

  transaction drop = data.begin_write();
  drop.drop_class(u"zoo.Bird");
  EXPECT_EQ(drop.object_count(u"zoo.Animal"), 1u);
  drop.define_class({.name = u"zoo.Bird", .base = u"zoo.Animal", .columns = {}});
  EXPECT_EQ(drop.object_count(u"zoo.Bird"), 0u);
}

}  // namespace
}  // namespace qd::embedded
