// The catalogue by index ids of the metadata library, hand-written keys and the column numbers that
// the engine relies on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
        {.name = u"zoo.Animal", .columns = {{u"name", column_type::string}}},
        {.name = u"zoo.Bird", .base = u"zoo.Animal"},
    });
    write.commit();
    return data;
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
  EXPECT_EQ(metalayer::PrimTypeByTypeRef(QD_OBJ_REF{}), 0) << "a column without a type";
  QD_OBJ_REF const name = view.column_reference(u"zoo.Bird", u"name");
  EXPECT_EQ(read.text(name, 4), u"zoo.Bird.name") << "of the class, not of its base";
}

}  // namespace
}  // namespace qd::embedded
