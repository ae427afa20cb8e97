// The objects of a database as vectors of values, beside what plans call its tables, columns and
// indexes by.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "meta_data/meta_data.h"
#include "support/reference/value.h"

namespace reference {

struct column {
  std::u16string name;
  kind of;
  QD_OBJ_REF record;               // The column's record in the catalogue.
  std::u16string referenced = {};  // The class that a reference column refers to.
};

struct class_of_objects {
  std::u16string name;
  std::u16string base;  // Empty: none.
  QD_OBJ_REF record;
  std::u16string specifier;
  std::vector<column> columns;  // Own reference, set specifier, class, the base's, its own.
};

struct index_column {
  std::size_t column;  // Its position in the class.
  bool ascending;
};

struct index {
  std::u16string name;
  std::u16string class_name;
  QD_OBJ_REF record;
  std::vector<index_column> columns;
};

struct stored_object {
  unsigned long oid;
  std::u16string class_name;
  row columns;  // One value per column of its class.
};

struct database {
  std::vector<class_of_objects> classes;  // Bases before those derived from them.
  std::vector<index> indexes;
  std::vector<stored_object> objects;  // In the order of their oids.

  class_of_objects const& class_named(std::u16string const& name) const;
  bool is_or_derives_from(std::u16string const& name, std::u16string const& base) const;
  // Null when there is none.
  stored_object const* find_object(unsigned long oid) const;
  // Throws failure "exception: no such class".
  std::u16string specifier_of(std::u16string const& class_name) const;
  index const& index_of(meta_data::Index const& handle) const;
  class_of_objects const& class_of(meta_data::Table const& handle) const;
  // The column's position in its class.
  std::size_t position_of(meta_data::Column const& handle) const;
};

}  // namespace reference
