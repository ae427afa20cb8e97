#include "sql/run/error_translation.h"

#include <boost/numeric/conversion/cast.hpp>
#include <new>
#include <stdexcept>
#include <string>

#include "db_util/db_exception.h"
#include "dbmetalayer/error.h"
#include "error_handling/error_codes.h"
#include "error_handling/qd_exception.h"
#include "sql/error.h"

namespace qd::sql {
namespace {

// The kernel's statuses that people meet; its others are faults of storage.
constexpr unsigned int kernel_stopped = 5002;
constexpr unsigned int kernel_wrong_thread = 5004;
constexpr unsigned int kernel_damaged = 5011;

error from_number(unsigned int number) {
  switch (number) {
    case error_handling::wrong_operand_kind:
      return {number, "an operand of a kind that the operation does not accept"};
    case error_handling::out_of_range:
      return {number, "a value out of range, a division by zero, or a NaN where order matters"};
    case error_handling::conversion_not_supported:
      return {number, "a conversion that does not exist"};
    case error_handling::key_buffer_full:
      return {number, "an index key that is too long"};
    case kernel_stopped:
      return {error_code::interrupted, "the statement was interrupted"};
    case kernel_wrong_thread:
      return {number, "the database is being read on another thread than it was opened for"};
    case kernel_damaged:
      return {number, "stored data is damaged or cannot be read"};
  }
  return {number, "the database kernel reports status " + std::to_string(number)};
}

error_code code_of(embedded::error_kind kind) {
  using embedded::error_kind;
  switch (kind) {
    case error_kind::not_a_database:
    case error_kind::format_version:
    case error_kind::cannot_open:
    case error_kind::full:
    case error_kind::storage:
      return error_code::storage;
    case error_kind::writer_busy:
    case error_kind::bad_transaction:
      return error_code::bad_transaction;
    case error_kind::unknown_name:
      return error_code::unknown_name;
    case error_kind::bad_definition:
      return error_code::bad_definition;
    case error_kind::wrong_type:
    case error_kind::out_of_range:
      return error_code::wrong_type;
    case error_kind::null_value:
    case error_kind::bad_reference:
    case error_kind::unknown_object:
    case error_kind::duplicate:
      return error_code::constraint;
    case error_kind::stopped:
      return error_code::interrupted;
    case error_kind::limit:
      return error_code::limit_exceeded;
  }
  return error_code::storage;
}

}  // namespace

void throw_translated() {
  try {
    throw;
  } catch (error const&) {
    throw;
  } catch (std::bad_alloc const&) {
    throw;
  } catch (embedded::error const& refused) {
    throw error(code_of(refused.kind()), refused.what());
  } catch (db_util::db_exception const& raised) {
    throw from_number(raised.code);
  } catch (error_handling::QDException const& raised) {
    throw error(raised.code, raised.what());
  } catch (boost::numeric::bad_numeric_cast const&) {
    throw error(error_code::limit_exceeded,
                "the statement has more than 32767 literals, parameters or columns in scope");
  } catch (std::length_error const& raised) {
    throw error(error_code::limit_exceeded, raised.what());
  } catch (std::exception const& raised) {
    throw error(error_code::not_supported,
                std::string("the engine refuses the statement: ") + raised.what());
  }
}

void throw_translated_at(text_position position) {
  try {
    throw_translated();
  } catch (error const& raised) {
    if (raised.position() != no_position) throw;
    throw error(raised.code(), raised.what(), position);
  }
}

}  // namespace qd::sql
