#include "db_util/fatal_errors.h"

#include <cstdlib>

void raise_assertion_failure_except(unsigned int) {
  std::abort();
}
void raise_assertion_failure_except_with_data(unsigned int) {
  std::abort();
}
void raise_no_memory_except(unsigned int) {
  std::abort();
}
void raise_unexpected_except(unsigned int) {
  std::abort();
}
void raise_unhandled_except(unsigned int) {
  std::abort();
}
