// A database: opening one, and the contexts in which it is read and written.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>

#include "coredb/bulk_load.h"
#include "coredb/error.h"
#include "coredb/export.h"
#include "coredb/field.h"
#include "coredb/schema.h"

namespace qd::coredb {

class context;
class snapshot;
class write_transaction;
struct database_state;
struct write_state;

// One reservation of object ids is no greater. The numbers that it passes over cost every later
// snapshot a little memory, a byte for 4096 ids, whether they are used or not.
inline constexpr std::uint64_t most_oids_reserved_at_once = std::uint64_t{1} << 32;

struct open_options {
  // Creates the database when nothing is there.
  bool create = true;
  // Address space reserved for the database, its greatest possible size. It cannot change while the
  // database is open; it takes no memory and no disk before it is used.
  std::uint64_t map_bytes = std::uint64_t{32} << 30;
  // How long begin_write waits for another write transaction, of any process, to end.
  std::chrono::milliseconds writer_wait{10'000};
};

// An open database. Snapshots and transactions keep what they need of it alive; opening one path
// twice in a process is fine, and so are several processes. All members may be called from any
// thread. A process forked off must neither use nor open again what its parent has open; what it
// destroys of that stays as it is for the parent.
class QD_COREDB_API database {
 public:
  // `path` is a file; a second file beside it, with "-lock" appended, coordinates processes.
  // Symbolic links are followed; a file with several hard links is refused, and nothing may rename
  // it while it is open. Throws error: not_a_database, format_version, cannot_open.
  static std::shared_ptr<database> open(std::filesystem::path const& path,
                                        open_options const& options = {});
  // A database of this process alone, removed when the last user of it is gone.
  static std::shared_ptr<database> open_temporary(open_options const& options = {});

  ~database();
  database(database const&) = delete;
  database& operator=(database const&) = delete;

  // Whether this call of open created the database.
  bool created() const;
  std::filesystem::path const& path() const;

  // A consistent view of everything committed so far, bound to the calling thread. Throws
  // error(too_many) when too many contexts are open.
  std::unique_ptr<snapshot> begin_snapshot();
  // The one write transaction; waits for the present one to end, then throws error(writer_busy).
  std::unique_ptr<write_transaction> begin_write();

 private:
  database(std::shared_ptr<database_state> state, bool created,
           std::chrono::milliseconds writer_wait);

  std::shared_ptr<database_state> state_;
  bool created_;
  std::chrono::milliseconds writer_wait_;
};

// A read context. Reads go through the vela_ functions with its handle. Its iterators end with it.
class QD_COREDB_API snapshot {
 public:
  explicit snapshot(std::unique_ptr<context> context);
  ~snapshot();
  snapshot(snapshot const&) = delete;
  snapshot& operator=(snapshot const&) = delete;

  unsigned long handle() const;
  coredb::schema const& schema() const;
  // Hands the context to the calling thread. No other thread may be using it.
  void bind_to_calling_thread();

 private:
  std::unique_ptr<context> context_;
};

// The write context. Its own reads, through the vela_ functions with its handle, see its changes.
// It stays with the thread that began it, and must end there: when it is destroyed on another
// thread its changes are gone, but every later begin_write, of any process, is refused with
// writer_busy until this process ends. Strings and binaries of more than 1024 bytes stay in memory
// until the commit, other objects go to the store after some 64 MiB. An operation that throws
// anything but unique_violation, bad_object or bad_schema leaves the transaction failed: all that
// remains is to roll it back.
class QD_COREDB_API write_transaction {
 public:
  explicit write_transaction(std::unique_ptr<context> context);
  // Rolls back what was not committed.
  ~write_transaction();
  write_transaction(write_transaction const&) = delete;
  write_transaction& operator=(write_transaction const&) = delete;

  unsigned long handle() const;
  // With this transaction's changes so far; the reference dies with the next change of the schema.
  coredb::schema const& schema() const;

  // Returns the layout's id.
  std::uint16_t create_layout(layout_definition const& definition);
  // Sets what column 2 of the layout's objects reads.
  void set_class_oid(std::uint16_t layout, std::uint64_t class_oid);
  // Removes the layout, its objects and the indexes of its class. No layout may derive from it.
  void drop_layout(std::uint16_t layout);
  // Returns the index's id; enters the objects that are there already.
  std::uint64_t create_index(index_definition const& definition);
  void drop_index(std::uint64_t id);

  // Inserts an object and returns its id. `fields` has one field per column from column 3 on, of
  // the column's kind. Their bytes are copied.
  std::uint64_t insert(std::uint16_t layout, std::span<field const> fields);
  // Sets `count` consecutive object ids aside for objects of the layout and returns the first. An
  // id that is never used costs nothing.
  std::uint64_t reserve_oids(std::uint16_t layout, std::uint64_t count);
  // Inserts an object under an id that reserve_oids set aside in this transaction. An id whose
  // object was erased is not used again.
  void insert_reserved(std::uint64_t oid, std::span<field const> fields);
  // The layout that an id was set aside for in this transaction; empty after its object was erased.
  std::optional<std::uint16_t> reserved_layout(std::uint64_t oid) const;
  // Begins a bulk insert into a layout: objects of it that are inserted from now on stand in no
  // index before finish_bulk. Reads by id and the walk of an extent find them. One at a time;
  // meanwhile neither the schema changes nor does the transaction commit.
  void begin_bulk(std::uint16_t layout);
  // Enters the objects into the indexes. Objects whose key a unique index has already, or that
  // another one with a lower id wants, too, are removed and reported. It holds 32 bytes and the key
  // of one index for each of at most 1,048,576 objects at a time. A stop leaves the transaction
  // failed.
  std::vector<refused_object> finish_bulk();
  // Removes the objects.
  void abandon_bulk();
  // Throws error(bad_transaction) while a bulk insert is open.
  void require_no_bulk() const;

  void update(std::uint64_t oid, std::span<field_change const> changes);
  void erase(std::uint64_t oid);
  // The layout of an object; empty when there is no such object.
  std::optional<std::uint16_t> layout_of(std::uint64_t oid) const;

  // Throws error(bad_transaction) when the transaction has ended or belongs to another thread.
  void require_owner() const;
  // Grows with every change, a refused or failed one included if it had begun to write.
  std::uint64_t change_count() const;

  // Ends the transaction. When commit throws, nothing was committed. Indexed references to reserved
  // ids that have no object become NULL.
  void commit();
  void roll_back() noexcept;

 private:
  write_state& active() const;

  std::unique_ptr<context> context_;
};

// Asks a context to stop, from any thread: its next iterator step or read reports status_stopped.
// Returns false when the handle is of no open context.
QD_COREDB_API bool request_stop(unsigned long handle) noexcept;
// Takes the request back, so that the context can be used again.
QD_COREDB_API bool clear_stop(unsigned long handle) noexcept;

}  // namespace qd::coredb
