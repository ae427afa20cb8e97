#include "sql_random/two_engines.h"

#include <algorithm>
#include <stdexcept>

namespace sql_random {

two_engines::two_engines(sample_database const& content) {
  sqlite3* opened = nullptr;
  int const status = sqlite3_open(":memory:", &opened);
  sqlite_.reset(opened);
  if (status != SQLITE_OK) throw std::runtime_error("SQLite opens no database");
  execute_sqlite("PRAGMA case_sensitive_like = ON");
  tested_.execute("BEGIN");
  for (std::string const& statement : content.tables) {
    execute_sqlite(statement);
    tested_.execute(statement);
  }
  for (std::string const& statement : content.indexes) tested_.execute(statement);
  tested_.execute("COMMIT");
}

void two_engines::execute_sqlite(std::string const& statement) {
  char* message = nullptr;
  if (sqlite3_exec(sqlite_.get(), statement.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
    std::string const text = message ? message : "";
    sqlite3_free(message);
    throw std::runtime_error("SQLite: " + text + ": " + statement);
  }
}

answer two_engines::tested(std::string const& query, parameters const& given) {
  answer result;
  try {
    qd::sql::statement statement = tested_.prepare(query);
    if (given.number && statement.parameter_count() >= 1) statement.bind(1, *given.number);
    if (given.text && statement.parameter_count() >= 2) statement.bind_text(2, *given.text);
    while (statement.step()) {
      std::string line;
      for (std::size_t i = 0; i < statement.row().size(); ++i) {
        line += (i == 0 ? "" : "\t") + statement.text(i);
      }
      result.rows.push_back(std::move(line));
    }
  } catch (qd::sql::error const& failed) {
    result.error = std::to_string(failed.code()) + " " + failed.what();
  }
  return result;
}

std::string two_engines::plan_of(std::string const& query) {
  return tested_.prepare(query).plan_text();
}

answer two_engines::sqlite(std::string const& query, parameters const& given, bool optimised) {
  answer result;
  unsigned int const left_out = optimised ? 0 : ~0U;
  sqlite3_test_control(SQLITE_TESTCTRL_OPTIMIZATIONS, sqlite_.get(), left_out);
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(sqlite_.get(), query.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    result.error = sqlite3_errmsg(sqlite_.get());
    return result;
  }
  std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> const owner(statement, sqlite3_finalize);
  int const number = sqlite3_bind_parameter_index(statement, "$1");
  int const text = sqlite3_bind_parameter_index(statement, "$2");
  if (number > 0 && given.number) sqlite3_bind_int64(statement, number, *given.number);
  if (text > 0 && given.text) {
    sqlite3_bind_text(statement, text, given.text->c_str(), -1, SQLITE_TRANSIENT);
  }
  int status = sqlite3_step(statement);
  for (; status == SQLITE_ROW; status = sqlite3_step(statement)) {
    std::string line;
    for (int i = 0; i < sqlite3_column_count(statement); ++i) {
      auto const* const content = sqlite3_column_text(statement, i);
      line += i == 0 ? "" : "\t";
      line += content ? reinterpret_cast<char const*>(content) : "NULL";
    }
    result.rows.push_back(std::move(line));
  }
  if (status != SQLITE_DONE) result.error = sqlite3_errmsg(sqlite_.get());
  return result;
}

std::string difference(answer tested, answer expected, bool ordered) {
  if (!tested.error.empty() || !expected.error.empty()) {
    // SQLite's own fault: it says so of right joins that it has moved out of a subquery.
    if (expected.error == "ON clause references tables to its right") return {};
    if (tested.error.empty()) return "only SQLite refuses: " + expected.error;
    return "refused: " + tested.error + "; SQLite: " + expected.error;
  }
  if (!ordered) {
    std::sort(tested.rows.begin(), tested.rows.end());
    std::sort(expected.rows.begin(), expected.rows.end());
  }
  if (tested.rows == expected.rows) return {};
  auto const listed = [](std::vector<std::string> const& rows) {
    std::string text;
    for (std::string const& row : rows) text += "  " + row + "\n";
    return text;
  };
  return "rows:\n" + listed(tested.rows) + "expected:\n" + listed(expected.rows);
}

}  // namespace sql_random
