#include "sql_executor/value.h"

#include <boost/container_hash/hash.hpp>

namespace qd::sql_executor {

using db_string::dt_string;
using operator_library::Binary;
using operator_library::SetSpecifier;

void bad_value_access::raise() {
  throw bad_value_access();
}

void value::copy_owning(value const& other) {
  if (other.tag_ == detail::index_of<dt_string>) {
    construct(other.content<dt_string>());
  } else if (other.tag_ == detail::index_of<Binary>) {
    construct(other.content<Binary>());
  } else {
    construct(other.content<SetSpecifier>());
  }
}

void value::destroy_owning() noexcept {
  if (tag_ == detail::index_of<dt_string>) {
    content<dt_string>().~dt_string();
  } else if (tag_ == detail::index_of<Binary>) {
    delete &content<Binary>();
  } else {
    delete &content<SetSpecifier>();
  }
}

bool operator==(value const& left, value const& right) {
  if (left.index() != right.index()) return false;
  return visit([&right]<typename T>(T const& content) { return content == right.content<T>(); },
               left);
}

std::size_t hash_value(value const& source) {
  std::size_t seed = 0;
  boost::hash_combine(seed, static_cast<std::size_t>(source.index()));
  visit([&seed](auto const& content) { boost::hash_combine(seed, content); }, source);
  return seed;
}

}  // namespace qd::sql_executor

std::size_t hash_value(QD_OBJ_REF const& reference) {
  return boost::hash<unsigned long>()(reference.oid);
}

namespace operator_library {

std::size_t hash_value(Decimal const& decimal) {
  return boost::hash<long>()(decimal.scaled);
}

std::size_t hash_value(Binary const& binary) {
  return boost::hash_range(binary.bytes.begin(), binary.bytes.end());
}

std::size_t hash_value(SetSpecifier const& set_specifier) {
  return boost::hash<std::u16string>()(set_specifier.specifier);
}

std::size_t hash_value(NullValue) {
  return 0;
}

}  // namespace operator_library
