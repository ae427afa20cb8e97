#include "error_handling/error_codes.h"
#include "meta_data/meta_data.h"

namespace meta_data {

using db_string::dt_string;
using meta_support::TypeIdentity;

namespace {

[[noreturn]] void raise_unexpected_type() {
  error_handling::ThrowException(error_handling::not_implemented, error_handling::invalid_location,
                                 u"unexpected type");
}

}  // namespace

MetaColumnType IdentifyColumnType(unsigned char primitive_type_code) {
  switch (primitive_type_code) {
    case 1:
      return TypeIdentity<dt_string>{};
    case 2:
      return TypeIdentity<operator_library::Binary>{};
    case 3:
      return TypeIdentity<long>{};
    case 4:
      return TypeIdentity<unsigned long>{};
    case 5:
      return TypeIdentity<operator_library::Decimal>{};
    case 6:
      return TypeIdentity<float>{};
    case 7:
      return TypeIdentity<double>{};
    case 8:
      return TypeIdentity<QD_OBJ_REF>{};
    case 10:
      return TypeIdentity<bool>{};
    default:
      raise_unexpected_type();
  }
}

MetaColumnType IdentifySQLType(column_type type) {
  switch (type) {
    case column_type::unsigned_integer:
      return TypeIdentity<unsigned long>{};
    case column_type::signed_integer:
      return TypeIdentity<long>{};
    case column_type::decimal:
      return TypeIdentity<operator_library::Decimal>{};
    case column_type::single_float:
      return TypeIdentity<float>{};
    case column_type::double_float:
      return TypeIdentity<double>{};
    case column_type::string:
      return TypeIdentity<dt_string>{};
    case column_type::binary:
      return TypeIdentity<operator_library::Binary>{};
    case column_type::object_reference:
      return TypeIdentity<QD_OBJ_REF>{};
    case column_type::boolean:
      return TypeIdentity<bool>{};
  }
  raise_unexpected_type();
}

}  // namespace meta_data
