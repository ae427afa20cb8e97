// The ordered store underneath: key spaces of byte strings, ordered by memcmp, with snapshots
// and one write batch at a time. This is all that the kernel asks of a store; lmdb_store.cpp gives
// it over LMDB.
//
// Every function throws coredb::error, or std::bad_alloc. Views of stored bytes have no alignment
// and hold until the transaction ends or, in the write transaction, until the next change.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>

#include "coredb/keyspace.h"

struct MDB_cursor;
struct MDB_env;
struct MDB_txn;

namespace qd::coredb {

using byte_view = std::span<unsigned char const>;

// No key may be longer.
inline constexpr std::size_t longest_store_key = 511;

struct store_settings {
  bool create = true;
  std::uint64_t map_bytes = 0;
  // The number of the format that a new database gets and an existing one must have.
  std::uint64_t format = 0;
  bool durable = true;  // A commit waits until the disk has it.
};

class store_transaction;

class store {
 public:
  store(std::filesystem::path const& path, store_settings const& settings);
  ~store();
  store(store const&) = delete;
  store& operator=(store const&) = delete;

  std::filesystem::path const& path() const { return path_; }
  bool created() const { return created_; }
  // False in a process forked off from the one that opened the store.
  bool of_this_process() const noexcept;

 private:
  friend class store_transaction;
  friend class store_cursor;

  void open_environment(store_settings const& settings);
  bool open_keyspaces(std::uint64_t format);
  void format(std::uint64_t number);
  void check_format(std::uint64_t number);
  void refuse_format(std::uint64_t stored, std::uint64_t number) const;
  std::optional<std::uint64_t> stored_format(store_transaction const& transaction) const;
  void cover_pages();
  void lock_writer(std::chrono::milliseconds wait);
  void unlock_writer() noexcept;

  std::filesystem::path path_;
  MDB_env* environment_ = nullptr;
  unsigned int keyspaces_[keyspace_count] = {};
  // Excludes the writers of all processes while it is locked, and dies with its process.
  int lock_file_ = -1;
  // The same among the threads of this process.
  std::atomic_flag writing_ = ATOMIC_FLAG_INIT;
  // A write batch ended on another thread than it began, where LMDB's own lock cannot be given
  // back: there are no further writers in this process, and none in others before it ends.
  std::atomic<bool> writer_lost_ = false;
  bool created_ = false;
  int process_ = 0;  // The process that opened the store; its children must leave it alone.
};

enum class store_access { read, write };

// A snapshot, or the write batch. Without a commit a write batch leaves nothing. A write batch ends
// on the thread that began it; see `lost`.
class store_transaction {
 public:
  // A write batch waits until no other is open, for `wait` at most: error(writer_busy).
  store_transaction(store& store, store_access access, std::chrono::milliseconds wait = {});
  ~store_transaction();
  store_transaction(store_transaction const&) = delete;
  store_transaction& operator=(store_transaction const&) = delete;

  store& parent() const { return store_; }
  // Whether this is a write batch of another thread. When it goes here, its changes go with it, but
  // its locks stay, and later writers are refused: error(writer_busy).
  bool lost() const noexcept;
  // Counts commits: snapshots with equal ids see the same pages.
  std::uint64_t id() const;

  std::optional<byte_view> get(keyspace space, byte_view key) const;

  void put(keyspace space, byte_view key, byte_view value);
  // Stores a value of `size` bytes that the caller writes before its next call.
  unsigned char* reserve(keyspace space, byte_view key, std::size_t size);
  // Returns false when there is no such key.
  bool erase(keyspace space, byte_view key);

  // All cursors must be gone. Whether it throws or not, the transaction has ended.
  void commit();

  // Lets go of a snapshot's pages, in the process that opened the store; only `renew`, and the
  // destructor, may follow. Its cursors must be renewed, too, before they are used again.
  void reset() noexcept;
  // Makes it a snapshot of what is committed now. When it throws, it stays reset.
  void renew();

 private:
  friend class store;
  friend class store_cursor;

  void end() noexcept;

  store& store_;
  MDB_txn* transaction_ = nullptr;
  store_access access_;
  int thread_ = 0;  // The system's id of the thread that began a write batch.
};

// A position in one key space. It must go before its transaction ends; a snapshot's may outlive the
// transaction's reset.
class store_cursor {
 public:
  store_cursor(store_transaction const& transaction, keyspace space);
  ~store_cursor();
  store_cursor(store_cursor&& other) noexcept;
  store_cursor& operator=(store_cursor&& other) noexcept;

  // Each returns whether there is such an entry; `key` and `value` are its.
  bool seek(byte_view key);  // The first at or above `key`.
  bool seek_first();
  bool seek_last();
  bool next();
  bool previous();

  // Stores an entry, as store_transaction::put does, and stays on it. Writing in the order of the
  // keys is faster than through the transaction.
  void put(byte_view key, byte_view value);
  // The same for a key greater than all in the space, which fills the pages to their ends. Returns
  // false, and stores nothing, when there is a greater one.
  bool append(byte_view key, byte_view value);

  // Takes the cursor into the transaction's new snapshot, nowhere.
  void renew(store_transaction const& transaction);

  byte_view key() const { return key_; }
  byte_view value() const { return value_; }

 private:
  bool move(int operation, byte_view key);

  store* store_;
  MDB_cursor* cursor_ = nullptr;
  byte_view key_;
  byte_view value_;
};

}  // namespace qd::coredb
