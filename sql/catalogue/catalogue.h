// The tables that a statement can name, read once and kept while the schema stays the same.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "dbmetalayer/database.h"
#include "meta_data/meta_data.h"
#include "sql/algebra/expressions.h"
#include "sql/syntax/query.h"

namespace qd::sql {

struct column_info {
  std::string name;  // UTF-8.
  meta_data::Column column;
  algebra::kind kind;
  embedded::column_type type;  // Of a system column: what its kind says.
  bool nullable;
  bool system;                      // $self, $set_specifier, $class: not part of *.
  std::u16string referenced_class;  // Of a reference column; empty otherwise.
  std::string lookup_column;        // REFERENCES other(column): the column; empty without.
};

struct index_info {
  struct column {
    std::size_t number;  // Into table_info::columns.
    bool ascending;
  };
  std::u16string name;
  meta_data::Index index;
  std::vector<column> columns;
  bool unique;
  bool extent;  // The index by $self that every class has.
};

struct table_info {
  std::string name;           // UTF-8, as SQL writes it: dotted.
  std::u16string class_name;  // The class's full name.
  std::string base;           // The base's name; empty without one.
  meta_data::Table table;
  std::vector<column_info> columns;  // Position = the catalogue's column number; 0 to 2 are system.
  std::vector<index_info> indexes;   // Its own and inherited ones that serve it, the extent last.
                                     // (An index of a base holds the base's other objects too, so
                                     // only indexes of the class itself are listed.)
};

// One schema's tables. Filled while statements are bound, through the context that is bound to the
// calling thread; shared by everything that reads under the same schema.
class catalogue {
 public:
  // Reads through `context`, which the calling thread has bound.
  // The table that a dotted name denotes; null when there is none. Belongs to the catalogue.
  table_info const* find(embedded::read_context const& context, syntax::object_name const& name);
  table_info const* find(embedded::read_context const& context, std::u16string const& class_name);
  table_info const* find(embedded::read_context const& context, meta_data::Table const& table);

 private:
  std::map<std::u16string, std::unique_ptr<table_info>> tables_;
  std::map<meta_data::Table, table_info const*> by_handle_;  // The same tables.
};

// The kind of a column's values.
algebra::kind kind_of_type(embedded::column_type type);

// The class name that a dotted SQL name stands for.
std::u16string class_name_of(syntax::object_name const& name);

}  // namespace qd::sql
