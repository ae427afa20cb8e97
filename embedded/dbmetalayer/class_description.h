// What the catalogue says of a class, in plain values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dbmetalayer/value.h"
#include "kernel/obj_ref.h"

namespace qd::embedded {

enum class column_origin { system, inherited, own };

struct column_description {
  std::u16string name;
  column_type type = column_type::string;
  bool nullable = true;
  column_origin origin = column_origin::own;
  std::u16string referenced_class;  // Full name; empty unless a reference.
  std::u16string lookup_column;     // See column_definition; empty: none.
  QD_OBJ_REF reference;             // The column's catalogue record.
};

struct index_description {
  struct column {
    std::size_t number;  // Position in class_description::columns.
    bool ascending;
  };
  std::u16string name;
  std::u16string class_name;  // The class that defines it: this one or a base.
  // Of a base: the index holds objects of the described class among others of the base.
  bool inherited = false;
  std::vector<column> columns;
  bool unique = false;
  bool extent = false;
  std::uint64_t kernel_id = 0;  // For vela_context_create_iterator.
  QD_OBJ_REF reference;         // The index's catalogue record.
};

struct class_description {
  std::u16string name;
  std::u16string base;  // Full name; empty for a class that derives from none of the user's.
  bool of_catalogue = false;
  std::uint16_t layout = 0;  // The id through which its columns are read.
  QD_OBJ_REF reference;      // The class's catalogue record.
  // Each at the position of its number, as getters take it: three system columns first, then the
  // outermost base's, the class's own last.
  std::vector<column_description> columns;
  // Its own in the order of their definition, its extent first; then those of its bases, nearest
  // base first, without their extents.
  std::vector<index_description> indexes;
  std::vector<std::u16string> derived;  // Full names of the classes that derive from it directly.
};

}  // namespace qd::embedded
