// What a connection and its statements share.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "sql/catalogue/catalogue.h"
#include "sql/connection.h"
#include "sql/run/parsed_statement.h"
#include "sql/run/reader.h"
#include "sql/run/stop_signal.h"

namespace qd::sql {

struct connection_state {
  connection_state(embedded::database opened, connection_options chosen)
      : data(std::move(opened)), options(std::move(chosen)) {}

  // The open transaction, or a new snapshot. Throws when the transaction has failed.
  reader begin_read();
  // Waits for the writer of another connection or process to end, and can be stopped meanwhile.
  std::shared_ptr<open_transaction> begin_write();

  // Throws when the open transaction has failed.
  void refuse_failed() const;

  void begin_transaction();
  void commit();
  void roll_back();

  // To be called before a transaction's schema changes.
  void before_schema_change(open_transaction& transaction);

  // The statement that an EXECUTE names.
  std::shared_ptr<parsed_statement const> prepared_statement(
      syntax::statement const& execute) const;

  // The tables under a schema.
  std::shared_ptr<sql::catalogue> tables_of(schema_key const& schema);

  embedded::database data;
  connection_options options;
  stop_signal stop;
  std::shared_ptr<open_transaction> transaction;  // Of BEGIN; null outside.
  // By name. Whoever executes one keeps it.
  std::map<std::string, std::shared_ptr<parsed_statement const>, std::less<>> prepared;

 private:
  schema_key catalogue_schema_;
  std::shared_ptr<sql::catalogue> catalogue_;  // Under that schema; null at first.
  std::uint64_t pending_schemas_ = 0;
};

// How long a writer waits for another one.
inline constexpr std::chrono::seconds writer_wait{10};
// How long it waits before it looks whether it is to stop.
inline constexpr std::chrono::milliseconds writer_wait_slice{50};

}  // namespace qd::sql
