#include "support/reference/database.h"

#include <algorithm>
#include <stdexcept>

namespace reference {

namespace {

// The element that `is_wanted`; the plan is the generator's, so there is one.
template <typename Container, typename Predicate>
auto const& find(Container const& container, Predicate const& is_wanted) {
  auto const found = std::find_if(container.begin(), container.end(), is_wanted);
  if (found == container.end()) throw std::logic_error("the database has no such thing");
  return *found;
}

}  // namespace

class_of_objects const& database::class_named(std::u16string const& name) const {
  return find(classes, [&](auto const& each) { return each.name == name; });
}

bool database::is_or_derives_from(std::u16string const& name, std::u16string const& base) const {
  return name == base || (!name.empty() && is_or_derives_from(class_named(name).base, base));
}

stored_object const* database::find_object(unsigned long oid) const {
  auto const found = std::find_if(objects.begin(), objects.end(),
                                  [&](auto const& each) { return each.oid == oid; });
  return found == objects.end() ? nullptr : &*found;
}

std::u16string database::specifier_of(std::u16string const& class_name) const {
  for (class_of_objects const& each : classes) {
    if (each.name == class_name) return each.specifier;
  }
  throw failure{"exception: no such class"};
}

index const& database::index_of(meta_data::Index const& handle) const {
  return find(indexes, [&](auto const& each) { return each.record == handle.ref; });
}

class_of_objects const& database::class_of(meta_data::Table const& handle) const {
  return find(classes, [&](auto const& each) { return each.record == handle.ref; });
}

std::size_t database::position_of(meta_data::Column const& handle) const {
  for (class_of_objects const& each : classes) {
    for (std::size_t i = 0; i < each.columns.size(); ++i) {
      if (each.columns[i].record == handle.ref) return i;
    }
  }
  throw std::logic_error("the database has no such column");
}

}  // namespace reference
