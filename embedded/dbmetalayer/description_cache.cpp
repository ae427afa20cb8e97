#include "dbmetalayer/description_cache.h"

#include "dbmetalayer/catalogue.h"
#include "dbmetalayer/catalogue_reader.h"
#include "dbmetalayer/class_info.h"
#include "dbmetalayer/error.h"
#include "dbmetalayer/names.h"

namespace qd::embedded {
namespace {

std::vector<column_description> describe_columns(class_info const& info,
                                                 std::size_t inherited_count) {
  std::vector<column_description> columns;
  for (column_info const& each : info.columns) {
    column_description column;
    column.name = each.name;
    column.type = each.type;
    column.nullable = each.nullable;
    std::size_t const number = columns.size();
    column.origin = number < system_columns    ? column_origin::system
                    : number < inherited_count ? column_origin::inherited
                                               : column_origin::own;
    column.referenced_class = each.referenced_class;
    column.lookup_column = each.lookup_column;
    column.reference = each.record;
    columns.push_back(std::move(column));
  }
  return columns;
}

index_description describe_index(unsigned long context, QD_OBJ_REF const& record) {
  index_description index;
  index.name = read_text(context, record, catalogue::index::full_name);
  index.unique = read_bool(context, record, catalogue::index::unique);
  index.extent = read_bool(context, record, catalogue::index::extent);
  index.kernel_id = read_number(context, record, catalogue::index::kernel_id);
  index.reference = record;
  for (QD_OBJ_REF const& each : read_equal(context, catalogue::index_column_by_place, record.oid)) {
    // A base's columns have the same numbers in every class that derives from it.
    QD_OBJ_REF const column = read_reference(context, each, catalogue::index_column::column);
    auto const number =
        static_cast<std::size_t>(read_signed(context, column, catalogue::column::index));
    index.columns.push_back({number, read_bool(context, each, catalogue::index_column::ascending)});
  }
  return index;
}

QD_OBJ_REF base_of(unsigned long context, QD_OBJ_REF const& table) {
  return read_reference(context, table, catalogue::table::base);
}

void add_indexes(unsigned long context, QD_OBJ_REF const& table, bool inherited,
                 std::vector<index_description>& indexes) {
  std::u16string const name = read_text(context, table, catalogue::table::full_name);
  for (QD_OBJ_REF const& record : read_equal(context, catalogue::index_by_table, table.oid)) {
    index_description index = describe_index(context, record);
    if (inherited && index.extent) continue;
    index.class_name = name;
    index.inherited = inherited;
    indexes.push_back(std::move(index));
  }
}

class_description describe(unsigned long context, QD_OBJ_REF const& table) {
  class_info const info = read_class(context, table);
  class_description result;
  result.name = info.name;
  result.of_catalogue = info.of_catalogue;
  result.layout = info.layout;
  result.reference = table;
  std::size_t inherited_count = system_columns;
  QD_OBJ_REF base = base_of(context, table);
  if (base.oid != 0) {
    if (info.of_catalogue || !read_bool(context, base, catalogue::table::of_catalogue)) {
      result.base = read_text(context, base, catalogue::table::full_name);
    }
    inherited_count = columns_of_table(context, base).size();
  }
  result.columns = describe_columns(info, inherited_count);
  add_indexes(context, table, false, result.indexes);
  for (; base.oid != 0; base = base_of(context, base)) {
    add_indexes(context, base, true, result.indexes);
  }
  for (QD_OBJ_REF const& derived : read_equal(context, catalogue::table_by_base, table.oid)) {
    result.derived.push_back(read_text(context, derived, catalogue::table::full_name));
  }
  return result;
}

}  // namespace

std::shared_ptr<class_description const> description_cache::find(unsigned long context,
                                                                 std::u16string_view name) {
  {
    std::lock_guard const lock(mutex_);
    auto const known = by_name_.find(name);
    if (known != by_name_.end()) return known->second;
  }
  auto const table = find_table(context, name);
  if (!table) throw error(error_kind::unknown_name, "there is no class " + to_utf8(name));
  return remember(std::make_shared<class_description const>(describe(context, *table)));
}

std::shared_ptr<class_description const> description_cache::find(unsigned long context,
                                                                 QD_OBJ_REF const& record) {
  {
    std::lock_guard const lock(mutex_);
    auto const known = by_record_.find(record.oid);
    if (known != by_record_.end()) return known->second;
  }
  QD_OBJ_REF const table = record_of(context, record.oid);
  if (table.oid == 0 || static_cast<std::uint16_t>(table.address) != catalogue::table_layout) {
    throw error(error_kind::unknown_object,
                "object " + std::to_string(record.oid) + " is no class of the catalogue");
  }
  return remember(std::make_shared<class_description const>(describe(context, table)));
}

description_cache::description description_cache::remember(description&& read) {
  std::lock_guard const lock(mutex_);
  by_record_.emplace(read->reference.oid, read);
  return by_name_.emplace(read->name, read).first->second;
}

}  // namespace qd::embedded
