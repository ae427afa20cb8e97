#include "sql/catalogue/catalogue.h"

#include "db_string/string_encoder.h"

namespace qd::sql {

namespace {

// The second system column holds set specifiers, which no type of stored columns stands for.
constexpr std::size_t set_specifier_number = 1;

column_info describe(embedded::column_description const& column, std::size_t number) {
  bool const system = column.origin == embedded::column_origin::system;
  return {.name = encoder::utf16_to_utf8(column.name),
          .column = meta_data::Column{column.reference},
          .kind = system && number == set_specifier_number ? algebra::kind::set_specifier
                                                           : kind_of_type(column.type),
          .type = column.type,
          .nullable = column.nullable,
          .system = system,
          .referenced_class = column.referenced_class,
          .lookup_column = encoder::utf16_to_utf8(column.lookup_column)};
}

index_info describe(embedded::index_description const& index) {
  index_info result{.name = index.name,
                    .index = meta_data::Index{index.reference},
                    .columns = {},
                    .unique = index.unique,
                    .extent = index.extent};
  for (embedded::index_description::column const& column : index.columns) {
    result.columns.push_back({column.number, column.ascending});
  }
  return result;
}

std::unique_ptr<table_info> describe(embedded::class_description const& described) {
  auto table =
      std::make_unique<table_info>(table_info{.name = encoder::utf16_to_utf8(described.name),
                                              .class_name = described.name,
                                              .base = encoder::utf16_to_utf8(described.base),
                                              .table = meta_data::Table(described.reference),
                                              .columns = {},
                                              .indexes = {}});
  for (std::size_t number = 0; number < described.columns.size(); ++number) {
    table->columns.push_back(describe(described.columns[number], number));
  }
  for (embedded::index_description const& index : described.indexes) {
    if (!index.inherited && !index.extent) table->indexes.push_back(describe(index));
  }
  for (embedded::index_description const& index : described.indexes) {
    if (!index.inherited && index.extent) table->indexes.push_back(describe(index));
  }
  return table;
}

}  // namespace

table_info const* catalogue::find(embedded::read_context const& context,
                                  syntax::object_name const& name) {
  return find(context, class_name_of(name));
}

table_info const* catalogue::find(embedded::read_context const& context,
                                  std::u16string const& class_name) {
  auto const known = tables_.find(class_name);
  if (known != tables_.end()) return known->second.get();
  if (!context.has_class(class_name)) return nullptr;
  std::shared_ptr<embedded::class_description const> const described =
      context.describe_class(class_name);
  if (described->of_catalogue) return nullptr;
  table_info const* const table =
      tables_.emplace(class_name, describe(*described)).first->second.get();
  by_handle_.emplace(table->table, table);
  return table;
}

table_info const* catalogue::find(embedded::read_context const& context,
                                  meta_data::Table const& table) {
  auto const known = by_handle_.find(table);
  return known != by_handle_.end() ? known->second : find(context, table.FullName());
}

algebra::kind kind_of_type(embedded::column_type type) {
  switch (type) {
    case embedded::column_type::string:
      return algebra::kind::text;
    case embedded::column_type::binary:
      return algebra::kind::binary;
    case embedded::column_type::signed_integer:
      return algebra::kind::signed_integer;
    case embedded::column_type::unsigned_integer:
      return algebra::kind::unsigned_integer;
    case embedded::column_type::decimal:
      return algebra::kind::decimal;
    case embedded::column_type::single_float:
      return algebra::kind::single_float;
    case embedded::column_type::double_float:
      return algebra::kind::double_float;
    case embedded::column_type::reference:
      return algebra::kind::reference;
    case embedded::column_type::boolean:
      return algebra::kind::boolean;
  }
  return algebra::kind::null;
}

std::u16string class_name_of(syntax::object_name const& name) {
  std::string dotted;
  for (std::string const& part : name.parts) {
    if (!dotted.empty()) dotted += '.';
    dotted += part;
  }
  return encoder::utf8_to_utf16(dotted);
}

}  // namespace qd::sql
