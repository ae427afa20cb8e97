// Checks of a whole database; see snapshot::check.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace qd::coredb {
class schema;
}

namespace qd::embedded {

// `context` is a snapshot's, `schema` what it sees.
std::vector<std::string> check_snapshot(unsigned long context, coredb::schema const& schema,
                                        std::size_t most);

}  // namespace qd::embedded
