#include "sql_executor/operators/context_reads.h"

#include <stdexcept>
#include <string>

#include "db_util/db_exception.h"
#include "db_util/object_reference.h"
#include "kernel/vela.h"

namespace qd::sql_executor::operators {

using db_string::dt_string;
using db_util::db_exception;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;

property_read::property_read(value_type column_type, unsigned int column_index,
                             unsigned short layout_id, operator_ptr&& reference)
    : type(column_type),
      column(column_index),
      layout(layout_id),
      address(std::move(reference)),
      get_column(getter_of(column_type)) {}

value property_read::eval(evaluation_context const& context) const {
  if (value const* const bound = address.in_context(context)) return read(context, *bound);
  value const evaluated = address.eval(context);
  return read(context, evaluated);
}

inline value property_read::read(evaluation_context const& context, value const& address) const {
  if (address.is_null()) return NullValue{};
  QD_OBJ_REF const& reference = get<QD_OBJ_REF>(address);
  return get_column(context.kernel_context, reference.oid,
                    db_util::address_with_layout(reference.address, layout), column);
}

namespace {

// Reads a column: the kernel's getter `Fetch` stores a Fetched, which `Build` turns into the
// content of a value at once, since the kernel's buffers do not outlive the next call.
template <typename Fetched, auto Fetch, auto Build>
value read_column(unsigned long kernel_context, unsigned long oid, unsigned long address,
                  unsigned int column) {
  Fetched fetched{};
  unsigned int const status = Fetch(kernel_context, oid, address, column, &fetched);
  if (status == VELA_STATUS_NULL) return NullValue{};
  db_exception::check(status);
  return Build(fetched);
}

constexpr auto unchanged = [](auto fetched) { return fetched; };

unsigned int get_own_set_specifier(unsigned long kernel_context, unsigned long oid,
                                   unsigned long address, unsigned int, VELA_UCS2 const** out) {
  return vela_context_get_setspec(kernel_context, oid, address, out);
}

}  // namespace

property_read::getter property_read::getter_of(value_type type) {
  switch (type) {
    case value_type::unsigned_integer:
      return read_column<unsigned long, vela_context_get_ulong, unchanged>;
    case value_type::signed_integer:
      return read_column<long, vela_context_get_long, unchanged>;
    case value_type::decimal:
      return read_column<long, vela_context_get_decimal,
                         [](long scaled) { return Decimal{scaled}; }>;
    case value_type::single_float:
      return read_column<float, vela_context_get_float, unchanged>;
    case value_type::double_float:
      return read_column<double, vela_context_get_double, unchanged>;
    case value_type::string:
      return read_column<VELA_VALUE, vela_context_get_binary, [](VELA_VALUE const& densetext) {
        return dt_string(densetext.data, densetext.size);
      }>;
    case value_type::binary:
      return read_column<VELA_VALUE, vela_context_get_binary, [](VELA_VALUE const& bytes) {
        return Binary{{bytes.data, bytes.data + bytes.size}};
      }>;
    case value_type::object_reference:
      return read_column<VELA_RECORD, vela_context_get_reference, db_util::reference_of>;
    case value_type::set_specifier:
      return read_column<VELA_UCS2 const*, get_own_set_specifier, [](VELA_UCS2 const* text) {
        return SetSpecifier{{text->units, text->count}};
      }>;
    case value_type::boolean:
      return read_column<unsigned long, vela_meta_get_bool,
                         [](unsigned long word) { return word != 0; }>;
  }
  throw std::invalid_argument("a column read of the unknown kind " +
                              std::to_string(static_cast<unsigned int>(type)));
}

}  // namespace qd::sql_executor::operators
