#include "random/comparison.h"

#include <algorithm>
#include <vector>

#include "db_util/db_exception.h"
#include "error_handling/qd_exception.h"
#include "kernel/metalayer.h"
#include "physical_to_exec/plan.h"
#include "sql_executor/evaluation_context.h"

namespace random_plans {

namespace {

// How far a run came before its error.
enum class phase { planning, starting, reading };

struct engine_run {
  std::vector<reference::row> rows;
  std::string error;  // Empty when there was none; as reference::failure words it.
  phase failed_in = phase::planning;
};

template <typename Body>
std::string error_of(Body const& body) {
  try {
    body();
    return {};
  } catch (db_util::db_exception const& raised) {
    return "error " + std::to_string(raised.code);
  } catch (error_handling::QDException const& raised) {
    return "sql error " + std::to_string(raised.code);
  } catch (metalayer::exceptions::BadArg const&) {
    return "exception: no such class";
  } catch (std::exception const& raised) {
    return std::string("exception: ") + raised.what();
  }
}

reference::row to_reference(qd::sql_executor::row const& source) {
  reference::row result;
  for (auto const& column : source) {
    result.push_back(
        visit([](auto const& content) { return reference::from_engine(content); }, column));
  }
  return result;
}

engine_run run_engine(generated_plan const& query, unsigned long kernel_context) {
  engine_run result;
  result.error = error_of([&] {
    physical_to_exec::ExecutablePlan const plan = physical_to_exec::Plan(query.plan);
    result.failed_in = phase::starting;
    qd::sql_executor::evaluation_context context{.literals = plan.literals,
                                                 .parameters = {},
                                                 .bound_data = {},
                                                 .kernel_context = kernel_context};
    for (reference::value const& each : query.parameters) {
      context.parameters.push_back(to_engine(each));
    }
    auto const enumerator = plan.root->enumerate(context);
    result.failed_in = phase::reading;
    while (auto const row = enumerator->next(context)) {
      if (!context.bound_data.empty()) throw std::logic_error("rows were left bound");
      result.rows.push_back(to_reference(*row));
    }
  });
  return result;
}

bool is_permutation(std::vector<reference::row> const& expected,
                    std::vector<reference::row> const& actual, std::size_t begin, std::size_t end) {
  std::vector<bool> taken(end - begin, false);
  for (std::size_t i = begin; i < end; ++i) {
    bool found = false;
    for (std::size_t j = begin; j < end && !found; ++j) {
      if (taken[j - begin] || !identical(expected[i], actual[j])) continue;
      taken[j - begin] = true;
      found = true;
    }
    if (!found) return false;
  }
  return true;
}

// Whether the rows are those expected, in their order where it is defined.
bool same_rows(reference::relation const& expected, std::vector<reference::row> const& actual) {
  if (expected.rows.size() != actual.size()) return false;
  for (std::size_t begin = 0, end = 0; begin < actual.size(); begin = end) {
    while (end < actual.size() && expected.ranks[end] == expected.ranks[begin]) ++end;
    if (!is_permutation(expected.rows, actual, begin, end)) return false;
  }
  return true;
}

bool same_error(reference::failure const& expected, std::string const& actual) {
  if (actual.empty()) return false;
  if (expected.any) return true;
  if (expected.text.ends_with('*')) {
    return actual.starts_with(expected.text.substr(0, expected.text.size() - 1));
  }
  return expected.text == actual;
}

std::string describe(std::vector<reference::row> const& rows, std::string const& error) {
  std::string text;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (i == 40) {
      text += "  ... " + std::to_string(rows.size()) + " rows\n";
      break;
    }
    text += "  " + reference::text_of(rows[i]) + "\n";
  }
  return text + (error.empty() ? "" : "  " + error + "\n");
}

bool agrees(reference::relation const& expected, engine_run const& actual) {
  if (expected.at_start) {
    return actual.failed_in == phase::starting && same_error(*expected.at_start, actual.error);
  }
  if (expected.at_end) {
    return actual.failed_in == phase::reading && same_error(*expected.at_end, actual.error) &&
           (expected.has_ties() || expected.at_end->any || same_rows(expected, actual.rows));
  }
  return actual.error.empty() && same_rows(expected, actual.rows);
}

}  // namespace

comparison compare(generated_plan const& query, reference::database const& data,
                   unsigned long kernel_context) {
  engine_run const actual = run_engine(query, kernel_context);
  comparison result;
  result.fails = !actual.error.empty();
  result.yields_rows = !result.fails && !actual.rows.empty();
  if (auto const refused = reference::planning_failure(query.plan)) {
    if (actual.failed_in != phase::planning || actual.error != refused->text) {
      result.difference = "expected, in planning:\n  " + refused->text + "\nactual:\n" +
                          describe(actual.rows, actual.error);
    }
    return result;
  }
  reference::environment scope(data, query.parameters);
  reference::relation const expected = reference::enumerate(query.plan, scope);
  result.unspecified = expected.unspecified;
  if (expected.unspecified || agrees(expected, actual)) return result;
  auto const& raised = expected.at_start ? expected.at_start : expected.at_end;
  result.difference = "expected:\n" + describe(expected.rows, raised ? raised->text : "") +
                      "actual:\n" + describe(actual.rows, actual.error);
  return result;
}

}  // namespace random_plans
