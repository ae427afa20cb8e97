// One database in the engine under test and in SQLite, and the answers of both.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sql/connection.h"
#include "sql_random/query_generator.h"

namespace sql_random {

// The values of $1 and $2; none: NULL.
struct parameters {
  std::optional<long> number;
  std::optional<std::string> text;
};

struct answer {
  std::vector<std::string> rows;  // Values as text, with tabs between.
  std::string error;              // Empty when there is none.
};

class two_engines {
 public:
  // Throws when one of the engines refuses a statement.
  explicit two_engines(sample_database const& content);

  answer tested(std::string const& query, parameters const& given);
  // SQLite moves conditions of right joins wrongly in places; without its optimisations it does not.
  answer sqlite(std::string const& query, parameters const& given, bool optimised = true);
  std::string plan_of(std::string const& query);

 private:
  void execute_sqlite(std::string const& statement);

  struct closer {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  qd::sql::connection tested_ = qd::sql::connection::open_temporary();
  std::unique_ptr<sqlite3, closer> sqlite_;
};

// What distinguishes the answers; empty when they agree.
std::string difference(answer tested, answer expected, bool ordered);

}  // namespace sql_random
