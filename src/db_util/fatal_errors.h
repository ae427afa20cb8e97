// The ways in which the library ends the process: faults that no caller could handle.
#pragma once

// Each takes an error number, which is on the stack of the core that is left, and aborts.
[[noreturn]] void raise_assertion_failure_except(unsigned int error_number);
[[noreturn]] void raise_assertion_failure_except_with_data(unsigned int error_number);
[[noreturn]] void raise_no_memory_except(unsigned int error_number);
// Of these, the one in use: 1070, the kernel refused to release an iterator.
[[noreturn]] void raise_unexpected_except(unsigned int error_number);
[[noreturn]] void raise_unhandled_except(unsigned int error_number);
