// The exception of values, operators and kernel calls: one number.
#pragma once

namespace db_util {

// Carries an error code of error_handling/error_codes.h or a kernel status, unchanged. It has no
// base class and is thrown by value; nothing in the library catches it.
class db_exception {
 public:
  explicit db_exception(unsigned int error_code) noexcept : code(error_code) {}

  // Returns if `status`, as a kernel function returned it, is 0; else throws it.
  static void check(unsigned int status) {
    if (status != 0) [[unlikely]]
      raise(status);
  }

  // Throws db_exception(error_code), out of line.
  [[noreturn]] static void raise(unsigned int error_code);

  unsigned int code;
};

}  // namespace db_util
