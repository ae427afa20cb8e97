// Runs a plan that may fail anywhere, and leaves it the way a caller does that gave it up.
#pragma once

#include <exception>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "db_util/db_exception.h"
#include "physical_to_exec/plan.h"
#include "support/outcome.h"

namespace abandoned_run {

// How a run ended: with all its rows, or with the error as a text, "error 7020" for a db_exception.
struct values {
  std::string error;  // Empty when there was none.
  std::vector<qd::sql_executor::row> rows;
};

// The same with the rows as texts.
struct ending {
  std::string error;
  std::vector<std::vector<std::string>> rows;

  friend bool operator==(ending const&, ending const&) = default;
};

// Plans and runs. When it fails, the bound data goes first and the enumerator after it.
inline values values_of(physical_queryplan::QueryPlan::PredicateVariant const& plan,
                        unsigned long kernel_context,
                        std::vector<qd::sql_executor::value> const& parameters) {
  values result;
  physical_to_exec::ExecutablePlan executable;
  qd::sql_executor::evaluation_context context;
  std::unique_ptr<qd::sql_executor::enumerator> rows;
  try {
    executable = physical_to_exec::Plan(plan);
    context.literals = executable.literals;
    context.parameters = parameters;
    context.kernel_context = kernel_context;
    rows = executable.root->enumerate(context);
    while (auto row = rows->next(context)) result.rows.push_back(std::move(*row));
  } catch (db_util::db_exception const& raised) {
    result.error = "error " + std::to_string(raised.code);
  } catch (std::bad_alloc const&) {
    result.error = "bad_alloc";
  } catch (std::exception const& raised) {
    result.error = std::string("exception: ") + raised.what();
  }
  std::vector<qd::sql_executor::value>().swap(context.bound_data);
  rows.reset();
  return result;
}

inline ending as_texts(values const& source) {
  ending result{source.error, {}};
  if (!result.error.empty()) return result;
  for (auto const& row : source.rows) {
    std::vector<std::string>& texts = result.rows.emplace_back();
    for (auto const& column : row) texts.push_back(outcome::of(column));
  }
  return result;
}

inline ending of(physical_queryplan::QueryPlan::PredicateVariant const& plan,
                 unsigned long kernel_context,
                 std::vector<qd::sql_executor::value> const& parameters) {
  return as_texts(values_of(plan, kernel_context, parameters));
}

}  // namespace abandoned_run
