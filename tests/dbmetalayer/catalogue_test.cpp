// The catalogue as the engine reads it: by index ids of the metadata library, hand-written keys and
// the column numbers that it relies on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "dbmetalayer/database.h"
#include "kernel/metalayer.h"
#include "raw_reader.h"

namespace qd::embedded {
namespace {

using testing::ElementsAre;

class Catalogue : public testing::Test {
 protected:
  static database defined() {
    database data = database::open_temporary();
    transaction write = data.begin_write();
    write.define_classes(std::vector<class_definition>{
        {.name = u"zoo.Animal",
         .columns = {{u"weight", column_type::decimal},
                     {u"name", column_type::string, false},
                     {u"keeper", column_type::reference, true, u"zoo.Keeper"},
                     {u"chip", column_type::binary},
                     {u"born", column_type::signed_integer},
                     {u"legs", column_type::unsigned_integer},
                     {u"speed", column_type::single_float},
                     {u"range", column_type::double_float},
                     {u"tame", column_type::boolean}}},
        {.name = u"zoo.Keeper", .columns = {{u"name", column_type::string}}},
        {.name = u"zoo.Bird", .base = u"zoo.Animal", .columns = {{u"aerie", column_type::string}}},
    });
    write.define_index({.name = u"zoo.Animal.by_keeper",
                        .class_name = u"zoo.Animal",
                        .columns = {{u"keeper"}, {u"name", false}, {u"$set_specifier"}}});
    write.commit();
    return data;
  }

  std::vector<QD_OBJ_REF> members(QD_OBJ_REF const& table) const {
    return read.scan(metalayer::Member::index_id_MemberPK(), raw_key().number(table.oid).text(u""),
                     raw_key().number(table.oid).text(u"", true));
  }
  std::vector<QD_OBJ_REF> indexes(QD_OBJ_REF const& table) const {
    return read.scan(metalayer::Index::index_id_IndexByTable(), raw_key().number(table.oid));
  }
  std::u16string specifier(QD_OBJ_REF const& table) const {
    auto const found =
        read.scan(metalayer::SetSpecifier::index_id_Type(), raw_key().number(table.oid));
    EXPECT_EQ(found.size(), 1u);
    return read.text(found.at(0), 3).value();
  }

  database data = defined();
  snapshot view = data.begin_snapshot();
  thread_binding binding = view.bind();
  raw_reader read{view.context()};
};

TEST_F(Catalogue, MembersCarryTheColumnsOfATable) {
  struct row {
    long index;
    std::u16string name;
    unsigned char code;
    bool nullable;
    std::u16string referenced;
  };
  // In the order of the names, which is not the order of the columns.
  row const rows[] = {
      {2, u"$class", 8, false, u"catalogue.Table"},
      {0, u"$self", 8, false, u"zoo.Bird"},
      {1, u"$set_specifier", 1, false, u""},
      {12, u"aerie", 1, true, u""},
      {7, u"born", 3, true, u""},
      {6, u"chip", 2, true, u""},
      {5, u"keeper", 8, true, u"zoo.Keeper"},
      {8, u"legs", 4, true, u""},
      {4, u"name", 1, false, u""},
      {10, u"range", 7, true, u""},
      {9, u"speed", 6, true, u""},
      {11, u"tame", 10, true, u""},
      {3, u"weight", 5, true, u""},
  };
  QD_OBJ_REF const bird = view.class_reference(u"zoo.Bird");
  std::vector<QD_OBJ_REF> const found = members(bird);
  ASSERT_EQ(found.size(), std::size(rows));
  for (std::size_t i = 0; i < found.size(); ++i) {
    SCOPED_TRACE(i);
    QD_OBJ_REF const& column = found[i];
    EXPECT_EQ(read.signed_number(column, 9), rows[i].index);
    EXPECT_EQ(read.text(column, 4), u"zoo.Bird." + rows[i].name);
    EXPECT_EQ(read.truth(column, 7), rows[i].nullable);
    EXPECT_EQ(read.reference(column, 3), bird);
    QD_OBJ_REF const type = read.reference(column, 5);
    EXPECT_EQ(metalayer::PrimTypeByTypeRef(type), rows[i].code);
    if (rows[i].code == 8) {
      EXPECT_EQ(read.text(type, 6), rows[i].referenced);
    }
    EXPECT_EQ(view.column_reference(u"zoo.Bird", rows[i].name), column);
  }
}

TEST_F(Catalogue, IndexesAndTheirColumns) {
  QD_OBJ_REF const animal = view.class_reference(u"zoo.Animal");
  std::vector<QD_OBJ_REF> const found = indexes(animal);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(read.text(found[0], 3), u"zoo.Animal.extent");
  EXPECT_EQ(read.text(found[1], 3), u"zoo.Animal.by_keeper");
  EXPECT_THAT(
      read.scan(metalayer::Index::index_id_IndexPK(), raw_key().text(u"zoo.Animal.by_keeper")),
      ElementsAre(found[1]));
  EXPECT_EQ(view.index_reference(u"zoo.Animal.by_keeper"), found[1]);

  struct row {
    std::u16string column;
    bool ascending;
  };
  auto const check = [&](QD_OBJ_REF const& index, std::vector<row> const& rows) {
    auto const columns =
        read.scan(metalayer::IndexedColumn::index_id_IndexedColumnPK(),
                  raw_key().number(index.oid).null(), raw_key().number(index.oid).number(~0ul));
    ASSERT_EQ(columns.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
      EXPECT_EQ(read.reference(columns[i], 4),
                view.column_reference(u"zoo.Animal", rows[i].column));
      EXPECT_EQ(read.number(columns[i], 5), i);
      EXPECT_EQ(read.truth(columns[i], 6), rows[i].ascending);
    }
  };
  check(found[0], {{u"$self", true}});
  check(found[1], {{u"keeper", true}, {u"name", false}, {u"$set_specifier", true}});
  EXPECT_EQ(indexes(view.class_reference(u"zoo.Bird")).size(), 1u) << "its extent alone";
}

TEST_F(Catalogue, LayoutsAndSetSpecifiersFollowTheBases) {
  QD_OBJ_REF const animal = view.class_reference(u"zoo.Animal");
  QD_OBJ_REF const keeper = view.class_reference(u"zoo.Keeper");
  QD_OBJ_REF const bird = view.class_reference(u"zoo.Bird");
  std::set<unsigned long> const layouts = {
      read.number(animal, 9).value(), read.number(keeper, 9).value(), read.number(bird, 9).value()};
  EXPECT_EQ(layouts.size(), 3u);
  EXPECT_TRUE(specifier(bird).starts_with(specifier(animal)));
  EXPECT_FALSE(specifier(bird).starts_with(specifier(keeper)));
  EXPECT_EQ(metalayer::PrimTypeByTypeRef(bird), 8);
  EXPECT_EQ(metalayer::PrimTypeByTypeRef(QD_OBJ_REF{}), 0) << "a column without a type";
}

TEST(CatalogueSpecifiers, AreAmbiguousBetweenNoSiblings) {
  database data = database::open_temporary();
  transaction write = data.begin_write();
  for (int i = 0; i < 300; ++i) {
    std::string const number = std::to_string(i);
    write.define_class({.name = u"many.C" + std::u16string(number.begin(), number.end())});
  }
  raw_reader const read{write.context()};
  std::vector<std::u16string> specifiers;
  for (std::u16string const& name : write.class_names()) {
    auto const found = read.scan(metalayer::SetSpecifier::index_id_Type(),
                                 raw_key().number(write.class_reference(name).oid));
    specifiers.push_back(read.text(found.at(0), 3).value());
  }
  ASSERT_EQ(specifiers.size(), 300u);
  // Where one text begins with another, the sorted order has a neighbour that does.
  std::sort(specifiers.begin(), specifiers.end());
  for (std::size_t i = 1; i < specifiers.size(); ++i) {
    EXPECT_FALSE(specifiers[i].starts_with(specifiers[i - 1]));
  }
}

TEST_F(Catalogue, NameToken12NamesTheIndexOverAllObjects) {
  auto const tokens = read.scan(metalayer::Token::index_id_NameToken(), raw_key().number(12));
  ASSERT_EQ(tokens.size(), 1u);
  auto const indexes = read.scan(metalayer::Index::index_id_IndexPK(),
                                 raw_key().text(read.text(tokens[0], 4).value()));
  ASSERT_EQ(indexes.size(), 1u);
  auto const all = read.scan(read.kernel_id(indexes[0]), raw_key().null(), raw_key().number(~0ul));
  QD_OBJ_REF const bird = view.class_reference(u"zoo.Bird");
  EXPECT_THAT(all, testing::Contains(tokens[0]));
  EXPECT_THAT(all, testing::Contains(bird));
  EXPECT_THAT(read.scan(metalayer::Token::index_id_NameToken(), raw_key().number(13)),
              ElementsAre());
}

TEST_F(Catalogue, DescribesItself) {
  // The number that the engine reads a property by is the index of the column that describes it.
  struct row {
    std::u16string of_class;
    std::u16string column;
    long index;
  };
  row const rows[] = {
      {u"catalogue.Table", u"full_name", 6},      {u"catalogue.Table", u"layout", 9},
      {u"catalogue.Column", u"table", 3},         {u"catalogue.Column", u"full_name", 4},
      {u"catalogue.Column", u"type", 5},          {u"catalogue.Column", u"nullable", 7},
      {u"catalogue.Column", u"column_index", 9},  {u"catalogue.Index", u"full_name", 3},
      {u"catalogue.Index", u"kernel_id", 6},      {u"catalogue.IndexColumn", u"column", 4},
      {u"catalogue.IndexColumn", u"position", 5}, {u"catalogue.IndexColumn", u"ascending", 6},
      {u"catalogue.SetSpecifier", u"text", 3},    {u"catalogue.NameToken", u"text", 4},
  };
  for (row const& row : rows) {
    EXPECT_EQ(read.signed_number(view.column_reference(row.of_class, row.column), 9), row.index);
  }
  QD_OBJ_REF const table = view.class_reference(u"catalogue.Table");
  EXPECT_EQ(read.reference(view.class_reference(u"zoo.Bird"), 2), table) << "its class";
  EXPECT_TRUE(
      read.set_specifier(table).starts_with(specifier(view.class_reference(u"catalogue.Type"))));
  EXPECT_EQ(indexes(table).size(), 4u) << "three of its own and the extent";
}

}  // namespace
}  // namespace qd::embedded
