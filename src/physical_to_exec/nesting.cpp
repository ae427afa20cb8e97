#include "physical_to_exec/nesting.h"

#include <stdexcept>
#include <string>

#include "physical_to_exec/plan.h"

namespace physical_to_exec {

nesting_level nesting_level::deeper() const {
  if (level_ >= max_nesting) {
    throw std::length_error("the plan is nested deeper than " + std::to_string(max_nesting) +
                            " levels");
  }
  nesting_level below = *this;
  ++below.level_;
  return below;
}

}  // namespace physical_to_exec
