#include "sql/run/reader.h"

#include "sql/run/query.h"

namespace qd::sql {

void open_transaction::end_queries() noexcept {
  while (!queries.empty()) queries.back()->end();
}

reader::reader(embedded::snapshot begun) : snapshot_(std::move(begun)), thread_(this_thread()) {}

reader::reader(std::shared_ptr<open_transaction> transaction)
    : transaction_(std::move(transaction)), thread_(this_thread()) {}

schema_key reader::schema() {
  std::uint64_t const version = context().schema_version();
  return {version, transaction_ ? transaction_->pending_schema : 0};
}

void const* reader::this_thread() noexcept {
  thread_local char const mark = 0;
  return &mark;
}

void reader::move_to_this_thread() {
  // The kernel context stays with the thread when the binding ends.
  if (snapshot_) static_cast<void>(snapshot_->bind());
  thread_ = this_thread();
}

}  // namespace qd::sql
