#include "db_util/db_exception.h"

namespace db_util {

void db_exception::raise(unsigned int error_code) {
  throw db_exception(error_code);
}

}  // namespace db_util
