// Makes the n-th allocation of the program fail. A test program that compiles the source of this
// replaces the global operator new by one that counts; nothing is counted, and nothing fails, while
// it is not armed. Allocations that report failure by a null pointer are left alone.
#pragma once

#include <cstddef>

namespace failing_allocations {

// From now on the allocations of the calling thread are counted, and number `number`, from 1,
// throws std::bad_alloc; 0 is none.
void arm(std::size_t number);
// The same, but with all that come after it.
void arm_from(std::size_t number);
// Ends it and returns how many were counted, the failing one included.
std::size_t disarm();

// Blocks allocated and not freed since the program began.
long live_blocks();

}  // namespace failing_allocations
