#include "dbmetalayer/unique_key.h"

#include "coredb/field.h"
#include "dbmetalayer/catalogue.h"
#include "dbmetalayer/catalogue_reader.h"
#include "dbmetalayer/class_info.h"
#include "dbmetalayer/names.h"
#include "kernel/vela.h"

namespace qd::embedded {
namespace {

// A column of an object as messages show it.
std::string column_text(unsigned long context, QD_OBJ_REF const& object, std::size_t position,
                        column_type type) {
  auto const column = static_cast<unsigned>(position);
  auto const read = [&](auto getter, auto content, auto show) {
    unsigned int const status = getter(context, object.oid, object.address, column, &content);
    return status == 0 ? to_string(show(content)) : std::string("NULL");
  };
  auto const same = [](auto const& content) { return value(content); };
  if (position == coredb::set_specifier_column) {
    VELA_UCS2 const* text = nullptr;
    unsigned int const status =
        vela_context_get_setspec(context, object.oid, object.address, &text);
    return status == 0 ? to_string(value(std::u16string_view(text->units, text->count))) : "NULL";
  }
  switch (type) {
    case column_type::string:
      return read(vela_context_get_string, static_cast<VELA_UCS2 const*>(nullptr),
                  [](VELA_UCS2 const* text) {
                    return value(std::u16string_view(text->units, text->count));
                  });
    case column_type::binary:
      return read(vela_context_get_binary, VELA_VALUE{}, [](VELA_VALUE const& bytes) {
        return value(binary_view(bytes.data, bytes.size));
      });
    case column_type::signed_integer:
      return read(vela_context_get_long, 0L, same);
    case column_type::unsigned_integer:
      return read(vela_context_get_ulong, 0UL, same);
    case column_type::decimal:
      return read(vela_context_get_decimal, 0L, [](long scaled) { return value(decimal{scaled}); });
    case column_type::single_float:
      return read(vela_context_get_float, 0.0f, same);
    case column_type::double_float:
      return read(vela_context_get_double, 0.0, same);
    case column_type::reference:
      return read(vela_context_get_reference, VELA_RECORD{},
                  [](VELA_RECORD const& target) { return value(object_id{target.oid}); });
    case column_type::boolean:
      return read(vela_meta_get_bool, 0UL, [](unsigned long truth) { return value(truth != 0); });
  }
  return "NULL";
}

// The record of an index by its kernel id, among those of a class.
QD_OBJ_REF index_record(unsigned long context, std::uint64_t table, std::uint64_t kernel_id) {
  for (QD_OBJ_REF const& record : read_equal(context, catalogue::index_by_table, table)) {
    if (read_number(context, record, catalogue::index::kernel_id) == kernel_id) return record;
  }
  throw error(error_kind::storage, "a unique index is missing from the catalogue");
}

}  // namespace

std::string duplicate_text(unsigned long context, class_info const& of_class,
                           std::u16string_view index_name,
                           std::span<coredb::index_column_definition const> columns,
                           std::uint64_t object) {
  QD_OBJ_REF const record = record_of(context, object);
  std::string names;
  std::string values;
  for (coredb::index_column_definition const& each : columns) {
    column_info const& column = of_class.columns[each.column];
    names += (names.empty() ? "" : ", ") + to_utf8(column.name);
    values += (values.empty() ? "" : ", ") + column_text(context, record, each.column, column.type);
  }
  return "class " + to_utf8(of_class.name) + ", column " + names + ", value " + values +
         ": object " + std::to_string(object) + " has this key already in unique index " +
         to_utf8(index_name);
}

duplicate_texts::result duplicate_texts::describe(std::uint64_t index_id, std::uint64_t object) {
  coredb::index const& index = *schema_.find_index(index_id);
  auto known = known_.find(index_id);
  if (known == known_.end()) {
    std::uint64_t const table = schema_.find_layout(index.definition.layout)->definition.class_oid;
    QD_OBJ_REF const record = index_record(context_, table, index_id);
    known =
        known_
            .emplace(index_id, known_index{read_text(context_, record, catalogue::index::full_name),
                                           read_class(context_, record_of(context_, table))})
            .first;
  }
  auto const& [name, of_class] = known->second;
  return {name, duplicate_text(context_, of_class, name, index.definition.columns, object)};
}

}  // namespace qd::embedded
