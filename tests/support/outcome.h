// What an evaluation came to, as a text that tests compare: the value with its kind, or the error.
#pragma once

#include <exception>
#include <string>

#include "db_util/db_exception.h"
#include "error_handling/qd_exception.h"
#include "sql_executor/operators/operator_base.h"

namespace outcome {

// "true", "string 80 00 61", "unsigned 1", "signed -1", "decimal 1500000", "double 0.5", "float
// 0.5", "binary 61 62", "reference 7@65537", "set 41 42", "null"; numbers of floating kinds to the
// last bit.
std::string of(qd::sql_executor::value const& result);

// The outcome of calling `evaluate`, which returns a value: an error is "error 7020" for a
// db_exception, "sql error 7042" for a QDException and else "exception: " and its text.
template <typename Evaluate>
std::string of_call(Evaluate&& evaluate) {
  try {
    return of(evaluate());
  } catch (db_util::db_exception const& raised) {
    return "error " + std::to_string(raised.code);
  } catch (error_handling::QDException const& raised) {
    return "sql error " + std::to_string(raised.code);
  } catch (std::exception const& raised) {
    return std::string("exception: ") + raised.what();
  }
}

// The outcome of an expression. Also expects that its test as a predicate agrees: GetOpt of the
// same value, or the same error.
std::string of_operator(qd::sql_executor::operators::operator_base const& expression,
                        qd::sql_executor::evaluation_context const& context = {});

}  // namespace outcome
