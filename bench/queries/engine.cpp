#include "queries/engine.h"

#include <cctype>

namespace bench {

std::vector<std::string> const& all_indexes() {
  static std::vector<std::string> const indexes = {"T(k)", "T(grp, k)", "T(name)", "T(id)",
                                                   "U(id)"};
  return indexes;
}

std::string create_index(std::string const& index) {
  std::string name = "by";
  for (char const character : index) {
    name += std::isalpha(static_cast<unsigned char>(character)) ? character : '_';
  }
  return "CREATE INDEX " + name + " ON " + index;
}

}  // namespace bench
