// What a statement does when it runs.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "sql/bind/bind.h"
#include "sql/plan/plan.h"
#include "sql/run/connection_state.h"

namespace qd::sql {

// What an operation is made with. The thread's metadata context is that of `from`.
struct preparation {
  connection_state& connection;
  reader* from;                            // Null for operations that need no access to prepare.
  std::shared_ptr<sql::catalogue> tables;  // Kept by whoever keeps what was bound.
  std::vector<kind>& parameters;           // Grows while binding.

  binding_context binding() const { return {*tables, from->context(), parameters}; }
  planning_context planning() const { return {*tables, from->context()}; }
};

// Prepares what was written in another text, that of a PREPARE: errors get a place in this one.
template <typename Action>
decltype(auto) at_place(text_position position, Action&& prepare) {
  try {
    return prepare();
  } catch (error const& refused) {
    throw error(refused.code(), refused.what(), position);
  }
}

// What a run leaves behind.
struct statement_outcome {
  std::uint64_t rows = 0;
  std::vector<refused_line> refused = {};
};

// What an operation runs with.
struct run_context {
  connection_state& connection;
  statement_outcome& outcome;
  std::span<value const> parameters;
  std::optional<reader> from;                     // Of operations that read.
  std::shared_ptr<open_transaction> transaction;  // Of operations that write.
  // Steps that take back what a failed statement wrote in a transaction of several statements; run
  // in reverse order. Each is put here before the writes that it takes back.
  std::vector<std::function<void()>> undo = {};
  bool irrevocable = false;  // Something was written that no step takes back.

  embedded::transaction& kernel() const { return transaction->kernel; }
  // Reads what the transaction has written, too.
  reader through_transaction() const { return reader(transaction); }
};

// Made of a parsed statement under one schema; runs any number of times, one after the other.
class operation {
 public:
  enum class access { none, read, write };

  virtual ~operation() = default;

  // What runs need. An operation without access does not depend on the schema either.
  virtual access needs() const = 0;
  virtual std::vector<result_column> const& columns() const;

  // Begins a run; an operation without rows does all its work.
  virtual void start(run_context& run) = 0;
  // Moves the next row into `row`; false at the end.
  virtual bool next(std::vector<value>& row);
  // The kernel context that the rows come through; 0 when there is none.
  virtual unsigned long reading() const { return 0; }
  virtual void end() noexcept {}
};

// The statement must outlive what is made of it.
std::unique_ptr<operation> make_operation(parsed_statement const& statement,
                                          preparation const& prepare);

// The makers of the kinds of operations.
std::unique_ptr<operation> make_query(syntax::query const& query, preparation const& prepare);
std::unique_ptr<operation> make_explain(parsed_statement const& explained,
                                        preparation const& prepare);
std::unique_ptr<operation> make_execute(parsed_statement const& statement,
                                        preparation const& prepare);
std::unique_ptr<operation> make_insert(parsed_statement const& statement,
                                       preparation const& prepare);
std::unique_ptr<operation> make_update(syntax::update const& update, preparation const& prepare);
std::unique_ptr<operation> make_delete(syntax::delete_rows const& deletion,
                                       preparation const& prepare);
std::unique_ptr<operation> make_copy(syntax::copy const& copy, preparation const& prepare);
std::unique_ptr<operation> make_create_table(syntax::create_table const& definition);
std::unique_ptr<operation> make_create_index(syntax::create_index const& definition);
std::unique_ptr<operation> make_drop(syntax::drop const& dropped);

// The plan of a statement that has one, as an indented tree; empty for others.
std::string explain(parsed_statement const& statement, preparation const& prepare);

// An operation that does all its work at once.
class action final : public operation {
 public:
  action(access needed, std::function<void(run_context&)> work)
      : needed_(needed), work_(std::move(work)) {}

  access needs() const override { return needed_; }
  void start(run_context& run) override { work_(run); }

 private:
  access needed_;
  std::function<void(run_context&)> work_;
};

}  // namespace qd::sql
