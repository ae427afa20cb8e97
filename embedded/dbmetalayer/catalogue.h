// The shape of the catalogue: its classes, their columns and their indexes. The catalogue is data
// of the database itself and describes itself, too. The numbers are part of the file format, and
// the engine reads the columns by them.
//
//     catalogue.Object                      root of every class
//       Type          3 primitive code  4 short name
//         Table       5 base  6 full name  7 reverse name  8 of the catalogue  9 layout id
//       Column        3 owning table  4 full name  5 type  6 name  7 nullable  8 primitive code
//                     9 column index  10 lookup column
//       Index         3 full name  4 table  5 unique  6 kernel index id  7 extent
//       IndexColumn   3 index  4 column  5 position  6 ascending
//       SetSpecifier  3 text  4 type
//       NameToken     3 number  4 text
//
// A table has a record for each of its columns, inherited and system columns included. A column's
// type is the referenced table for a reference, a record of a primitive type otherwise. The lookup
// column of a reference is the name of a column of the referenced table; NULL: none. A reverse name
// has the parts of the full name in reverse order, so that an incomplete name is a prefix.
#pragma once

#include <cstdint>
#include <string_view>

namespace qd::embedded::catalogue {

// Layout ids of the catalogue's classes.
enum layout_id : std::uint16_t {
  object_layout = 1,
  type_layout,
  table_layout,
  column_layout,
  index_layout,
  index_column_layout,
  set_specifier_layout,
  name_token_layout,
};

// Kernel ids of its indexes.
enum index_id : std::uint64_t {
  table_by_full_name = 1,     // Table (full name), unique.
  table_by_reverse_name = 2,  // Table (reverse name).
  table_by_base = 3,          // Table (base).
  column_by_member = 4,       // Column (owning table, name), unique.
  column_by_type = 5,         // Column (type).
  index_by_table = 6,         // Index (table).
  index_by_full_name = 7,     // Index (full name), unique.
  index_column_by_place = 8,  // IndexColumn (index, position), unique.
  set_specifier_by_type = 9,  // SetSpecifier (type).
  name_token_by_number = 10,  // NameToken (number), unique.
};

// The extents of the catalogue's classes.
constexpr std::uint64_t extent_of(layout_id layout) {
  return std::uint64_t{32} + layout;
}

namespace type {
enum column : unsigned { primitive_code = 3, short_name = 4 };
}
namespace table {
enum column : unsigned { base = 5, full_name, reverse_name, of_catalogue, layout };
}
namespace column {
enum column : unsigned {
  owner = 3,
  full_name,
  type,
  name,
  nullable,
  primitive_code,
  index,
  lookup_column,
};
}
namespace index {
enum column : unsigned { full_name = 3, table, unique, kernel_id, extent };
}
namespace index_column {
enum column : unsigned { index = 3, column, position, ascending };
}
namespace set_specifier {
enum column : unsigned { text = 3, type };
}
namespace name_token {
enum column : unsigned { number = 3, text };
}

// The first part of the catalogue's own names; no name of the user's begins with it.
inline constexpr std::u16string_view name_space = u"catalogue";
inline constexpr std::u16string_view root_class = u"catalogue.Object";
inline constexpr std::u16string_view extent_suffix = u".extent";

// The name token whose text names the index over all objects.
inline constexpr std::uint64_t global_index_token = 12;

}  // namespace qd::embedded::catalogue
