// One prepared statement and its run.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sql/run/connection_state.h"
#include "sql/run/operation.h"

namespace qd::sql {

struct statement_state {
  statement_state(std::shared_ptr<connection_state> of_connection, std::string_view text);
  ~statement_state() { reset(); }

  bool step();
  void reset() noexcept;
  std::string plan_text();

  // ready --step--> running --step--> finished, or failed; reset makes it ready again.
  enum class phase { ready, running, finished, failed };

  std::shared_ptr<connection_state> connection;
  std::shared_ptr<parsed_statement const> parsed;
  std::vector<kind> parameter_kinds;
  std::vector<value> parameters;
  std::vector<value> row;
  statement_outcome outcome;
  phase now = phase::ready;

  std::vector<result_column> const& columns() const { return operation_->columns(); }

 private:
  void prepare(reader& from);
  bool begin();
  void begin_without_access();
  void begin_read();
  void begin_write();
  void prepare_anew_if_changed(reader& from);
  bool undone(run_context& run);

  schema_key schema_;  // That operation_ was prepared under.
  std::shared_ptr<sql::catalogue> tables_;
  std::unique_ptr<operation> operation_;
};

}  // namespace qd::sql
