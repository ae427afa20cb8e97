// Catalogue handles: which properties and indexes they read, with which keys, and what NULL means.
#include "meta_data/meta_data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "db_util/db_exception.h"
#include "support/fake_kernel.h"

namespace {

using namespace fake_kernel;
using namespace meta_data;
using testing::ElementsAre;

// A number as a key field.
std::string number_field(unsigned long number) {
  std::string field = "\x28";
  for (int shift = 56; shift >= 0; shift -= 8) {
    field.push_back(static_cast<char>(number >> shift & 0xFF));
  }
  return field;
}

unsigned int raised_code(auto&& act) {
  try {
    act();
  } catch (db_util::db_exception const& raised) {
    return raised.code;
  }
  return 0;
}

class meta_data_test : public testing::Test {
 protected:
  void SetUp() override { reset(); }

  // The first key of the scan of a table's members: the table, then the empty text.
  static std::string members_key(unsigned long table) { return number_field(table) + "\x20\x80"; }

  void add_column(unsigned long table, unsigned long oid, long index) {
    k.cells[{oid, 9}] = index;
    k.entries[{member_pk, members_key(table)}].push_back({oid, 6, 1});
  }

  static constexpr unsigned long table_oid = 300;
  kernel& k = current();
};

// Faults: columns left in the order of their names; the scan's keys or flags wrong; the list read
// again, or not shared by copies.
TEST_F(meta_data_test, a_table_places_its_columns_by_index_and_reads_them_once) {
  for (auto const& [oid, index] : {std::pair{41UL, 3L},
                                   {42UL, 0L},
                                   {43UL, 4L},
                                   {44UL, 1L},
                                   {45UL, 0x70002L}}) {  // The low 16 bits count.
    add_column(table_oid, oid, index);
  }
  Table const table(QD_OBJ_REF{table_oid, 8});
  EXPECT_THAT(table.GetColumns(), ElementsAre(Column{{42, 0}}, Column{{44, 0}}, Column{{45, 0}},
                                              Column{{41, 0}}, Column{{43, 0}}));
  EXPECT_EQ(table.GetColumns()[0].ref.address, 0x60001U);
  EXPECT_THAT(table.GetUserColumns(), ElementsAre(Column{{41, 0}}, Column{{43, 0}}));
  EXPECT_EQ(k.opened.back(),
            (opened_iterator{catalogue_context, member_pk, 0x70, members_key(table_oid),
                             number_field(table_oid) + "\x22\xFF\xFF\x80"}));
  EXPECT_TRUE(k.open_iterators.empty());
  unsigned int const calls = k.calls;
  Table const copy = table;
  EXPECT_EQ(&copy.GetColumns(), &table.GetColumns());
  EXPECT_EQ(k.calls, calls);

  Table const other(QD_OBJ_REF{table_oid, 9});
  EXPECT_EQ(table, other);  // The address is no part of an identity.
  add_column(301, 51, 0);
  add_column(301, 52, 1);
  add_column(301, 53, 2);
  Table const without_user_columns(QD_OBJ_REF{301, 8});
  EXPECT_TRUE(without_user_columns.GetUserColumns().empty());
  EXPECT_LT(table, without_user_columns);

  // A catalogue at odds with itself: an exception, and no scan left open.
  add_column(301, 54, 2);
  EXPECT_THROW(Table(QD_OBJ_REF{301, 8}), std::out_of_range);
  add_column(302, 55, -1);
  EXPECT_THROW(Table(QD_OBJ_REF{302, 8}), std::out_of_range);
  EXPECT_TRUE(k.open_iterators.empty());
}

TEST_F(meta_data_test, identifies_tables_by_their_reversed_name) {
  YYLTYPE const location{1, 2, 3, 4};
  k.tables[u"c.b.a"] = {310, 5};
  k.tables[u"solo"] = {311, 5};
  EXPECT_EQ(Table::IdentifyTable({u"a", u"b", u"c"}, location).ref.oid, 310U);
  EXPECT_EQ(Table::IdentifyTable({u"solo"}, location).ref.oid, 311U);
  try {
    Table::IdentifyTable({u"a", u"b"}, location);
    ADD_FAILURE() << "nothing raised";
  } catch (error_handling::QDException const& raised) {
    EXPECT_EQ(raised.code, 7022U);
    EXPECT_EQ(raised.message, u"Identifier b.a is not defined.");
    EXPECT_EQ(raised.location.last_column, 4);
  }
  EXPECT_THAT(k.names_asked, ElementsAre(u"c.b.a", u"solo", u"b.a"));
}

// One row per property: the getter and the column number that it must use, and NULL's meaning.
TEST_F(meta_data_test, reads_each_property_by_its_getter_and_number) {
  Table const table(QD_OBJ_REF{1, 7});
  Column const column{{2, 7}};
  Index const index{{3, 7}};
  IndexColumn const index_column{{4, 7}};
  VELA_RECORD const target{90, 3, 2};
  struct {
    char const* getter;
    unsigned long oid;
    unsigned int number;
    cell content;
    std::function<std::string()> read;
    std::string result;
    std::string null_result;  // "4272" where NULL is an error.
  } const rows[] = {
      {"get_string", 1, 6, u"T", [&] { return testing::PrintToString(table.FullName()); }, "u\"T\"",
       "u\"\""},
      {"get_ulong", 1, 9, 0x7FFFFUL, [&] { return std::to_string(table.LayoutId()); }, "65535",
       "4272"},
      {"get_reference", 2, 3, target, [&] { return std::to_string(column.InTable().ref.oid); },
       "90", "0"},
      {"get_string", 2, 4, std::u16string(u"col\0umn", 7),
       [&] { return testing::PrintToString(column.FullName()); }, "u\"col\"", "u\"\""},
      {"get_reference", 2, 5, target,
       [&] { return std::to_string(column.ReferencedTable().ref.oid); }, "90", "0"},
      {"get_bool", 2, 7, 256UL, [&] { return std::to_string(column.Nullable()); }, "1", "4272"},
      {"get_long", 2, 9, 0x10005L, [&] { return std::to_string(column.Index()); }, "5", "4272"},
      {"get_string", 3, 3, u"I", [&] { return testing::PrintToString(index.FullName()); }, "u\"I\"",
       "u\"\""},
      {"get_ulong", 3, 6, 1UL << 40, [&] { return std::to_string(index.Id()); },
       std::to_string(1UL << 40), "4272"},
      {"get_reference", 4, 4, target,
       [&] { return std::to_string(index_column.ToColumn().ref.address); }, "196610", "0"},
      {"get_bool", 4, 6, 0UL, [&] { return std::to_string(index_column.Ascending()); }, "0",
       "4272"},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(std::string(row.getter) + " " + std::to_string(row.number));
    auto const result = [&row] {
      std::string text;
      unsigned int const code = raised_code([&] { text = row.read(); });
      return code == 0 ? text : std::to_string(code);
    };
    k = {};
    EXPECT_EQ(result(), row.null_result);
    EXPECT_EQ(k.reads.at(0), (column_read{row.getter, catalogue_context, row.oid, 7, row.number}));
    k = {};
    k.cells[{row.oid, row.number}] = row.content;
    EXPECT_EQ(result(), row.result);
    k.failing_call = k.calls + 1;
    k.status = 12;
    EXPECT_EQ(result(), "12");
  }
}

TEST_F(meta_data_test, types_a_column_by_its_index_and_its_type_record) {
  Column const column{{2, 7}};
  k.cells[{2, 5}] = VELA_RECORD{90, 3, 2};
  k.primitive_types = {{90, 5}, {0, 2}};
  k.cells[{2, 9}] = 4L;
  EXPECT_EQ(column.Type(), MetaColumnType(meta_support::TypeIdentity<operator_library::Decimal>()));
  k.primitive_types[90] = 8;
  EXPECT_TRUE(column.IsReference());
  // Column 1 holds set specifiers, whatever its record says.
  k.cells[{2, 9}] = 0x30001L;
  EXPECT_EQ(column.Type(),
            MetaColumnType(meta_support::TypeIdentity<operator_library::SetSpecifier>()));
  EXPECT_FALSE(column.IsReference());
  // Without a type record the null reference's code counts.
  k.cells[{2, 9}] = 4L;
  k.cells.erase({2, 5});
  EXPECT_EQ(column.Type(), MetaColumnType(meta_support::TypeIdentity<operator_library::Binary>()));
}

TEST_F(meta_data_test, maps_type_codes) {
  // Alternatives by code; float and double change places between the two.
  std::size_t const none = std::variant_npos;
  std::size_t const primitive[] = {none, 1, 7, 3, 2, 4, 6, 5, 8, none, 0, none};
  for (unsigned char code = 0; code < std::size(primitive); ++code) {
    if (primitive[code] != none) {
      EXPECT_EQ(IdentifyColumnType(code).index(), primitive[code]) << int{code};
    } else {
      EXPECT_THAT([code] { IdentifyColumnType(code); },
                  testing::ThrowsMessage<error_handling::QDException>("unexpected type"));
    }
  }
  std::size_t const sql[] = {2, 3, 4, 6, 5, 1, 7, 8, 0};
  for (unsigned int code = 0; code < std::size(sql); ++code) {
    EXPECT_EQ(IdentifySQLType(column_type{code}).index(), sql[code]) << code;
  }
  EXPECT_THROW(IdentifySQLType(column_type{9}), error_handling::QDException);
}

// Faults: another index or key; index columns left in the order of the scan.
TEST_F(meta_data_test, finds_the_indexes_of_a_table_and_their_columns) {
  Table const table(QD_OBJ_REF{300, 7});
  EXPECT_TRUE(table.GetIndices().empty());
  k.entries[{index_by_table, number_field(300)}] = {{61, 0, 0}, {60, 0, 0}};
  EXPECT_THAT(table.GetIndices(), ElementsAre(Index{{61, 0}}, Index{{60, 0}}));
  EXPECT_EQ(k.opened.back().last, number_field(300));

  Index const index{{61, 7}};
  EXPECT_TRUE(index.GetColumns().empty());
  EXPECT_EQ(k.opened.back(),
            (opened_iterator{catalogue_context, indexed_column_pk, 0x70, number_field(61) + "\x60",
                             number_field(61) + number_field(~0UL)}));
  k.entries[{indexed_column_pk, number_field(61) + "\x60"}] = {{71, 0, 0}, {72, 0, 0}, {73, 0, 0}};
  k.cells[{71, 5}] = 2UL;
  k.cells[{72, 5}] = ~0UL;  // Positions are unsigned.
  k.cells[{73, 5}] = 0UL;
  EXPECT_THAT(index.GetColumns(),
              ElementsAre(IndexColumn{{73, 0}}, IndexColumn{{71, 0}}, IndexColumn{{72, 0}}));
}

TEST_F(meta_data_test, looks_up_set_specifiers_tokens_and_indexes) {
  k.entries[{set_specifier_type, number_field(300)}] = {{81, 0, 0}};
  k.cells[{81, 3}] = u"AB";
  EXPECT_EQ(Table(QD_OBJ_REF{300, 7}).SetSpecifier(), u"AB");
  EXPECT_EQ(k.opened.back().last, number_field(300));
  EXPECT_EQ(Table(QD_OBJ_REF{301, 7}).SetSpecifier(), u"");
  EXPECT_EQ(metalayer::Token::ByNameToken(5).oid, 0U);

  std::string const name_key = std::string("\x24\0a\0b\x80", 6);
  k.entries[{name_token, number_field(12)}] = {{82, 0, 0}};
  k.cells[{82, 4}] = u"ab";
  k.entries[{index_pk, name_key}] = {{83, 0, 0}, {84, 0, 0}};
  // A first call that fails is made again, one that succeeds is not.
  k.failing_call = k.calls + 1;
  k.status = 9;
  EXPECT_EQ(raised_code([] { Index::GetGlobalIndex(); }), 9U);
  EXPECT_EQ(Index::GetGlobalIndex().ref.oid, 83U);
  EXPECT_EQ(k.opened.back(),
            (opened_iterator{catalogue_context, index_pk, 0x70, name_key, name_key}));
  reset();
  EXPECT_EQ(Index::GetGlobalIndex().ref.oid, 83U);
  EXPECT_EQ(k.calls, 0U);

  // A name too long for a key.
  std::u16string const long_name(600, u'x');
  EXPECT_EQ(raised_code([&] { metalayer::Index::ByIndexPK(long_name.c_str()); }), 4197U);
}

TEST_F(meta_data_test, every_failing_call_of_a_lookup_is_raised_and_closes_its_scan) {
  for (unsigned int failing_call = 1;; ++failing_call) {
    reset();
    add_column(300, 41, 0);
    add_column(300, 42, 1);
    k.entries[{indexed_column_pk, number_field(61) + "\x60"}] = {{71, 0, 0}, {72, 0, 0}};
    k.cells[{71, 5}] = 1UL;
    k.cells[{72, 5}] = 0UL;
    k.failing_call = failing_call;
    k.status = 55;
    unsigned int const code = raised_code([] {
      Table(QD_OBJ_REF{300, 7}).SetSpecifier();
      Index{{61, 7}}.GetColumns();
    });
    EXPECT_TRUE(k.open_iterators.empty());
    if (code == 0) {
      EXPECT_GT(failing_call, 14U);
      break;
    }
    EXPECT_EQ(code, 55U);
  }
}

TEST_F(meta_data_test, streams_full_names_in_utf8) {
  k.cells[{1, 6}] = u"T\u00E9";
  k.cells[{2, 4}] = u"C";
  k.cells[{3, 3}] = u"I";
  std::ostringstream stream;
  stream << Table(QD_OBJ_REF{1, 0}) << ' ' << Column{{2, 0}} << ' ' << Index{{3, 0}};
  EXPECT_EQ(stream.str(), "T\xC3\xA9 C I");
}

}  // namespace
