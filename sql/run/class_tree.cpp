#include "sql/run/class_tree.h"

#include <algorithm>

namespace qd::sql {

std::vector<std::u16string> with_bases(embedded::read_context const& context,
                                       std::u16string const& class_name) {
  std::vector<std::u16string> names;
  for (std::u16string next = class_name; !next.empty(); next = context.describe_class(next)->base) {
    names.push_back(next);
  }
  return names;
}

std::vector<std::u16string> with_derived(embedded::read_context const& context,
                                         std::u16string const& class_name) {
  std::vector<std::u16string> names{class_name};
  for (std::size_t i = 0; i < names.size(); ++i) {
    auto const described = context.describe_class(names[i]);
    names.insert(names.end(), described->derived.begin(), described->derived.end());
  }
  return names;
}

bool share_objects(embedded::read_context const& context, std::u16string const& left,
                   std::u16string const& right) {
  auto const is_base = [&](std::u16string const& base, std::u16string const& of) {
    std::vector<std::u16string> const bases = with_bases(context, of);
    return std::find(bases.begin(), bases.end(), base) != bases.end();
  };
  return is_base(left, right) || is_base(right, left);
}

}  // namespace qd::sql
