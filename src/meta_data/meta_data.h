// Typed handles on the database's catalogue: tables, columns, indexes, index columns.
//
// A handle is a reference to a catalogue record and holds no kernel resources. Every property is
// read anew at each call, through the calling thread's metadata context, so a handle sees the
// catalogue of that context; only a table's column list is read once, when the Table is built, and
// shared by its copies. Handles are equal, and ordered, by the oid of their record.
//
// Errors, unless a function says more: db_util::db_exception with the kernel's status. A property
// that holds NULL gives the empty string or the null reference where a text or a reference is
// returned, and raises 4272 elsewhere.
#pragma once

#include <compare>
#include <iosfwd>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "db_string/dt_string.h"
#include "db_util/meta_support.h"
#include "db_util/value_kinds.h"
#include "error_handling/qd_exception.h"
#include "kernel/metalayer.h"

namespace meta_data {

// The type of a column.
using MetaColumnType =
    std::variant<meta_support::TypeIdentity<bool>, meta_support::TypeIdentity<db_string::dt_string>,
                 meta_support::TypeIdentity<unsigned long>, meta_support::TypeIdentity<long>,
                 meta_support::TypeIdentity<operator_library::Decimal>,
                 meta_support::TypeIdentity<double>, meta_support::TypeIdentity<float>,
                 meta_support::TypeIdentity<operator_library::Binary>,
                 meta_support::TypeIdentity<QD_OBJ_REF>,
                 meta_support::TypeIdentity<operator_library::SetSpecifier>>;

inline constexpr MetaColumnType kReferenceType = meta_support::TypeIdentity<QD_OBJ_REF>{};

struct Column;
struct Index;
struct IndexColumn;

// A table: the objects of a class and of its derived classes.
struct Table {
  struct TableCache {
    std::vector<Column> columns;  // Element i is the column whose index is i.
  };

  // Reads the table's columns.
  explicit Table(QD_OBJ_REF reference);

  // The table that a possibly incomplete dotted name denotes: the parts a, b, c look up "c.b.a".
  // Throws QDException 7022 "Identifier <name> is not defined." at `location` for an unknown name.
  static Table IdentifyTable(std::vector<std::u16string> const& name, YYLTYPE const& location);
  static std::vector<Column> GetColumnsImpl(QD_OBJ_REF table);

  // Every column, by column index; holds as long as a copy of this handle.
  std::vector<Column> const& GetColumns() const;
  // The columns without the three system columns that every table starts with.
  std::vector<Column> GetUserColumns() const;
  // The table's indexes, in the catalogue's order.
  std::vector<Index> GetIndices() const;
  std::u16string FullName() const;
  // The id of the layout through which this table's columns are read.
  unsigned short LayoutId() const;
  // The set specifier of the table's class.
  std::u16string SetSpecifier() const;

  friend bool operator==(Table const& left, Table const& right) { return left.ref == right.ref; }
  friend auto operator<=>(Table const& left, Table const& right) { return left.ref <=> right.ref; }

  QD_OBJ_REF ref;
  std::shared_ptr<TableCache> cache;  // Never null; shared by copies, read-only once filled.
};

struct Column {
  std::u16string FullName() const;
  // The column's number, as the kernel's getters take it.
  unsigned short Index() const;
  bool Nullable() const;
  // Throws QDException 7022 "unexpected type" for a primitive type that no kind stands for.
  MetaColumnType Type() const;
  bool IsReference() const;
  // The table that a reference column points to; reads that table's columns.
  Table ReferencedTable() const;
  // The table that the column belongs to; reads that table's columns.
  Table InTable() const;

  friend bool operator==(Column const& left, Column const& right) { return left.ref == right.ref; }
  friend auto operator<=>(Column const& left, Column const& right) {
    return left.ref <=> right.ref;
  }

  QD_OBJ_REF ref;
};

struct Index {
  // The id to open an iterator with.
  unsigned long Id() const;
  std::u16string FullName() const;
  // The columns in index order.
  std::vector<IndexColumn> GetColumns() const;
  // The index that name token 12 names; looked up once per process, the null reference if none.
  static Index GetGlobalIndex();

  friend bool operator==(Index const& left, Index const& right) { return left.ref == right.ref; }
  friend auto operator<=>(Index const& left, Index const& right) { return left.ref <=> right.ref; }

  QD_OBJ_REF ref;
};

// One column of an index.
struct IndexColumn {
  bool Ascending() const;
  Column ToColumn() const;

  friend bool operator==(IndexColumn const& left, IndexColumn const& right) {
    return left.ref == right.ref;
  }
  friend auto operator<=>(IndexColumn const& left, IndexColumn const& right) {
    return left.ref <=> right.ref;
  }

  QD_OBJ_REF ref;
};

// The column kinds as SQL's type names number them.
enum class column_type : unsigned int {
  unsigned_integer = 0,
  signed_integer = 1,
  decimal = 2,
  single_float = 3,
  double_float = 4,
  string = 5,
  binary = 6,
  object_reference = 7,
  boolean = 8,
};

// The type of a primitive type code: 1 string, 2 binary, 3 signed, 4 unsigned, 5 Decimal, 6 float,
// 7 double, 8 reference, 10 bool. Throws QDException 7022 "unexpected type" for any other.
MetaColumnType IdentifyColumnType(unsigned char primitive_type_code);
MetaColumnType IdentifySQLType(column_type type);

// Write the full name in UTF-8.
std::ostream& operator<<(std::ostream& stream, Table const& table);
std::ostream& operator<<(std::ostream& stream, Column const& column);
std::ostream& operator<<(std::ostream& stream, Index const& index);

}  // namespace meta_data

// Lookups in the catalogue that the engine owns. Each returns the first reference found, or the
// null reference.
namespace metalayer {
namespace Token {
QD_OBJ_REF ByNameToken(unsigned long number);
}
namespace Index {
QD_OBJ_REF ByIndexPK(char16_t const* full_name);
}
namespace SetSpecifier {
QD_OBJ_REF ByType(QD_OBJ_REF const& type);
}
}  // namespace metalayer
