#include "meta_data/catalogue_access.h"

#include "db_util/db_exception.h"
#include "db_util/object_reference.h"
#include "kernel/metalayer.h"
#include "kernel/vela.h"

namespace meta_data::catalogue {

using db_util::db_exception;

namespace {

unsigned long kernel_context() {
  return metalayer::TlsMetalayerContext::Current()->kernel_context;
}

// What a property that holds NULL gives: an empty text or reference, or the kernel's status.
enum class null_handling { is_empty, is_error };

// What the kernel's getter `Fetch` stores for a property.
template <auto Fetch, null_handling Null, typename T>
T fetch_property(QD_OBJ_REF const& record, unsigned int property) {
  T fetched{};
  unsigned int const status =
      Fetch(kernel_context(), record.oid, record.address, property, &fetched);
  if (Null == null_handling::is_empty && status == VELA_STATUS_NULL) return T{};
  db_exception::check(status);
  return fetched;
}

}  // namespace

std::u16string text_property(QD_OBJ_REF const& record, unsigned int property) {
  auto const* const text =
      fetch_property<vela_context_get_string, null_handling::is_empty, VELA_UCS2 const*>(record,
                                                                                         property);
  if (text == nullptr) return {};
  std::u16string_view const units(text->units, text->count);
  return std::u16string(units.substr(0, units.find(u'\0')));
}

QD_OBJ_REF reference_property(QD_OBJ_REF const& record, unsigned int property) {
  return db_util::reference_of(
      fetch_property<vela_context_get_reference, null_handling::is_empty, VELA_RECORD>(record,
                                                                                       property));
}

unsigned long unsigned_property(QD_OBJ_REF const& record, unsigned int property) {
  return fetch_property<vela_context_get_ulong, null_handling::is_error, unsigned long>(record,
                                                                                        property);
}

long signed_property(QD_OBJ_REF const& record, unsigned int property) {
  return fetch_property<vela_context_get_long, null_handling::is_error, long>(record, property);
}

bool bool_property(QD_OBJ_REF const& record, unsigned int property) {
  return fetch_property<vela_meta_get_bool, null_handling::is_error, unsigned long>(record,
                                                                                    property) != 0;
}

void scan::open(unsigned long index_id) {
  first_key.UpdateHeader();
  last_key.UpdateHeader();
  records.open(kernel_context(), index_id, VELA_ITERATE_CATALOGUE, records.first_key,
               records.last_key);
}

QD_OBJ_REF find_by_number(unsigned long index_id, unsigned long number) {
  scan records;
  records.first_key.write_unsigned(number);
  records.last_key.write_unsigned(number);
  records.open(index_id);
  return records.next() ? records.record() : QD_OBJ_REF{};
}

}  // namespace meta_data::catalogue
