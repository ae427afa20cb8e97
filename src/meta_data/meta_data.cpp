#include "meta_data/meta_data.h"

#include <algorithm>
#include <limits>
#include <ostream>
#include <stdexcept>

#include "db_string/ucs2_string_wrapper.h"
#include "meta_data/catalogue_access.h"

namespace meta_data {

using db_string::dt_string;

namespace {

// System columns at the start of every table.
constexpr std::size_t system_columns = 3;
// The index of the one that holds the set specifier of the object's class.
constexpr unsigned short set_specifier_column = 1;

// Name token of the index that GetGlobalIndex gives.
constexpr unsigned long global_index_token = 12;

// All the records that an opened scan still has, as handles.
template <typename Handle>
std::vector<Handle> collect(catalogue::scan& records) {
  std::vector<Handle> handles;
  while (records.next()) handles.push_back(Handle{records.record()});
  return handles;
}

}  // namespace

Table::Table(QD_OBJ_REF reference)
    : ref(reference), cache(std::make_shared<TableCache>(TableCache{GetColumnsImpl(reference)})) {}

Table Table::IdentifyTable(std::vector<std::u16string> const& name, YYLTYPE const& location) {
  std::u16string joined;
  for (std::u16string const& part : name) {
    joined = &part == name.data() ? part : part + u"." + joined;
  }
  QD_OBJ_REF table;
  try {
    table = metalayer::RawViewByIncompleteReverseUid(joined.c_str());
  } catch (metalayer::exceptions::BadArg const&) {
    error_handling::ThrowUnknownIdentifier(location, joined);
  }
  return Table(table);
}

std::vector<Column> Table::GetColumnsImpl(QD_OBJ_REF table) {
  catalogue::scan members;
  dt_string const first_name(u"", false);
  dt_string const last_name(u"", true);
  members.first_key.write_unsigned(table.oid);
  members.first_key.write_string(first_name);
  members.last_key.write_unsigned(table.oid);
  members.last_key.write_string(last_name);
  members.open(metalayer::Member::index_id_MemberPK());
  // In the order of their names; placed by their indexes, which are 0 to n - 1.
  std::vector<Column> const by_name = collect<Column>(members);
  std::vector<Column> columns(by_name.size());
  for (Column const& column : by_name) {
    unsigned short const index = column.Index();
    if (index >= columns.size() || columns[index].ref.oid != 0) {
      throw std::out_of_range("the catalogue has column " + std::to_string(index) +
                              " twice, or has no room for it, in a table of " +
                              std::to_string(columns.size()) + " columns");
    }
    columns[index] = column;
  }
  return columns;
}

std::vector<Column> const& Table::GetColumns() const {
  return cache->columns;
}

std::vector<Column> Table::GetUserColumns() const {
  std::vector<Column> const& columns = cache->columns;
  std::size_t const first = std::min(system_columns, columns.size());
  return {columns.begin() + static_cast<std::ptrdiff_t>(first), columns.end()};
}

std::vector<Index> Table::GetIndices() const {
  catalogue::scan indexes;
  indexes.first_key.write_reference(ref);
  indexes.last_key.write_reference(ref);
  indexes.open(metalayer::Index::index_id_IndexByTable());
  return collect<Index>(indexes);
}

std::u16string Table::FullName() const {
  return catalogue::text_property(ref, catalogue::table::full_name);
}

unsigned short Table::LayoutId() const {
  return catalogue::low_half_word(catalogue::unsigned_property(ref, catalogue::table::layout_id));
}

std::u16string Table::SetSpecifier() const {
  QD_OBJ_REF const record = metalayer::SetSpecifier::ByType(ref);
  return catalogue::text_property(record, catalogue::set_specifier::text);
}

std::u16string Column::FullName() const {
  return catalogue::text_property(ref, catalogue::column::full_name);
}

unsigned short Column::Index() const {
  long const index = catalogue::signed_property(ref, catalogue::column::index);
  return catalogue::low_half_word(static_cast<unsigned long>(index));
}

bool Column::Nullable() const {
  return catalogue::bool_property(ref, catalogue::column::nullable);
}

MetaColumnType Column::Type() const {
  if (Index() == set_specifier_column) {
    return meta_support::TypeIdentity<operator_library::SetSpecifier>{};
  }
  QD_OBJ_REF const type = catalogue::reference_property(ref, catalogue::column::type);
  return IdentifyColumnType(metalayer::PrimTypeByTypeRef(type));
}

bool Column::IsReference() const {
  return Type() == kReferenceType;
}

Table Column::ReferencedTable() const {
  return Table(catalogue::reference_property(ref, catalogue::column::type));
}

Table Column::InTable() const {
  return Table(catalogue::reference_property(ref, catalogue::column::in_table));
}

unsigned long Index::Id() const {
  return catalogue::unsigned_property(ref, catalogue::index::id);
}

std::u16string Index::FullName() const {
  return catalogue::text_property(ref, catalogue::index::full_name);
}

std::vector<IndexColumn> Index::GetColumns() const {
  catalogue::scan members;
  members.first_key.write_reference(ref);
  members.first_key.write_null();
  members.last_key.write_reference(ref);
  members.last_key.write_unsigned(std::numeric_limits<unsigned long>::max());
  members.open(metalayer::IndexedColumn::index_id_IndexedColumnPK());
  std::vector<IndexColumn> columns = collect<IndexColumn>(members);
  auto const position = [](IndexColumn const& column) {
    return catalogue::unsigned_property(column.ref, catalogue::index_column::position);
  };
  std::sort(columns.begin(), columns.end(),
            [&position](IndexColumn const& left, IndexColumn const& right) {
              unsigned long const left_position = position(left);
              unsigned long const right_position = position(right);
              return left_position < right_position;
            });
  return columns;
}

Index Index::GetGlobalIndex() {
  static QD_OBJ_REF const global_index = [] {
    QD_OBJ_REF const token = metalayer::Token::ByNameToken(global_index_token);
    std::u16string const name = catalogue::text_property(token, catalogue::token::text);
    return metalayer::Index::ByIndexPK(name.c_str());
  }();
  return Index{global_index};
}

bool IndexColumn::Ascending() const {
  return catalogue::bool_property(ref, catalogue::index_column::ascending);
}

Column IndexColumn::ToColumn() const {
  return Column{catalogue::reference_property(ref, catalogue::index_column::column)};
}

std::ostream& operator<<(std::ostream& stream, Table const& table) {
  return stream << db_string::Ucs2StringWrapper(table.FullName());
}

std::ostream& operator<<(std::ostream& stream, Column const& column) {
  return stream << db_string::Ucs2StringWrapper(column.FullName());
}

std::ostream& operator<<(std::ostream& stream, Index const& index) {
  return stream << db_string::Ucs2StringWrapper(index.FullName());
}

}  // namespace meta_data

namespace metalayer {

namespace Token {

QD_OBJ_REF ByNameToken(unsigned long number) {
  return meta_data::catalogue::find_by_number(index_id_NameToken(), number);
}

}  // namespace Token

namespace Index {

QD_OBJ_REF ByIndexPK(char16_t const* full_name) {
  meta_data::catalogue::scan indexes;
  db_string::dt_string const name(full_name, false);
  indexes.first_key.write_string(name);
  indexes.last_key.write_string(name);
  indexes.open(index_id_IndexPK());
  return indexes.next() ? indexes.record() : QD_OBJ_REF{};
}

}  // namespace Index

namespace SetSpecifier {

QD_OBJ_REF ByType(QD_OBJ_REF const& type) {
  return meta_data::catalogue::find_by_number(index_id_Type(), type.oid);
}

}  // namespace SetSpecifier

}  // namespace metalayer
