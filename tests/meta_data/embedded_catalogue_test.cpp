// Catalogue handles over the embedded database: what the schema says comes back from them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dbmetalayer/database.h"
#include "meta_data/meta_data.h"

namespace {

using namespace meta_data;
using meta_support::TypeIdentity;
using qd::embedded::class_definition;
using kind = qd::embedded::column_type;
using testing::ElementsAre;

class embedded_catalogue : public testing::Test {
 protected:
  static qd::embedded::database defined() {
    qd::embedded::database data = qd::embedded::database::open_temporary();
    qd::embedded::transaction write = data.begin_write();
    // The columns' names are not in the order of the columns.
    write.define_classes(std::vector<class_definition>{
        {.name = u"zoo.Animal",
         .columns = {{u"weight", kind::decimal},
                     {u"name", kind::string, false},
                     {u"keeper", kind::reference, true, u"zoo.Keeper"},
                     {u"chip", kind::binary},
                     {u"born", kind::signed_integer},
                     {u"legs", kind::unsigned_integer},
                     {u"speed", kind::single_float},
                     {u"range", kind::double_float},
                     {u"tame", kind::boolean}}},
        {.name = u"zoo.Keeper", .columns = {{u"name", kind::string}}},
        {.name = u"zoo.Bird", .base = u"zoo.Animal", .columns = {{u"aerie", kind::string}}},
    });
    write.define_index({.name = u"by_keeper",
                        .class_name = u"zoo.Animal",
                        .columns = {{u"weight"}, {u"name", false}, {u"keeper"}, {u"born", false}}});
    write.commit();
    return data;
  }

  static Table table(std::u16string const& name) {
    return Table::IdentifyTable({u"zoo", name}, error_handling::invalid_location);
  }

  // The table's index of several columns.
  static Index composite_index(Table const& table) {
    for (Index const& index : table.GetIndices()) {
      if (index.GetColumns().size() == 4) return index;
    }
    throw std::runtime_error("no such index");
  }

  qd::embedded::database data = defined();
  qd::embedded::snapshot view = data.begin_snapshot();
  qd::embedded::thread_binding binding = view.bind();
};

TEST_F(embedded_catalogue, types_every_column_of_a_class_and_its_bases) {
  std::vector<MetaColumnType> types;
  Table const bird = table(u"Bird");
  for (Column const& column : bird.GetColumns()) {
    EXPECT_EQ(column.Index(), types.size());
    EXPECT_TRUE(column.InTable() == bird || column.InTable() == table(u"Animal"));
    types.push_back(column.Type());
  }
  EXPECT_THAT(
      types,
      ElementsAre(TypeIdentity<QD_OBJ_REF>(), TypeIdentity<operator_library::SetSpecifier>(),
                  TypeIdentity<QD_OBJ_REF>(), TypeIdentity<operator_library::Decimal>(),
                  TypeIdentity<db_string::dt_string>(), TypeIdentity<QD_OBJ_REF>(),
                  TypeIdentity<operator_library::Binary>(), TypeIdentity<long>(),
                  TypeIdentity<unsigned long>(), TypeIdentity<float>(), TypeIdentity<double>(),
                  TypeIdentity<bool>(), TypeIdentity<db_string::dt_string>()));
  std::vector<Column> const user_columns = table(u"Animal").GetUserColumns();
  ASSERT_EQ(user_columns.size(), 9U);
  EXPECT_EQ(user_columns[2].ReferencedTable(), table(u"Keeper"));
  EXPECT_TRUE(user_columns[0].Nullable());
  EXPECT_FALSE(user_columns[1].Nullable());
  EXPECT_NE(table(u"Animal").LayoutId(), bird.LayoutId());
}

TEST_F(embedded_catalogue, gives_index_columns_in_their_order_and_direction) {
  Table const animal = table(u"Animal");
  Index const index = composite_index(animal);
  std::vector<Column> columns;
  std::vector<bool> ascending;
  for (IndexColumn const& column : index.GetColumns()) {
    columns.push_back(column.ToColumn());
    ascending.push_back(column.Ascending());
  }
  std::vector<Column> const& all = animal.GetColumns();
  EXPECT_THAT(columns, ElementsAre(all[3], all[4], all[5], all[7]));
  EXPECT_THAT(ascending, ElementsAre(true, false, true, false));
  EXPECT_EQ(metalayer::Index::ByIndexPK(index.FullName().c_str()), index.ref);
  EXPECT_EQ(metalayer::Index::ByIndexPK(u"by_nobody").oid, 0U);
}

TEST_F(embedded_catalogue, set_specifiers_extend_those_of_the_bases) {
  std::u16string const animal = table(u"Animal").SetSpecifier();
  EXPECT_TRUE(table(u"Bird").SetSpecifier().starts_with(animal));
  EXPECT_FALSE(table(u"Keeper").SetSpecifier().starts_with(animal));
}

TEST_F(embedded_catalogue, names_may_be_incomplete_but_not_unknown) {
  YYLTYPE const location = error_handling::invalid_location;
  EXPECT_EQ(Table::IdentifyTable({u"Bird"}, location), table(u"Bird"));
  EXPECT_THROW(table(u"Fish"), error_handling::QDException);
}

}  // namespace
