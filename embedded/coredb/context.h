// A kernel context: one snapshot or the write transaction, with the iterators open in it and the
// buffers that it lends. One thread at a time uses it.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "coredb/block.h"
#include "coredb/block_table.h"
#include "coredb/registry.h"
#include "coredb/schema.h"
#include "coredb/status.h"
#include "coredb/store.h"

namespace qd::coredb {

struct database_state;
struct write_state;
class kernel_iterator;

class context {
 public:
  context(std::shared_ptr<database_state> database, store_access access,
          std::chrono::milliseconds writer_wait);
  ~context();

  // Ends a snapshot, but keeps what a later one can use: its transaction's memory, its spare
  // iterators and, as long as nothing is committed, its table of blocks. Returns the database,
  // which the context no longer keeps alive; only `wake` and the destructor may follow.
  std::shared_ptr<database_state> put_to_sleep() noexcept;
  // Begins a new snapshot, of everything committed so far. After an exception only the destructor
  // may follow.
  void wake(std::shared_ptr<database_state> database);
  // Counts the snapshots that this context was, so that iterators know when to renew their cursors.
  std::uint64_t life() const { return life_; }

  context(context const&) = delete;
  context& operator=(context const&) = delete;

  unsigned long handle() const { return place_->handle.load(std::memory_order_relaxed); }
  void bind_to_calling_thread();
  context_place& place() { return *place_; }

  store_transaction& transaction() { return transaction_; }
  store_transaction const& transaction() const { return transaction_; }
  coredb::schema const& schema() const { return *schema_; }
  void set_schema(std::shared_ptr<coredb::schema const> schema) {
    last_index_ = nullptr;
    schema_ = std::move(schema);
  }
  database_state& database() { return *database_; }

  // Null in a snapshot.
  write_state* writer() const { return writer_.get(); }

  // The image of a block, absent_block when it is not stored. In the write transaction it holds
  // until the next change.
  unsigned char const* block(std::uint64_t number) {
    unsigned char const* const known = blocks_.find(number);
    return known ? known : read_block(number);
  }
  // A block with the layout of its records.
  struct located_block {
    std::uint64_t number;
    unsigned char const* image;
    coredb::layout const* layout;  // Null for absent_block.
  };
  static constexpr std::uint64_t no_block = ~std::uint64_t{0};
  // As block(). The columns of an object, and the objects of a scan, are read one after the other,
  // so a snapshot keeps the block located last.
  // The result holds until the next call.
  located_block const& locate(std::uint64_t number) {
    if (number != recent_.number) locate_anew(number);
    return recent_;
  }
  // Brings a record into the processor's cache; its strings, too, if some were read of the records
  // before it.
  void prefetch(std::uint64_t oid, std::uint16_t layout);
  // To be called when a string or binary is read.
  void note_bytes_read() { records_with_strings_ = string_fetches_per_read; }

  // Opens an iterator. Returns a status for what the caller did wrong, and throws what the store
  // does.
  unsigned int open_iterator(std::uint64_t index_id, unsigned int flags, unsigned char const* first,
                             unsigned char const* last, unsigned long& handle);
  // Null when there is no such iterator.
  kernel_iterator* find_iterator(unsigned long handle);
  // Returns false when there is no such iterator.
  bool close_iterator(unsigned long handle) noexcept;
  // Closes all iterators, because the indexes that they walk are about to change.
  void forget_iterators() noexcept;

  // Closes all iterators for good, before a commit.
  void close_cursors() noexcept;

  // `size` bytes, aligned like an int, that stay until the next call.
  unsigned char* lend(std::size_t size);

 private:
  unsigned char const* read_block(std::uint64_t number);
  void locate_anew(std::uint64_t number);
  void begin_snapshot();
  std::unique_ptr<kernel_iterator> new_iterator(bool extent);
  bool add_iterator_place();
  index const* find_index(std::uint64_t id);
  std::uint64_t next_block();

  struct open_place {
    unsigned long handle = 0;
    std::unique_ptr<kernel_iterator> iterator;
    bool extent = false;
  };

  std::shared_ptr<database_state> database_;
  store_transaction transaction_;
  std::shared_ptr<coredb::schema const> schema_;
  index const* last_index_ = nullptr;  // Of schema_: the one opened last.
  std::uint64_t life_ = 0;
  block_table blocks_;            // Always empty in the write transaction.
  std::uint64_t next_block_ = 0;  // Of a snapshot: the stored counter; 0 before it is needed.
  // Its number is that of no block at first, and in the write transaction always.
  located_block recent_{no_block, nullptr, nullptr};
  static constexpr unsigned int string_fetches_per_read = 64;
  unsigned int records_with_strings_ = 0;  // So many records more are fetched with their strings.
  std::unique_ptr<write_state> writer_;
  std::vector<open_place> iterators_;
  std::vector<std::uint32_t> free_iterators_;
  // Closed iterators, to be used again: over entries, over extents.
  std::vector<std::unique_ptr<kernel_iterator>> spare_iterators_[2];
  std::vector<std::uint32_t> lent_;
  // Last: once it is set, the context can be found. Null while it sleeps.
  context_place* place_ = nullptr;
};

// The context of a handle, when the calling thread may read in it now; otherwise null, and `status`
// says why, status_stopped included.
inline context* find_context(unsigned long handle, unsigned int& status) {
  context_place* place = nullptr;
  context* const found = find_context_place(handle, place, status);
  if (found && place->stopped.load(std::memory_order_relaxed)) [[unlikely]] {
    status = status_stopped;
    return nullptr;
  }
  return found;
}

// The same for the C++ interface, which reports why not by error: stopped, bad_transaction.
context& usable_context(unsigned long handle);

}  // namespace qd::coredb
