// Reads of catalogue records through a kernel context, by the kernel's own functions.
//
// Every function takes the kernel context handle first. A status that the kernel reports becomes an
// error of kind stopped, bad_transaction or storage.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/obj_ref.h"

namespace qd::embedded {

class catalogue_key;

// Properties of a record. `column` is one of the catalogue's column numbers.
std::u16string read_text(unsigned long context, QD_OBJ_REF const& record, unsigned column);
std::uint64_t read_number(unsigned long context, QD_OBJ_REF const& record, unsigned column);
std::int64_t read_signed(unsigned long context, QD_OBJ_REF const& record, unsigned column);
bool read_bool(unsigned long context, QD_OBJ_REF const& record, unsigned column);
// The null reference when the column is NULL.
QD_OBJ_REF read_reference(unsigned long context, QD_OBJ_REF const& record, unsigned column);

// A record by its id. The null reference when there is none.
QD_OBJ_REF record_of(unsigned long context, std::uint64_t oid);

// All records of an index between two keys, both inclusive, in its order.
std::vector<QD_OBJ_REF> read_range(unsigned long context, unsigned long index_id,
                                   catalogue_key const& first, catalogue_key const& last);
// Those whose leading columns are the key.
std::vector<QD_OBJ_REF> read_equal(unsigned long context, unsigned long index_id,
                                   catalogue_key const& key);
std::vector<QD_OBJ_REF> read_equal(unsigned long context, unsigned long index_id,
                                   std::uint64_t number);

// Empty when there is none.
std::optional<QD_OBJ_REF> find_table(unsigned long context, std::u16string_view full_name);
std::optional<QD_OBJ_REF> find_index(unsigned long context, std::u16string_view full_name);
std::optional<QD_OBJ_REF> find_column(unsigned long context, QD_OBJ_REF const& table,
                                      std::u16string_view name);
// The records of a table's columns, at the position of their column index.
std::vector<QD_OBJ_REF> columns_of_table(unsigned long context, QD_OBJ_REF const& table);
// The tables that a possibly incomplete name with its last part first may denote: the one of that
// full name alone if there is one, otherwise all of the user's whose names end so.
std::vector<QD_OBJ_REF> tables_by_reverse_name(unsigned long context, std::u16string_view name);

}  // namespace qd::embedded
