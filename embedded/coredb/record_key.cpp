#include "coredb/record_key.h"

#include <bit>

#include "coredb/context.h"

namespace qd::coredb {
namespace {

constexpr unsigned char cut_mark = 0x80;

[[noreturn]] void damaged(std::string const& what) {
  throw error(error_kind::storage, what + " is damaged");
}

field read_system_field(record_view const& record, unsigned int column) {
  switch (column) {
    case own_reference_column:
      return field::of_reference(record.oid);
    case set_specifier_column:
      return {column_kind::set_specifier, false, 0, record.layout->set_specifier_densetext};
    default:
      break;
  }
  field class_reference = field::of_reference(record.layout->definition.class_oid);
  class_reference.null = class_reference.word == 0;
  return class_reference;
}

}  // namespace

field read_field(record_view const& record, unsigned int column,
                 store_transaction const& transaction) {
  if (column < system_column_count) return read_system_field(record, column);
  unsigned int const stored = column - system_column_count;
  column_kind const kind = record.layout->kinds[column];
  if (record.is_null(stored)) return field::of_null(kind);
  std::uint64_t const word = record.slot(stored);
  if (!has_bytes(kind)) return {kind, false, word, {}};
  heap_place const place = place_of(word);
  if (place.is_long()) {
    std::optional<byte_view> const bytes =
        transaction.get(keyspace::long_values, long_value_key(record.oid, column).view());
    if (!bytes || bytes->size() != place.size) {
      damaged("column " + std::to_string(column) + " of object " + std::to_string(record.oid));
    }
    return {kind, false, 0, *bytes};
  }
  bool is_damaged = false;
  std::span<unsigned char const> const bytes = heap_bytes(record, place, is_damaged);
  if (is_damaged) damaged("object " + std::to_string(record.oid));
  return {kind, false, 0, bytes};
}

void append_field(key_buffer& key, field const& value, bool ascending) {
  if (value.null) return append_null(key, ascending);
  switch (value.kind) {
    case column_kind::string:
    case column_kind::set_specifier:
      return append_text(key, value.bytes.data(), value.bytes.size(), ascending);
    case column_kind::binary:
      return append_binary(key, value.bytes.data(), value.bytes.size(), ascending);
    case column_kind::unsigned_integer:
    case column_kind::signed_integer:
    case column_kind::decimal:
    case column_kind::single_float:
    case column_kind::double_float:
    case column_kind::reference:
    case column_kind::boolean:
      break;
  }
  append_word(key, value.kind, value.word, ascending);
}

entry_view read_entry(index const& index, byte_view key, byte_view value) {
  bool const of_index_layout = value.size() == 1;
  if (!of_index_layout && value.size() != 1 + sizeof(std::uint16_t)) {
    damaged("index " + std::to_string(index.definition.id));
  }
  unsigned char const head = value[0];
  std::size_t const id_size = head & ~cut_mark;
  std::size_t const ends = index.prefix.size() + 1 + id_size;
  if (id_size == 0 || id_size > sizeof(std::uint64_t) || key.size() < ends) {
    damaged("index " + std::to_string(index.definition.id));
  }
  std::uint64_t oid = 0;
  for (unsigned char const byte : key.last(id_size)) oid = oid << 8 | byte;
  return {key.subspan(index.prefix.size(), key.size() - ends), oid,
          of_index_layout ? index.definition.layout : get<std::uint16_t>(value.data() + 1),
          (head & cut_mark) != 0};
}

void append_record_key(key_buffer& key, index const& index, entry_view const& entry,
                       context& context) {
  unsigned char const* const image = context.block(block_of(entry.oid));
  layout const* const layout = context.schema().find_layout(entry.layout);
  if (!layout || !block_has(image, record_of(entry.oid)) || block_layout(image) != entry.layout) {
    damaged("index " + std::to_string(index.definition.id));
  }
  record_view const record{image, layout, entry.oid};
  append_storage_key(key, index, [&](unsigned int column) {
    return read_field(record, column, context.transaction());
  });
}

stored_entry::stored_entry(index const& index, byte_view storage_key, std::uint64_t oid,
                           std::uint16_t layout)
    : stored_entry(index, storage_key.first(std::min(storage_key.size(), longest_entry_key(index))),
                   storage_key.size() > longest_entry_key(index), oid, layout) {}

stored_entry::stored_entry(index const& index, byte_view kept, bool cut, std::uint64_t oid,
                           std::uint16_t layout) {
  unsigned char* next = key_bytes;
  std::memcpy(next, index.prefix.data(), index.prefix.size());
  next += index.prefix.size();
  std::memcpy(next, kept.data(), kept.size());
  next += kept.size();
  auto const id_size = static_cast<unsigned char>((std::bit_width(oid) + 7) / 8);
  *next++ = id_size;
  for (unsigned int left = id_size; left-- > 0;) {
    *next++ = static_cast<unsigned char>(oid >> 8 * left);
  }
  key_size = static_cast<std::size_t>(next - key_bytes);
  value_bytes[0] = static_cast<unsigned char>(cut ? id_size | cut_mark : id_size);
  value_size = 1;
  if (layout != index.definition.layout) {
    put(value_bytes + 1, layout);
    value_size += sizeof layout;
  }
}

}  // namespace qd::coredb
