// The catalogue of a new database: its own classes, indexes and primitive types.
#include "dbmetalayer/catalogue.h"
#include "dbmetalayer/catalogue_reader.h"
#include "dbmetalayer/catalogue_writer.h"
#include "dbmetalayer/class_info.h"
#include "dbmetalayer/record_builder.h"
#include "dbmetalayer/row_encoder.h"

namespace qd::embedded {

void catalogue_writer::insert_name_token(std::uint64_t number, std::u16string_view text) {
  record_builder token;
  token.number(number).text(text);
  core_.insert(catalogue::name_token_layout, token.fields());
}

void catalogue_writer::create_catalogue() {
  struct own_class {
    catalogue::layout_id layout;
    catalogue::layout_id base;  // The class's own layout for the root.
    char16_t const* name;
    char16_t const* specifier;
    std::vector<column_definition> columns;
  };
  using enum column_type;
  std::u16string const table = u"catalogue.Table";
  own_class const classes[] = {
      {catalogue::object_layout, catalogue::object_layout, u"Object", u"object.", {}},
      {catalogue::type_layout,
       catalogue::object_layout,
       u"Type",
       u"type.",
       {{u"primitive_code", unsigned_integer, false}, {u"short_name", string, false}}},
      {catalogue::table_layout,
       catalogue::type_layout,
       u"Table",
       u"table.",
       {{u"base", reference, true, table},
        {u"full_name", string, false},
        {u"reverse_name", string, false},
        {u"of_catalogue", boolean, false},
        {u"layout", unsigned_integer, false}}},
      {catalogue::column_layout,
       catalogue::object_layout,
       u"Column",
       u"column.",
       {{u"table", reference, false, table},
        {u"full_name", string, false},
        {u"type", reference, false, u"catalogue.Type"},
        {u"name", string, false},
        {u"nullable", boolean, false},
        {u"primitive_code", unsigned_integer, false},
        {u"column_index", signed_integer, false},
        {u"lookup_column", string}}},
      {catalogue::index_layout,
       catalogue::object_layout,
       u"Index",
       u"index.",
       {{u"full_name", string, false},
        {u"table", reference, false, table},
        {u"unique", boolean, false},
        {u"kernel_id", unsigned_integer, false},
        {u"extent", boolean, false}}},
      {catalogue::index_column_layout,
       catalogue::object_layout,
       u"IndexColumn",
       u"index_column.",
       {{u"index", reference, false, u"catalogue.Index"},
        {u"column", reference, false, u"catalogue.Column"},
        {u"position", unsigned_integer, false},
        {u"ascending", boolean, false}}},
      {catalogue::set_specifier_layout,
       catalogue::object_layout,
       u"SetSpecifier",
       u"set_specifier.",
       {{u"text", string, false}, {u"type", reference, false, table}}},
      {catalogue::name_token_layout,
       catalogue::object_layout,
       u"NameToken",
       u"name_token.",
       {{u"number", unsigned_integer, false}, {u"text", string, false}}},
  };
  struct own_index {
    catalogue::index_id id;
    catalogue::layout_id layout;
    char16_t const* name;
    bool unique;
    std::vector<unsigned> columns;
  };
  own_index const indexes[] = {
      {catalogue::table_by_full_name,
       catalogue::table_layout,
       u"Table.by_full_name",
       true,
       {catalogue::table::full_name}},
      {catalogue::table_by_reverse_name,
       catalogue::table_layout,
       u"Table.by_reverse_name",
       false,
       {catalogue::table::reverse_name}},
      {catalogue::table_by_base,
       catalogue::table_layout,
       u"Table.by_base",
       false,
       {catalogue::table::base}},
      {catalogue::column_by_member,
       catalogue::column_layout,
       u"Column.by_member",
       true,
       {catalogue::column::owner, catalogue::column::name}},
      {catalogue::column_by_type,
       catalogue::column_layout,
       u"Column.by_type",
       false,
       {catalogue::column::type}},
      {catalogue::index_by_table,
       catalogue::index_layout,
       u"Index.by_table",
       false,
       {catalogue::index::table}},
      {catalogue::index_by_full_name,
       catalogue::index_layout,
       u"Index.by_full_name",
       true,
       {catalogue::index::full_name}},
      {catalogue::index_column_by_place,
       catalogue::index_column_layout,
       u"IndexColumn.by_place",
       true,
       {catalogue::index_column::index, catalogue::index_column::position}},
      {catalogue::set_specifier_by_type,
       catalogue::set_specifier_layout,
       u"SetSpecifier.by_type",
       false,
       {catalogue::set_specifier::type}},
      {catalogue::name_token_by_number,
       catalogue::name_token_layout,
       u"NameToken.by_number",
       true,
       {catalogue::name_token::number}},
  };
  std::u16string const prefix = std::u16string(catalogue::name_space) + u'.';

  // Layouts and indexes first: the records that describe them are stored through them.
  std::vector<new_class> planned;
  for (own_class const& each : classes) {
    new_class plan;
    plan.name = prefix + each.name;
    plan.layout = each.layout;
    plan.of_catalogue = true;
    plan.own = each.columns;
    plan.set_specifier = each.specifier;
    coredb::layout_definition layout;
    layout.id = each.layout;
    if (each.base != each.layout) {
      new_class const& base = planned[each.base - catalogue::object_layout];
      plan.base = base.name;
      plan.set_specifier = base.set_specifier + plan.set_specifier;
      plan.inherited = base.inherited;
      plan.inherited.insert(plan.inherited.end(), base.own.begin(), base.own.end());
      layout.base = each.base;
    }
    layout.set_specifier = plan.set_specifier;
    for (column_definition const& column : plan.own) layout.columns.push_back(kind_of(column.type));
    core_.create_layout(layout);
    planned.push_back(std::move(plan));
  }
  for (own_index const& each : indexes) {
    coredb::index_definition index;
    index.id = each.id;
    index.layout = each.layout;
    index.unique = each.unique;
    std::vector<coredb::column_kind> const& kinds = core_.schema().find_layout(each.layout)->kinds;
    for (unsigned const column : each.columns) {
      index.columns.push_back({static_cast<std::uint16_t>(column), kinds[column], true});
    }
    core_.create_index(index);
  }

  struct primitive_type {
    column_type type;
    char16_t const* name;
  };
  constexpr primitive_type primitives[] = {
      {string, u"string"},         {binary, u"binary"},
      {signed_integer, u"signed"}, {unsigned_integer, u"unsigned"},
      {decimal, u"decimal"},       {single_float, u"float"},
      {double_float, u"double"},   {boolean, u"bool"},
  };
  for (primitive_type const& primitive : primitives) {
    record_builder type;
    std::uint64_t const code = static_cast<std::uint64_t>(primitive.type);
    type.number(code).text(primitive.name);
    primitive_types_.emplace(code, core_.insert(catalogue::type_layout, type.fields()));
  }
  for (new_class& each : planned) {
    each.record = core_.reserve_oids(catalogue::table_layout, 1);
    if (!each.base.empty()) each.base_record = find_named(planned, each.base)->record;
    core_.set_class_oid(each.layout, each.record);
    insert_table(each);
  }
  for (new_class const& each : planned) {
    insert_columns(each);
    create_extent(each, catalogue::extent_of(static_cast<catalogue::layout_id>(each.layout)));
  }
  for (own_index const& each : indexes) {
    new_class const& of_class = planned[each.layout - catalogue::object_layout];
    class_info const info = read_class(context(), record_of(context(), of_class.record));
    std::vector<index_column> columns;
    for (unsigned const column : each.columns) columns.push_back({info.columns[column].name});
    insert_index(prefix + each.name, of_class.record, each.id, each.unique, false, columns);
  }
  insert_name_token(catalogue::global_index_token, std::u16string(catalogue::root_class) +
                                                       std::u16string(catalogue::extent_suffix));
}

}  // namespace qd::embedded
