#include "dbmetalayer/catalogue_writer.h"

#include <algorithm>

#include "dbmetalayer/catalogue.h"
#include "dbmetalayer/catalogue_key.h"
#include "dbmetalayer/catalogue_reader.h"
#include "dbmetalayer/class_info.h"
#include "dbmetalayer/names.h"
#include "dbmetalayer/record_builder.h"
#include "dbmetalayer/row_encoder.h"
#include "dbmetalayer/unique_key.h"

namespace qd::embedded {
namespace {

// What the kernel stores in one layout at most; column indexes are signed 16-bit numbers besides.
constexpr std::size_t most_columns = 4096;

[[noreturn]] void refuse_definition(std::string const& text) {
  throw error(error_kind::bad_definition, text);
}

std::string class_text(std::u16string_view name) {
  return "class " + to_utf8(name);
}
std::string index_text(std::u16string_view name) {
  return "index " + to_utf8(name);
}

// Parts that are not empty, between dots.
void check_dotted_name(std::u16string_view name, std::string const& shown) {
  if (name.find(u'\0') != std::u16string_view::npos)
    refuse_definition(shown + ": a name has no zero units");
  std::vector<std::u16string_view> const parts = split_name(name);
  if (std::any_of(parts.begin(), parts.end(), [](auto part) { return part.empty(); })) {
    refuse_definition(shown + ": a part of the name is empty");
  }
  if (parts.front() == catalogue::name_space) {
    refuse_definition(shown + ": names in " + to_utf8(catalogue::name_space) +
                      " are the catalogue's own");
  }
}

void check_column_name(std::u16string_view name, std::string const& shown) {
  if (name.empty()) refuse_definition(shown + ": a column's name is empty");
  if (name.find(u'\0') != std::u16string_view::npos ||
      name.find(u'.') != std::u16string_view::npos) {
    refuse_definition(shown + ": a column's name has neither dots nor zero units");
  }
  if (name.front() == u'$') {
    refuse_definition(shown + ": names that begin with $ are the system columns'");
  }
}

QD_OBJ_REF existing_table(unsigned long context, std::u16string_view name) {
  std::optional<QD_OBJ_REF> const table = find_table(context, name);
  if (!table) throw error(error_kind::unknown_name, "there is no " + class_text(name));
  return *table;
}

QD_OBJ_REF users_table(unsigned long context, std::u16string_view name) {
  QD_OBJ_REF const table = existing_table(context, name);
  if (read_bool(context, table, catalogue::table::of_catalogue)) {
    refuse_definition(class_text(name) + " is the catalogue's own");
  }
  return table;
}

std::uint16_t layout_of_table(unsigned long context, QD_OBJ_REF const& table) {
  return static_cast<std::uint16_t>(read_number(context, table, catalogue::table::layout));
}

std::u16string decimal_digits(std::uint64_t number) {
  std::string const digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

// The kind by which the kernel indexes a column.
coredb::column_kind indexed_kind(class_info const& of_class, std::size_t position) {
  return position == coredb::set_specifier_column ? coredb::column_kind::set_specifier
                                                  : kind_of(of_class.columns[position].type);
}

}  // namespace

void catalogue_writer::define_classes(std::span<class_definition const> definitions) {
  std::vector<new_class> planned;
  for (class_definition const& definition : definitions) {
    new_class plan = plan_class(definition, planned);
    planned.push_back(std::move(plan));
  }
  for (new_class const& each : planned) check_references(each, planned);
  // Every table stands before the columns that refer to it.
  for (std::size_t i = 0; i < planned.size(); ++i) {
    create_layout(planned[i], std::span(planned).first(i));
    insert_table(planned[i]);
  }
  for (new_class const& each : planned) {
    insert_columns(each);
    create_extent(each, 0);
  }
}

catalogue_writer::new_class catalogue_writer::plan_class(class_definition const& definition,
                                                         std::span<new_class const> earlier) {
  std::string const shown = class_text(definition.name);
  check_dotted_name(definition.name, shown);
  if (find_table(context(), definition.name) ||
      find_named(earlier, definition.name) != earlier.end()) {
    refuse_definition(shown + " exists already");
  }
  std::u16string const extent = definition.name + std::u16string(catalogue::extent_suffix);
  if (find_index(context(), extent)) {
    refuse_definition(shown + ": its extent's name is taken, " + index_text(extent) + " exists");
  }
  new_class plan;
  plan.name = definition.name;
  plan.base = definition.base.empty() ? std::u16string(catalogue::root_class) : definition.base;
  plan.own = definition.columns;
  if (auto const base = find_named(earlier, plan.base); base != earlier.end()) {
    plan.inherited = base->inherited;
    plan.inherited.insert(plan.inherited.end(), base->own.begin(), base->own.end());
  } else if (!definition.base.empty()) {
    QD_OBJ_REF const table = users_table(context(), plan.base);
    class_info const info = read_class(context(), table);
    for (column_info const& column : std::span(info.columns).subspan(system_columns)) {
      plan.inherited.push_back({column.name, column.type, column.nullable, column.referenced_class,
                                column.lookup_column});
    }
  }
  for (auto column = plan.own.begin(); column != plan.own.end(); ++column) {
    std::string const column_shown = shown + ", column " + to_utf8(column->name);
    check_column_name(column->name, column_shown);
    std::span const before(plan.own.begin(), column);
    if (find_named(before, column->name) != before.end() ||
        find_named(plan.inherited, column->name) != plan.inherited.end()) {
      refuse_definition(column_shown + ": the class has a column of this name already");
    }
    kind_of(column->type);  // Refuses a number that is no type.
    if ((column->type == column_type::reference) == column->referenced_class.empty()) {
      refuse_definition(column_shown +
                        ": a reference column names the class that it refers to, "
                        "other columns do not");
    }
    if (column->type != column_type::reference && !column->lookup_column.empty()) {
      refuse_definition(column_shown + ": only a reference column names a column to look up");
    }
  }
  if (system_columns + plan.inherited.size() + plan.own.size() > most_columns) {
    refuse_definition(shown + ": a class has at most " + std::to_string(most_columns) + " columns");
  }
  return plan;
}

void catalogue_writer::check_references(new_class const& planned,
                                        std::span<new_class const> all) const {
  for (column_definition const& column : planned.own) {
    if (column.type != column_type::reference) continue;
    std::string const shown = class_text(planned.name) + ", column " + to_utf8(column.name);
    auto const is_lookup_column = [&](auto const& columns) {
      return column.lookup_column.empty() ||
             find_named(columns, column.lookup_column) != columns.end();
    };
    bool has_lookup_column = false;
    if (auto const found = find_named(all, column.referenced_class); found != all.end()) {
      has_lookup_column = is_lookup_column(found->inherited) || is_lookup_column(found->own);
    } else if (auto const table = find_table(context(), column.referenced_class)) {
      has_lookup_column = is_lookup_column(read_class(context(), *table).columns);
    } else {
      throw error(error_kind::unknown_name,
                  shown + ": there is no " + class_text(column.referenced_class));
    }
    if (!has_lookup_column) {
      throw error(error_kind::unknown_name, shown + ": " + class_text(column.referenced_class) +
                                                " has no column " + to_utf8(column.lookup_column));
    }
  }
}

void catalogue_writer::create_layout(new_class& planned, std::span<new_class const> earlier) {
  std::uint16_t base_layout = 0;
  if (auto const base = find_named(earlier, planned.base); base != earlier.end()) {
    planned.base_record = base->record;
    base_layout = base->layout;
  } else {
    QD_OBJ_REF const table = existing_table(context(), planned.base);
    planned.base_record = table.oid;
    base_layout = layout_of_table(context(), table);
  }
  planned.record = core_.reserve_oids(catalogue::table_layout, 1);
  // Ids are never used twice and the point ends them, so that no sibling's specifier begins with
  // another's.
  planned.set_specifier = core_.schema().find_layout(base_layout)->definition.set_specifier +
                          decimal_digits(planned.record) + u'.';
  coredb::layout_definition layout;
  layout.base = base_layout;
  layout.class_oid = planned.record;
  layout.set_specifier = planned.set_specifier;
  for (column_definition const& column : planned.own)
    layout.columns.push_back(kind_of(column.type));
  planned.layout = core_.create_layout(layout);
}

void catalogue_writer::insert_table(new_class const& planned) {
  record_builder table;
  table.number(static_cast<std::uint64_t>(column_type::reference))
      .text(split_name(planned.name).back())
      .reference(planned.base_record)
      .text(planned.name)
      .text(reverse_name(planned.name))
      .truth(planned.of_catalogue)
      .number(planned.layout);
  core_.insert_reserved(planned.record, table.fields());
  record_builder specifier;
  specifier.text(planned.set_specifier).reference(planned.record);
  core_.insert(catalogue::set_specifier_layout, specifier.fields());
}

void catalogue_writer::insert_columns(new_class const& planned) {
  std::uint64_t const table_of_tables =
      core_.schema().find_layout(catalogue::table_layout)->definition.class_oid;
  column_definition const own_reference{
      std::u16string(own_reference_name), column_type::reference, false, {}};
  column_definition const set_specifier{
      std::u16string(set_specifier_name), column_type::string, false, {}};
  column_definition const class_reference{
      std::u16string(class_reference_name), column_type::reference, false, {}};
  insert_column(planned, coredb::own_reference_column, own_reference, planned.record);
  insert_column(planned, coredb::set_specifier_column, set_specifier, type_record(set_specifier));
  insert_column(planned, coredb::class_reference_column, class_reference, table_of_tables);
  std::size_t position = system_columns;
  for (auto const* columns : {&planned.inherited, &planned.own}) {
    for (column_definition const& column : *columns) {
      insert_column(planned, position++, column, type_record(column));
    }
  }
}

void catalogue_writer::insert_column(new_class const& planned, std::size_t position,
                                     column_definition const& definition, std::uint64_t type) {
  record_builder column;
  column.reference(planned.record)
      .text(planned.name + u'.' + definition.name)
      .reference(type)
      .text(definition.name)
      .truth(definition.nullable)
      .number(static_cast<std::uint64_t>(definition.type))
      .signed_number(static_cast<std::int64_t>(position))
      .optional_text(definition.lookup_column);
  core_.insert(catalogue::column_layout, column.fields());
}

std::uint64_t catalogue_writer::type_record(column_definition const& definition) {
  if (definition.type == column_type::reference) {
    return existing_table(context(), definition.referenced_class).oid;
  }
  if (primitive_types_.empty()) {
    for (QD_OBJ_REF const& type : read_range(
             context(), catalogue::extent_of(catalogue::type_layout), catalogue_key().null().end(),
             catalogue_key().number(~std::uint64_t{0}).end())) {
      std::uint64_t const code = read_number(context(), type, catalogue::type::primitive_code);
      primitive_types_.emplace(code, type.oid);
    }
  }
  return primitive_types_.at(static_cast<std::uint64_t>(definition.type));
}

void catalogue_writer::insert_index(std::u16string_view name, std::uint64_t table,
                                    std::uint64_t kernel_id, bool unique, bool extent,
                                    std::span<index_column const> columns) {
  record_builder index;
  index.text(name).reference(table).truth(unique).number(kernel_id).truth(extent);
  std::uint64_t const record = core_.insert(catalogue::index_layout, index.fields());
  QD_OBJ_REF const table_record{table, 0};
  std::uint64_t position = 0;
  for (index_column const& column : columns) {
    record_builder index_column;
    index_column.reference(record)
        .reference(find_column(context(), table_record, column.name)->oid)
        .number(position++)
        .truth(column.ascending);
    core_.insert(catalogue::index_column_layout, index_column.fields());
  }
}

void catalogue_writer::create_extent(new_class const& planned, std::uint64_t kernel_id) {
  coredb::index_definition extent;
  extent.id = kernel_id;
  extent.layout = planned.layout;
  extent.columns = {{coredb::own_reference_column, coredb::column_kind::reference, true}};
  extent.extent = true;
  std::uint64_t const id = core_.create_index(extent);
  index_column const own_reference{std::u16string(own_reference_name)};
  insert_index(planned.name + std::u16string(catalogue::extent_suffix), planned.record, id, true,
               true, {&own_reference, 1});
}

void catalogue_writer::define_index(index_definition const& definition) {
  std::string const shown = index_text(definition.name);
  check_dotted_name(definition.name, shown);
  if (find_index(context(), definition.name)) refuse_definition(shown + " exists already");
  QD_OBJ_REF const table = users_table(context(), definition.class_name);
  class_info const info = read_class(context(), table);
  if (definition.columns.empty()) {
    refuse_definition(shown + " on " + class_text(info.name) + " has no columns");
  }
  coredb::index_definition index;
  index.layout = info.layout;
  index.unique = definition.unique;
  for (index_column const& column : definition.columns) {
    std::size_t const position = position_of(info, column.name);
    auto const same = [&](auto const& each) { return each.column == position; };
    if (std::any_of(index.columns.begin(), index.columns.end(), same)) {
      refuse_definition(shown + " on " + class_text(info.name) + ", column " +
                        to_utf8(column.name) + ": the column stands in the index already");
    }
    index.columns.push_back(
        {static_cast<std::uint16_t>(position), indexed_kind(info, position), column.ascending});
  }
  std::uint64_t id = 0;
  try {
    id = core_.create_index(index);
  } catch (coredb::unique_violation const& violation) {
    throw error(error_kind::duplicate, duplicate_text(context(), info, definition.name,
                                                      index.columns, violation.existing_oid));
  }
  insert_index(definition.name, table.oid, id, definition.unique, false, definition.columns);
}

void catalogue_writer::drop_class(std::u16string_view class_name) {
  QD_OBJ_REF const table = users_table(context(), class_name);
  std::vector<QD_OBJ_REF> const derived =
      read_equal(context(), catalogue::table_by_base, table.oid);
  if (!derived.empty()) {
    std::u16string const name = read_text(context(), derived.front(), catalogue::table::full_name);
    refuse_definition(class_text(class_name) + " cannot be dropped: " + class_text(name) +
                      " derives from it");
  }
  for (QD_OBJ_REF const& column : read_equal(context(), catalogue::column_by_type, table.oid)) {
    if (read_reference(context(), column, catalogue::column::owner) == table) continue;
    refuse_definition(class_text(class_name) + " cannot be dropped: column " +
                      to_utf8(read_text(context(), column, catalogue::column::full_name)) +
                      " refers to it");
  }
  core_.drop_layout(layout_of_table(context(), table));
  for (QD_OBJ_REF const& index : read_equal(context(), catalogue::index_by_table, table.oid)) {
    erase_index(index);
  }
  for (QD_OBJ_REF const& column : read_equal(context(), catalogue::column_by_member, table.oid)) {
    core_.erase(column.oid);
  }
  for (QD_OBJ_REF const& specifier :
       read_equal(context(), catalogue::set_specifier_by_type, table.oid)) {
    core_.erase(specifier.oid);
  }
  core_.erase(table.oid);
}

void catalogue_writer::drop_index(std::u16string_view index_name) {
  std::optional<QD_OBJ_REF> const index = find_index(context(), index_name);
  if (!index) throw error(error_kind::unknown_name, "there is no " + index_text(index_name));
  if (read_bool(context(), *index, catalogue::index::extent)) {
    refuse_definition(index_text(index_name) + " is the extent of a class and stays with it");
  }
  if (split_name(index_name).front() == catalogue::name_space) {
    refuse_definition(index_text(index_name) + " is the catalogue's own");
  }
  core_.drop_index(read_number(context(), *index, catalogue::index::kernel_id));
  erase_index(*index);
}

void catalogue_writer::erase_index(QD_OBJ_REF const& record) {
  for (QD_OBJ_REF const& column :
       read_equal(context(), catalogue::index_column_by_place, record.oid)) {
    core_.erase(column.oid);
  }
  core_.erase(record.oid);
}

}  // namespace qd::embedded
