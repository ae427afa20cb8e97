// What statements read through: a snapshot of their own, or the open transaction.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "dbmetalayer/database.h"

namespace qd::sql {

class query;

// Names a schema: what was prepared under one holds under an equal one. The version alone does not
// tell the pending schemas of a transaction from one another, nor from those that others commit.
struct schema_key {
  std::uint64_t version = 0;
  std::uint64_t pending = 0;  // Of a transaction that changed the schema; never used twice.
  friend bool operator==(schema_key const&, schema_key const&) = default;
};

// The write transaction of BEGIN, or of one statement.
struct open_transaction {
  explicit open_transaction(embedded::transaction begun) : kernel(std::move(begun)) {}

  // Ends every query that reads through the transaction. To be called before it ends and before its
  // schema changes: both close the kernel's iterators, and a query must not close them again.
  void end_queries() noexcept;

  embedded::transaction kernel;
  std::vector<query*> queries;  // Those with a run that reads through the transaction.
  std::uint64_t pending_schema = 0;
  bool failed = false;  // Only ROLLBACK is left.
};

class reader {
 public:
  explicit reader(embedded::snapshot begun);
  explicit reader(std::shared_ptr<open_transaction> transaction);

  embedded::read_context& context() {
    return transaction_ ? static_cast<embedded::read_context&>(transaction_->kernel) : *snapshot_;
  }
  // Null when it reads a snapshot.
  open_transaction* transaction() const { return transaction_.get(); }
  schema_key schema();
  // A snapshot serves whatever thread steps at the moment; a transaction stays with its own.
  void use_on_this_thread() {
    if (thread_ != this_thread()) [[unlikely]]
      move_to_this_thread();
  }

 private:
  // Differs between threads that live at the same time.
  static void const* this_thread() noexcept;
  void move_to_this_thread();

  std::optional<embedded::snapshot> snapshot_;
  std::shared_ptr<open_transaction> transaction_;
  void const* thread_;
};

}  // namespace qd::sql
