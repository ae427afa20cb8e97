#include "sql/run/operation.h"

namespace qd::sql {

std::unique_ptr<operation> make_copy(syntax::copy const&, preparation const&) {
  throw error(error_code::not_supported, "COPY is not supported yet");
}

}  // namespace qd::sql
