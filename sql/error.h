// What goes wrong with a statement.
#pragma once

#include <stdexcept>
#include <string>

#include "sql/syntax/position.h"

namespace qd::sql {

// The numbers of errors that arise above the library. Errors of the library and of the kernel keep
// their own numbers (error_handling/error_codes.h).
enum class error_code : unsigned int {
  syntax = 9001,           // The text is no statement.
  not_supported = 9002,    // A construct that is understood and not built; the text names it.
  unknown_name = 9003,     // A table, column, index, function or prepared statement.
  ambiguous_name = 9004,   // A column name that several tables in scope have.
  wrong_type = 9005,       // An operation that no kind of operands fits, or a value for a column.
  bad_grouping = 9006,     // A column outside GROUP BY, an aggregate where none can stand.
  bad_literal = 9007,      // A number or text that cannot be a value.
  limit_exceeded = 9008,   // Longer, deeper or wider than documented.
  bad_definition = 9009,   // A table or index that cannot be defined, or dropped, so.
  constraint = 9010,       // NOT NULL, UNIQUE or a reference would not hold.
  bad_transaction = 9011,  // COMMIT without BEGIN, BEGIN in a transaction, a writer that waits.
  bad_input = 9012,        // A file that cannot be read, a line that COPY refuses.
  storage = 9013,          // The database cannot be opened, read or written.
  interrupted = 9014,      // The statement was asked to stop.
  bad_parameter = 9015,    // Missing, or of a kind that does not fit.
  wrong_row = 9016,        // A statement's object is used wrongly by its caller.
};

// what() is UTF-8. An error of the library or kernel is thrown on under its own type inside; the
// public interface (connection, statement) raises this one alone.
class error : public std::runtime_error {
 public:
  error(error_code code, std::string const& text, text_position position = no_position)
      : error(static_cast<unsigned int>(code), text, position) {}
  error(unsigned int code, std::string const& text, text_position position = no_position)
      : std::runtime_error(text), code_(code), position_(position) {}

  unsigned int code() const noexcept { return code_; }
  // Where in the statement's text, in bytes; no_position when that is not known.
  text_position position() const noexcept { return position_; }

 private:
  unsigned int code_;
  text_position position_;
};

}  // namespace qd::sql
