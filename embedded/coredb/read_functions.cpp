// The column reads and the lookup of kernel/vela.h.
#include <bit>
#include <cstddef>

#include "coredb/context.h"
#include "coredb/export.h"
#include "coredb/guard.h"
#include "coredb/record_key.h"
#include "coredb/text_codec.h"

using namespace qd::coredb;

namespace {

// Finds the record of an object for a read through the layout that the low bits of `address` name;
// 0 there means the object's own. Every column read takes this path: it is worth its place in each.
[[gnu::always_inline]] inline unsigned int find_record(context& context, unsigned long oid,
                                                       unsigned long address, record_view& record) {
  context::located_block const& block = context.locate(block_of(oid));
  if (!block_has(block.image, record_of(oid))) return status_null;
  auto const asked = static_cast<std::uint16_t>(address);
  if (asked != block.layout->definition.id && asked != 0) {
    layout const* const base = context.schema().find_layout(asked);
    if (!base || !block.layout->is_a(*base)) return status_wrong_layout;
  }
  record = {block.image, block.layout, oid};
  return status_ok;
}

// Finds a stored column of the given kind that is not NULL. On status_ok, `slot` is its word.
[[gnu::always_inline]] inline unsigned int find_slot(context& context, unsigned long oid,
                                                     unsigned long address, unsigned int column,
                                                     column_kind kind, record_view& record,
                                                     std::uint64_t& slot) {
  unsigned int const status = find_record(context, oid, address, record);
  if (status != status_ok) [[unlikely]] {
    return status;
  }
  if (column >= record.layout->kinds.size()) [[unlikely]] {
    return status_unknown_column;
  }
  if (column < system_column_count || record.layout->kinds[column] != kind) [[unlikely]] {
    return status_wrong_kind;
  }
  unsigned int const stored = column - system_column_count;
  if (record.is_null(stored)) return status_null;
  slot = record.slot(stored);
  return status_ok;
}

// Runs `body` in the context of a handle, for a function that stores its result in `out`.
template <typename Out, typename Body>
[[gnu::always_inline]] inline unsigned int in_context(unsigned long context_handle, Out const* out,
                                                      Body const& body) {
  unsigned int status = status_ok;
  context* const found = find_context(context_handle, status);
  if (!found) return status;
  if (!out) return status_bad_argument;
  return guarded([&] { return body(*found); });
}

// Reads a column whose value is its slot.
template <column_kind kind, typename Out>
unsigned int read_word(unsigned long context_handle, unsigned long oid, unsigned long address,
                       unsigned int column, Out* out) {
  return in_context(context_handle, out, [&](context& context) {
    record_view record{};
    std::uint64_t slot = 0;
    unsigned int const found = find_slot(context, oid, address, column, kind, record, slot);
    if (found != status_ok) return found;
    if constexpr (sizeof(Out) == sizeof(std::uint32_t)) {
      *out = std::bit_cast<Out>(static_cast<std::uint32_t>(slot));
    } else {
      *out = std::bit_cast<Out>(slot);
    }
    return found;
  });
}

// A string, binary or set-specifier column.
unsigned int read_bytes(context& context, unsigned long oid, unsigned long address,
                        unsigned int column, bool text_only, byte_view& bytes) {
  record_view record{};
  unsigned int const status = find_record(context, oid, address, record);
  if (status != status_ok) return status;
  if (column >= record.layout->kinds.size()) return status_unknown_column;
  column_kind const kind = record.layout->kinds[column];
  if (!has_bytes(kind) || (text_only && kind == column_kind::binary)) return status_wrong_kind;
  field const value = read_field(record, column, context.transaction());
  if (value.null) return status_null;
  context.note_bytes_read();
  bytes = value.bytes;
  return status_ok;
}

unsigned int read_text(context& context, unsigned long oid, unsigned long address,
                       unsigned int column, VELA_UCS2 const** out) {
  *out = nullptr;
  byte_view bytes;
  unsigned int const status = read_bytes(context, oid, address, column, true, bytes);
  if (status != status_ok) return status;
  constexpr std::size_t head = offsetof(VELA_UCS2, units);
  std::size_t const capacity = text_capacity(bytes.size());
  unsigned char* const lent = context.lend(head + (capacity + 1) * sizeof(char16_t));
  auto* const units = reinterpret_cast<char16_t*>(lent + head);
  std::size_t const count = decode_text(bytes.data(), bytes.size(), units, capacity);
  units[count] = u'\0';
  put(lent, static_cast<unsigned int>(count));
  *out = reinterpret_cast<VELA_UCS2 const*>(lent);
  return status_ok;
}

// The object that a reference leads to, as it is now.
unsigned int read_target(context& context, unsigned long oid, VELA_RECORD* out) {
  unsigned char const* const image = context.block(block_of(oid));
  if (!block_has(image, record_of(oid))) return status_null;
  *out = {oid, block_of(oid), block_layout(image)};
  return status_ok;
}

}  // namespace

extern "C" {

QD_COREDB_API unsigned int vela_context_get_ulong(unsigned long context, unsigned long oid,
                                                  unsigned long address, unsigned int column,
                                                  unsigned long* out) {
  return read_word<column_kind::unsigned_integer>(context, oid, address, column, out);
}

QD_COREDB_API unsigned int vela_context_get_long(unsigned long context, unsigned long oid,
                                                 unsigned long address, unsigned int column,
                                                 long* out) {
  return read_word<column_kind::signed_integer>(context, oid, address, column, out);
}

QD_COREDB_API unsigned int vela_context_get_decimal(unsigned long context, unsigned long oid,
                                                    unsigned long address, unsigned int column,
                                                    long* out) {
  return read_word<column_kind::decimal>(context, oid, address, column, out);
}

QD_COREDB_API unsigned int vela_context_get_float(unsigned long context, unsigned long oid,
                                                  unsigned long address, unsigned int column,
                                                  float* out) {
  return read_word<column_kind::single_float>(context, oid, address, column, out);
}

QD_COREDB_API unsigned int vela_context_get_double(unsigned long context, unsigned long oid,
                                                   unsigned long address, unsigned int column,
                                                   double* out) {
  return read_word<column_kind::double_float>(context, oid, address, column, out);
}

QD_COREDB_API unsigned int vela_meta_get_bool(unsigned long context, unsigned long oid,
                                              unsigned long address, unsigned int column,
                                              unsigned long* out) {
  return read_word<column_kind::boolean>(context, oid, address, column, out);
}

QD_COREDB_API unsigned int vela_context_get_binary(unsigned long context_handle, unsigned long oid,
                                                   unsigned long address, unsigned int column,
                                                   VELA_VALUE* out) {
  return in_context(context_handle, out, [&](context& context) {
    byte_view bytes;
    unsigned int const found = read_bytes(context, oid, address, column, false, bytes);
    if (found == status_ok) *out = {bytes.size(), bytes.data()};
    return found;
  });
}

QD_COREDB_API unsigned int vela_context_get_string(unsigned long context_handle, unsigned long oid,
                                                   unsigned long address, unsigned int column,
                                                   VELA_UCS2 const** out) {
  return in_context(context_handle, out, [&](context& context) {
    return read_text(context, oid, address, column, out);
  });
}

QD_COREDB_API unsigned int vela_context_get_reference(unsigned long context_handle,
                                                      unsigned long oid, unsigned long address,
                                                      unsigned int column, VELA_RECORD* out) {
  return in_context(context_handle, out, [&](context& context) {
    record_view record{};
    if (column == own_reference_column || column == class_reference_column) {
      unsigned int const found = find_record(context, oid, address, record);
      if (found != status_ok) return found;
      field const value = read_field(record, column, context.transaction());
      return value.null ? static_cast<unsigned int>(status_null)
                        : read_target(context, value.word, out);
    }
    std::uint64_t slot = 0;
    unsigned int const found =
        find_slot(context, oid, address, column, column_kind::reference, record, slot);
    return found == status_ok ? read_target(context, slot, out) : found;
  });
}

QD_COREDB_API unsigned int vela_context_get_setspec(unsigned long context_handle, unsigned long oid,
                                                    unsigned long address, VELA_UCS2 const** out) {
  return in_context(context_handle, out, [&](context& context) {
    record_view record{};
    unsigned int const found = find_record(context, oid, address, record);
    if (found == status_ok) {
      *out = reinterpret_cast<VELA_UCS2 const*>(record.layout->set_specifier_record.data());
    }
    return found;
  });
}

QD_COREDB_API unsigned int vela_context_lookup(unsigned long context_handle, unsigned long oid,
                                               unsigned long* address) {
  return in_context(context_handle, address, [&](context& context) {
    unsigned char const* const image = context.block(block_of(oid));
    if (!block_has(image, record_of(oid))) return static_cast<unsigned int>(status_unknown_object);
    *address = block_of(oid) << 16 | block_layout(image);
    return static_cast<unsigned int>(status_ok);
  });
}

}  // extern "C"
