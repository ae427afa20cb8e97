// What tests of connections and statements share.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "sql/connection.h"

namespace sql_run_test {

// The rows of a query as lines: values as display_text writes them, with " | " between.
inline std::vector<std::string> lines_of(qd::sql::connection& data, std::string_view query) {
  std::vector<std::string> lines;
  qd::sql::statement statement = data.prepare(query);
  while (statement.step()) {
    std::string line;
    for (qd::sql::value const& each : statement.row()) {
      line += (line.empty() ? "" : " | ") + qd::sql::display_text(each);
    }
    lines.push_back(line);
  }
  return lines;
}

// The number of the error that `action` ends with; 0 when it ends well.
template <typename Action>
unsigned int error_of(Action&& action) {
  try {
    action();
  } catch (qd::sql::error const& failed) {
    return failed.code();
  }
  return 0;
}

inline unsigned int code(qd::sql::error_code of) {
  return static_cast<unsigned int>(of);
}

}  // namespace sql_run_test
