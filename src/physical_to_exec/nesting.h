// A guard against plans so deep that the recursion over them would overflow the stack.
#pragma once

namespace physical_to_exec {

// How deep in a plan a conversion stands; nodes and expressions count alike. Conversion recurses
// once per level, and so will the execution of what it builds.
class nesting_level {
 public:
  // The root.
  nesting_level() = default;

  // The level below. Throws std::length_error beyond max_nesting.
  nesting_level deeper() const;

 private:
  int level_ = 0;
};

}  // namespace physical_to_exec
