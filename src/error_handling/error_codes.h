// Every error number that the library itself raises. Any other number in a db_exception is a status
// of the kernel, passed on unchanged.
#pragma once

namespace error_handling {

// Of values and operators, raised as db_util::db_exception.
inline constexpr unsigned int conversion_not_supported = 1027;  // no such conversion at run time
inline constexpr unsigned int wrong_operand_kind = 7020;        // an operand of a kind not accepted
inline constexpr unsigned int out_of_range =
    7041;  // overflow, division by zero, NaN in an ordering
inline constexpr unsigned int key_buffer_full = 4197;  // a fixed key buffer has no room left

// For the user of SQL, raised as error_handling::QDException.
inline constexpr unsigned int not_a_variable = 7007;  // a plan has an expression for a variable
inline constexpr unsigned int not_implemented =
    7022;  // also: an unknown name, an unfit result type
inline constexpr unsigned int invalid_like_escape = 7042;  // a LIKE pattern with a stray backslash

// Ends the process: the kernel refused to release an iterator.
inline constexpr unsigned int iterator_release_failed = 1070;

}  // namespace error_handling
