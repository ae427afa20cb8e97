#include "sql/run/connection_state.h"

namespace qd::sql {

void connection_state::refuse_failed() const {
  if (!transaction || !transaction->failed) return;
  throw error(error_code::bad_transaction,
              "a statement of the transaction failed and could not be undone: only ROLLBACK can "
              "follow");
}

reader connection_state::begin_read() {
  refuse_failed();
  if (transaction) return reader(transaction);
  return reader(data.begin_snapshot());
}

std::shared_ptr<open_transaction> connection_state::begin_write() {
  refuse_failed();
  auto const give_up = std::chrono::steady_clock::now() + writer_wait;
  for (;;) {
    try {
      return std::make_shared<open_transaction>(data.begin_write());
    } catch (embedded::error const& refused) {
      if (refused.kind() != embedded::error_kind::writer_busy) throw;
      stop.check();
      if (std::chrono::steady_clock::now() < give_up) continue;
      // The kernel's text tells how long it waited each time.
      throw error(error_code::bad_transaction,
                  "another write transaction is open, and did not end within " +
                      std::to_string(writer_wait.count()) + " seconds");
    }
  }
}

void connection_state::begin_transaction() {
  if (transaction) throw error(error_code::bad_transaction, "a transaction is open already");
  transaction = begin_write();
}

void connection_state::commit() {
  refuse_failed();
  if (!transaction) throw error(error_code::bad_transaction, "no transaction is open");
  // Whatever happens, the transaction ends here.
  std::shared_ptr<open_transaction> const ending = std::move(transaction);
  ending->end_queries();
  ending->kernel.commit();
}

void connection_state::roll_back() {
  if (!transaction) throw error(error_code::bad_transaction, "no transaction is open");
  std::shared_ptr<open_transaction> const ending = std::move(transaction);
  ending->end_queries();
  ending->kernel.roll_back();
}

void connection_state::before_schema_change(open_transaction& changed) {
  changed.end_queries();
  changed.pending_schema = ++pending_schemas_;
}

std::shared_ptr<parsed_statement const> connection_state::prepared_statement(
    syntax::statement const& execute) const {
  std::string const& name = std::get<syntax::execute>(execute.content).name;
  auto const found = prepared.find(name);
  if (found != prepared.end()) return found->second;
  throw error(error_code::unknown_name, "there is no prepared statement " + name, execute.position);
}

std::shared_ptr<sql::catalogue> connection_state::tables_of(schema_key const& schema) {
  if (!catalogue_ || catalogue_schema_ != schema) {
    catalogue_ = std::make_shared<sql::catalogue>();
    catalogue_schema_ = schema;
  }
  return catalogue_;
}

}  // namespace qd::sql
