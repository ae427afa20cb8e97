#include "sql/run/describe.h"

#include "sql/catalogue/catalogue.h"
#include "sql/run/texts.h"

namespace qd::sql {
namespace {

table_description::column describe(embedded::column_description const& column) {
  std::string references = to_utf8(column.referenced_class);
  if (!column.lookup_column.empty()) references += '(' + to_utf8(column.lookup_column) + ')';
  return {to_utf8(column.name), type_text(column), column.nullable,
          column.origin == embedded::column_origin::inherited, references};
}

table_description::index describe(embedded::read_context const& context,
                                  embedded::class_description const& of_class,
                                  embedded::index_description const& index) {
  std::string columns;
  for (auto const& column : index.columns) {
    columns += (columns.empty() ? "" : ", ") + to_utf8(of_class.columns[column.number].name);
    if (!column.ascending) columns += " DESC";
  }
  return {to_utf8(index.name), columns, index.unique, context.entry_count(index)};
}

}  // namespace

std::string type_text(embedded::column_description const& column) {
  if (column.type == embedded::column_type::reference) return to_utf8(column.referenced_class);
  return algebra::kind_name(kind_of_type(column.type));
}

std::vector<table_description> describe_tables(embedded::read_context const& context) {
  std::vector<table_description> tables;
  for (std::u16string const& name : context.class_names()) {
    auto const described = context.describe_class(name);
    table_description table;
    table.name = to_utf8(name);
    table.base = to_utf8(described->base);
    for (embedded::column_description const& column : described->columns) {
      if (column.origin != embedded::column_origin::system) {
        table.columns.push_back(describe(column));
      }
    }
    for (embedded::index_description const& index : described->indexes) {
      if (!index.extent) table.indexes.push_back(describe(context, *described, index));
    }
    table.rows = context.object_count(*described);
    tables.push_back(std::move(table));
  }
  return tables;
}

}  // namespace qd::sql
