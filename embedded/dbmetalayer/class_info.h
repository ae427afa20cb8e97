// What writing objects needs to know of a class, read from the catalogue.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "dbmetalayer/error.h"
#include "dbmetalayer/value.h"
#include "kernel/obj_ref.h"

namespace qd::embedded {

struct column_info {
  std::u16string name;
  column_type type = column_type::string;
  bool nullable = true;
  // Of a reference: the layout of the class that objects must be of or derive from.
  std::uint16_t referenced_layout = 0;
  std::u16string referenced_class;
  std::u16string lookup_column;  // See column_definition.
  // The column's record; null for a class that is being defined.
  QD_OBJ_REF record = {};
};

struct class_info {
  std::u16string name;
  std::uint64_t record = 0;  // Of the table.
  std::uint16_t layout = 0;
  bool of_catalogue = false;
  std::vector<column_info> columns;  // All, by column index.
};

inline constexpr std::size_t system_columns = 3;

class_info read_class(unsigned long context, QD_OBJ_REF const& table);

// The position of a column; throws unknown_name.
std::size_t position_of(class_info const& of_class, std::u16string_view column);

// Throws an error whose text is "class C, column D, value V: reason".
[[noreturn]] void refuse(error_kind kind, class_info const& of_class, column_info const& column,
                         value const& refused, std::string const& reason);

// A value as messages show it; long texts and binaries are cut short.
std::string to_string(value const& shown);
std::string_view to_string(column_type type);

}  // namespace qd::embedded
