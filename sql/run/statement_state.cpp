#include "sql/run/statement_state.h"

#include "sql/run/error_translation.h"

namespace qd::sql {
namespace {

bool is_about_rows(syntax::statement const& statement) {
  // The statements whose preparation looks tables up. The others must not begin to read: in a
  // failed transaction ROLLBACK can be prepared.
  return std::visit(
      [](auto const& content) {
        using type = std::decay_t<decltype(content)>;
        return std::is_same_v<type, syntax::query> || std::is_same_v<type, syntax::insert> ||
               std::is_same_v<type, syntax::update> || std::is_same_v<type, syntax::delete_rows> ||
               std::is_same_v<type, syntax::copy> || std::is_same_v<type, syntax::explain> ||
               std::is_same_v<type, syntax::execute>;
      },
      statement.content);
}

// Throws the error being handled, saying what has become of its transaction.
[[noreturn]] void throw_without_undo() {
  try {
    throw_translated();
  } catch (error const& failed) {
    throw error(failed.code(),
                std::string(failed.what()) +
                    " (what the statement had written could not be undone: the transaction can "
                    "only be rolled back)",
                failed.position());
  }
}

}  // namespace

statement_state::statement_state(std::shared_ptr<connection_state> of_connection,
                                 std::string_view text)
    : connection(std::move(of_connection)), parsed(parse_statement(text)) {
  if (is_about_rows(parsed->content)) {
    reader from = connection->begin_read();
    prepare(from);
  } else {
    operation_ = make_operation(*parsed, {*connection, nullptr, nullptr, parameter_kinds});
  }
  parameters.resize(parameter_kinds.size(), operator_library::NullValue());
}

void statement_state::prepare(reader& from) {
  from.use_on_this_thread();
  embedded::thread_binding const binding = from.context().bind();
  schema_key const schema = from.schema();
  std::shared_ptr<sql::catalogue> tables = connection->tables_of(schema);
  operation_ = make_operation(*parsed, {*connection, &from, tables, parameter_kinds});
  // What the operation was bound to stays as long as the operation.
  tables_ = std::move(tables);
  schema_ = schema;
}

void statement_state::prepare_anew_if_changed(reader& from) {
  if (from.schema() == schema_) return;
  std::size_t const parameter_count = parameter_kinds.size();
  prepare(from);
  parameter_kinds.resize(parameter_count);
}

bool statement_state::step() {
  if (now == phase::finished || now == phase::failed) {
    throw error(error_code::wrong_row, "the statement's run has ended: reset it before it steps");
  }
  bool const goes_on = now == phase::running;
  stop_scope const running(connection->stop, goes_on ? operation_->reading() : 0);
  try {
    bool const found = goes_on ? operation_->next(row) : begin();
    if (found) {
      ++outcome.rows;
      now = phase::running;
    } else {
      row.clear();
      operation_->end();
      now = phase::finished;
    }
    return found;
  } catch (...) {
    row.clear();
    operation_->end();
    now = phase::failed;
    throw;
  }
}

// Whether there is a first row.
bool statement_state::begin() {
  outcome = {};
  switch (operation_->needs()) {
    case operation::access::none:
      begin_without_access();
      return false;
    case operation::access::write:
      begin_write();
      return false;
    case operation::access::read:
      begin_read();
      return operation_->next(row);
  }
  return false;
}

void statement_state::begin_without_access() {
  run_context run{*connection, outcome, parameters, std::nullopt, nullptr};
  operation_->start(run);
}

void statement_state::begin_read() {
  reader from = connection->begin_read();
  connection->stop.watch(from.context().context());
  prepare_anew_if_changed(from);
  run_context run{*connection, outcome, parameters, std::move(from), nullptr};
  operation_->start(run);
}

void statement_state::begin_write() {
  bool const alone = !connection->transaction;
  connection->refuse_failed();
  std::shared_ptr<open_transaction> const transaction =
      alone ? connection->begin_write() : connection->transaction;
  connection->stop.watch(transaction->kernel.context());
  reader through(transaction);
  prepare_anew_if_changed(through);
  run_context run{*connection, outcome, parameters, std::nullopt, transaction};
  // Definitions read the catalogue as they go.
  embedded::thread_binding const binding = transaction->kernel.bind();
  try {
    operation_->start(run);
    if (!alone) return;
    connection->stop.check();
    transaction->end_queries();
    transaction->kernel.commit();
  } catch (...) {
    operation_->end();
    outcome = {};
    if (!alone && !undone(run)) throw_without_undo();
    throw;
  }
}

// Takes back what a failed statement wrote; false when that is not possible.
bool statement_state::undone(run_context& run) {
  connection->stop.clear_contexts();
  try {
    while (!run.irrevocable && !run.undo.empty()) {
      run.undo.back()();
      run.undo.pop_back();
    }
  } catch (...) {
    // What the statement failed of is what its caller is to hear.
    run.irrevocable = true;
  }
  if (run.irrevocable) run.transaction->failed = true;
  return !run.irrevocable;
}

void statement_state::reset() noexcept {
  operation_->end();
  row.clear();
  now = phase::ready;
}

std::string statement_state::plan_text() {
  reader from = connection->begin_read();
  embedded::thread_binding const binding = from.context().bind();
  std::vector<kind> parameters_of_plan;
  std::shared_ptr<sql::catalogue> const tables = connection->tables_of(from.schema());
  return explain(*parsed, {*connection, &from, tables, parameters_of_plan});
}

}  // namespace qd::sql
