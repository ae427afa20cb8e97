// The store over LMDB: one file, its key spaces as named databases, read transactions that are not
// tied to threads.
#include <fcntl.h>
#include <lmdb.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <thread>
#include <utility>

#include "coredb/byte_order.h"
#include "coredb/error.h"
#include "coredb/store.h"

namespace qd::coredb {
namespace {

std::string name_of(std::size_t space) {
  constexpr char const* names[] = {"meta", "blocks", "long", "extents", "referrers"};
  if (space < std::size(names)) return names[space];
  return "entries" + std::to_string(space - std::size(names));
}

constexpr unsigned char format_name[] = {'f', 'o', 'r', 'm', 'a', 't'};
constexpr unsigned int most_readers = 1024;
// How long a process waits for another that is writing while it makes an empty file a database.
constexpr std::chrono::milliseconds format_wait{10'000};

// Whether a file cannot grow, for which LMDB often has no better word than "input/output error".
bool has_no_room(std::filesystem::path const& path) {
  constexpr std::uint64_t least_room = 65'536;
  struct statvfs system {};
  if (statvfs(path.c_str(), &system) == 0 && system.f_bavail * system.f_frsize < least_room) {
    return true;
  }
  rlimit limit{};
  struct stat file {};
  return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
         stat(path.c_str(), &file) == 0 &&
         static_cast<std::uint64_t>(file.st_size) + least_room > limit.rlim_cur;
}

[[noreturn]] void fail(int code, std::filesystem::path const& path, char const* task) {
  if (code == ENOMEM) throw std::bad_alloc();
  std::string const text =
      "database \"" + path.string() + "\": cannot " + task + ": " + mdb_strerror(code);
  switch (code) {
    case MDB_MAP_FULL:
    case MDB_TXN_FULL:
      throw error(error_kind::map_full, text + " (the database is full)");
    case MDB_MAP_RESIZED:
      throw error(error_kind::map_full,
                  text +
                      " (another process made it greater than the capacity that it was opened "
                      "with here: open it again with a greater capacity)");
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      throw error(error_kind::map_full, text + " (the disk is full)");
    case EIO:
      if (has_no_room(path)) throw error(error_kind::map_full, text + " (the disk is full)");
      throw error(error_kind::storage, text);
    case MDB_READERS_FULL:
      throw error(error_kind::too_many, text);
    case MDB_INVALID:
      throw error(error_kind::not_a_database, text);
    case MDB_VERSION_MISMATCH:
      throw error(error_kind::format_version, text);
    default:
      throw error(error_kind::storage, text);
  }
}

void check(int code, std::filesystem::path const& path, char const* task) {
  if (code != MDB_SUCCESS) [[unlikely]] {
    fail(code, path, task);
  }
}

MDB_val to_value(byte_view bytes) {
  return {bytes.size(), const_cast<unsigned char*>(bytes.data())};
}

byte_view to_view(MDB_val const& value) {
  return {static_cast<unsigned char const*>(value.mv_data), value.mv_size};
}

// LMDB's own order of keys, memcmp and then the size, eight bytes at a time: a search compares some
// twenty keys, most of them short and equal in their first bytes.
int compare_keys(MDB_val const* left, MDB_val const* right) {
  auto const* const left_bytes = static_cast<unsigned char const*>(left->mv_data);
  auto const* const right_bytes = static_cast<unsigned char const*>(right->mv_data);
  std::size_t const common = std::min(left->mv_size, right->mv_size);
  std::size_t position = 0;
  for (; position + 8 <= common; position += 8) {
    std::uint64_t const left_word = get_big_endian(left_bytes + position);
    std::uint64_t const right_word = get_big_endian(right_bytes + position);
    if (left_word != right_word) return left_word < right_word ? -1 : 1;
  }
  if (position < common && common >= 8) {
    // Bytes that were found equal are compared again.
    std::uint64_t const left_word = get_big_endian(left_bytes + common - 8);
    std::uint64_t const right_word = get_big_endian(right_bytes + common - 8);
    if (left_word != right_word) return left_word < right_word ? -1 : 1;
    position = common;
  }
  for (; position < common; ++position) {
    if (left_bytes[position] != right_bytes[position]) {
      return left_bytes[position] < right_bytes[position] ? -1 : 1;
    }
  }
  return left->mv_size < right->mv_size ? -1 : left->mv_size > right->mv_size;
}

[[noreturn]] void refuse(error_kind kind, std::filesystem::path const& path,
                         std::string const& why) {
  throw error(kind, "database \"" + path.string() + "\": " + why);
}

std::string system_text() {
  return std::strerror(errno);
}

// Looks at a file before LMDB does: LMDB maps what it opens, and reads without looking twice.
void refuse_foreign_file(std::filesystem::path const& path, bool create) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    if (errno == ENOENT && create) return;
    refuse(error_kind::cannot_open, path, system_text());
  }
  if (!S_ISREG(status.st_mode)) refuse(error_kind::not_a_database, path, "not a regular file");
  if (status.st_nlink > 1) {
    refuse(
        error_kind::cannot_open, path,
        "the file has " + std::to_string(status.st_nlink) +
            " names (hard links), and users of different names would not see each other's locks");
  }
  if (status.st_size == 0 && create) return;
  int const file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) refuse(error_kind::cannot_open, path, system_text());
  // A page header of 16 bytes, then the magic number and the version.
  std::uint32_t start[6] = {};
  ssize_t const size = pread(file, start, sizeof start, 0);
  ::close(file);
  if (size != sizeof start || start[4] != 0xBEEFC0DE) {
    refuse(error_kind::not_a_database, path, "not a database file");
  }
}

}  // namespace

store::store(std::filesystem::path const& path, store_settings const& settings)
    : path_(path), process_(getpid()) {
  refuse_foreign_file(path, settings.create);
  try {
    open_environment(settings);
    cover_pages();
    if (!open_keyspaces(settings.format)) {
      if (!settings.create) refuse(error_kind::not_a_database, path_, "an empty file");
      format(settings.format);
    }
    check_format(settings.format);
  } catch (...) {
    if (environment_) mdb_env_close(environment_);
    if (lock_file_ >= 0) ::close(lock_file_);
    throw;
  }
}

store::~store() {
  if (!of_this_process()) return;
  mdb_env_close(environment_);
  ::close(lock_file_);
}

void store::open_environment(store_settings const& settings) {
  check(mdb_env_create(&environment_), path_, "open");
  check(mdb_env_set_maxdbs(environment_, keyspace_count), path_, "open");
  check(mdb_env_set_maxreaders(environment_, most_readers), path_, "open");
  check(mdb_env_set_mapsize(environment_, settings.map_bytes), path_, "reserve its size");
  unsigned int const flags = MDB_NOSUBDIR | MDB_NOTLS | (settings.durable ? 0u : MDB_NOSYNC);
  int const code = mdb_env_open(environment_, path_.c_str(), flags, 0644);
  if (code == EACCES || code == ENOENT || code == EPERM || code == EROFS || code == ENOTDIR) {
    errno = code;
    refuse(error_kind::cannot_open, path_, system_text());
  }
  if (code == ENOMEM) {
    refuse(error_kind::cannot_open, path_,
           "cannot reserve " + std::to_string(settings.map_bytes) + " bytes of address space");
  }
  check(code, path_, "open");
  lock_file_ = ::open(path_.c_str(), O_RDWR | O_CLOEXEC);
  if (lock_file_ < 0) refuse(error_kind::cannot_open, path_, system_text());
  int dead_readers = 0;
  check(mdb_reader_check(environment_, &dead_readers), path_, "check its readers");
}

// Makes the file reach to its last page, so that no page read lies behind its end, where reading
// would end the process. Pages that a cut file lost are zero then, and are refused as damaged.
void store::cover_pages() {
  MDB_envinfo information{};
  check(mdb_env_info(environment_, &information), path_, "read its size");
  MDB_stat statistics{};
  check(mdb_env_stat(environment_, &statistics), path_, "read its page size");
  struct stat status {};
  if (fstat(lock_file_, &status) != 0) refuse(error_kind::storage, path_, system_text());
  auto const needed = static_cast<off_t>((information.me_last_pgno + 1) * statistics.ms_psize);
  if (status.st_size >= needed) return;
  // Another process may be writing: this adds to the file and touches nothing that is there.
  if (fallocate(lock_file_, 0, needed - 1, 1) != 0) fail(errno, path_, "extend the file");
}

// Returns false when the file is empty. Another format may have other key spaces: it is refused
// once the first one is open.
bool store::open_keyspaces(std::uint64_t format) {
  store_transaction transaction(*this, store_access::read);
  for (std::size_t i = 0; i < keyspace_count; ++i) {
    int const code = mdb_dbi_open(transaction.transaction_, name_of(i).c_str(), 0, &keyspaces_[i]);
    if (code == MDB_NOTFOUND) {
      MDB_dbi names = 0;
      check(mdb_dbi_open(transaction.transaction_, nullptr, 0, &names), path_, "open");
      MDB_stat statistics{};
      check(mdb_stat(transaction.transaction_, names, &statistics), path_, "open");
      if (statistics.ms_entries == 0) return false;
      refuse(error_kind::not_a_database, path_, "a file of another program");
    }
    if (code == MDB_INCOMPATIBLE) {
      refuse(error_kind::not_a_database, path_, "a file of another program");
    }
    check(code, path_, "open its key spaces");
    check(mdb_set_compare(transaction.transaction_, keyspaces_[i], compare_keys), path_, "open");
    if (i == static_cast<std::size_t>(keyspace::meta)) {
      if (auto const stored = stored_format(transaction)) refuse_format(*stored, format);
    }
  }
  // Ends the transaction so that the key spaces stay open.
  transaction.commit();
  return true;
}

void store::format(std::uint64_t number) {
  store_transaction transaction(*this, store_access::write, format_wait);
  for (std::size_t i = 0; i < keyspace_count; ++i) {
    check(mdb_dbi_open(transaction.transaction_, name_of(i).c_str(), MDB_CREATE, &keyspaces_[i]),
          path_, "create its key spaces");
    check(mdb_set_compare(transaction.transaction_, keyspaces_[i], compare_keys), path_, "open");
  }
  // Another process may have been faster.
  created_ = !stored_format(transaction);
  if (created_) {
    unsigned char bytes[sizeof number];
    put_big_endian(bytes, number);
    transaction.put(keyspace::meta, format_name, bytes);
  }
  transaction.commit();
}

void store::check_format(std::uint64_t number) {
  store_transaction const transaction(*this, store_access::read);
  std::optional<std::uint64_t> const stored = stored_format(transaction);
  if (!stored) refuse(error_kind::not_a_database, path_, "a file of another program");
  refuse_format(*stored, number);
}

void store::refuse_format(std::uint64_t stored, std::uint64_t number) const {
  if (stored == number) return;
  refuse(error_kind::format_version, path_,
         "its format is " + std::to_string(stored) + "; this library reads and writes format " +
             std::to_string(number));
}

std::optional<std::uint64_t> store::stored_format(store_transaction const& transaction) const {
  std::optional<byte_view> const bytes = transaction.get(keyspace::meta, format_name);
  if (!bytes || bytes->size() != sizeof(std::uint64_t)) return std::nullopt;
  return get_big_endian(bytes->data());
}

// LMDB itself waits for the present writer without an end, so writers pass this lock first. Nothing
// wakes a waiter: it looks again after a pause.
void store::lock_writer(std::chrono::milliseconds wait) {
  auto const deadline = std::chrono::steady_clock::now() + wait;
  std::chrono::microseconds pause{50};
  for (;;) {
    if (writer_lost_.load(std::memory_order_relaxed)) {
      refuse(error_kind::writer_busy, path_,
             "a write transaction was ended by another thread than the one that began it: nothing "
             "can be written any more until this process ends");
    }
    if (!writing_.test_and_set(std::memory_order_acquire)) {
      if (flock(lock_file_, LOCK_EX | LOCK_NB) == 0) return;
      int const code = errno;
      writing_.clear(std::memory_order_release);
      errno = code;
      if (code != EWOULDBLOCK && code != EINTR) {
        refuse(error_kind::storage, path_, system_text());
      }
    }
    auto const now = std::chrono::steady_clock::now();
    if (now >= deadline) {
      refuse(error_kind::writer_busy, path_,
             "another write transaction is open, and did not end within " +
                 std::to_string(wait.count()) + " ms");
    }
    std::this_thread::sleep_for(
        std::min<std::chrono::steady_clock::duration>(pause, deadline - now));
    pause = std::min(pause * 2, std::chrono::microseconds{5000});
  }
}

void store::unlock_writer() noexcept {
  flock(lock_file_, LOCK_UN);
  writing_.clear(std::memory_order_release);
}

bool store::of_this_process() const noexcept {
  return process_ == getpid();
}

store_transaction::store_transaction(store& store, store_access access,
                                     std::chrono::milliseconds wait)
    : store_(store), access_(access) {
  bool const writes = access == store_access::write;
  if (writes) {
    store_.lock_writer(wait);
    thread_ = gettid();
  }
  int code = MDB_SUCCESS;
  if (writes) {
    // Readers that were killed would keep old pages from being used again.
    int dead_readers = 0;
    code = mdb_reader_check(store_.environment_, &dead_readers);
  }
  if (code == MDB_SUCCESS) {
    code = mdb_txn_begin(store_.environment_, nullptr, writes ? 0 : MDB_RDONLY, &transaction_);
  }
  if (code != MDB_SUCCESS) {
    if (writes) store_.unlock_writer();
    fail(code, store_.path_, "begin a transaction");
  }
}

store_transaction::~store_transaction() {
  // What a process forked off inherits shares the parent's locks and reader table.
  if (!transaction_ || !store_.of_this_process()) return;
  bool const keeps_locks = lost();
  mdb_txn_abort(transaction_);
  if (keeps_locks) {
    store_.writer_lost_.store(true, std::memory_order_relaxed);
  } else {
    end();
  }
}

bool store_transaction::lost() const noexcept {
  return transaction_ && access_ == store_access::write && thread_ != gettid();
}

void store_transaction::end() noexcept {
  transaction_ = nullptr;
  if (access_ == store_access::write) store_.unlock_writer();
}

std::uint64_t store_transaction::id() const {
  return mdb_txn_id(transaction_);
}

std::optional<byte_view> store_transaction::get(keyspace space, byte_view key) const {
  MDB_val key_value = to_value(key);
  MDB_val value{};
  int const code =
      mdb_get(transaction_, store_.keyspaces_[static_cast<std::size_t>(space)], &key_value, &value);
  if (code == MDB_NOTFOUND) return std::nullopt;
  check(code, store_.path_, "read");
  return to_view(value);
}

void store_transaction::put(keyspace space, byte_view key, byte_view value) {
  MDB_val key_value = to_value(key);
  MDB_val data = to_value(value);
  check(mdb_put(transaction_, store_.keyspaces_[static_cast<std::size_t>(space)], &key_value, &data,
                0),
        store_.path_, "write");
}

unsigned char* store_transaction::reserve(keyspace space, byte_view key, std::size_t size) {
  MDB_val key_value = to_value(key);
  MDB_val data{size, nullptr};
  check(mdb_put(transaction_, store_.keyspaces_[static_cast<std::size_t>(space)], &key_value, &data,
                MDB_RESERVE),
        store_.path_, "write");
  return static_cast<unsigned char*>(data.mv_data);
}

bool store_transaction::erase(keyspace space, byte_view key) {
  MDB_val key_value = to_value(key);
  int const code = mdb_del(transaction_, store_.keyspaces_[static_cast<std::size_t>(space)],
                           &key_value, nullptr);
  if (code == MDB_NOTFOUND) return false;
  check(code, store_.path_, "delete");
  return true;
}

void store_transaction::commit() {
  // LMDB frees the transaction even when the commit fails.
  int const code = mdb_txn_commit(transaction_);
  end();
  check(code, store_.path_, "commit");
}

void store_transaction::reset() noexcept {
  mdb_txn_reset(transaction_);
}

void store_transaction::renew() {
  check(mdb_txn_renew(transaction_), store_.path_, "begin a transaction");
}

store_cursor::store_cursor(store_transaction const& transaction, keyspace space)
    : store_(&transaction.store_) {
  check(mdb_cursor_open(transaction.transaction_,
                        store_->keyspaces_[static_cast<std::size_t>(space)], &cursor_),
        store_->path_, "open a cursor");
}

store_cursor::~store_cursor() {
  if (cursor_) mdb_cursor_close(cursor_);
}

store_cursor::store_cursor(store_cursor&& other) noexcept
    : store_(other.store_),
      cursor_(std::exchange(other.cursor_, nullptr)),
      key_(other.key_),
      value_(other.value_) {}

store_cursor& store_cursor::operator=(store_cursor&& other) noexcept {
  std::swap(store_, other.store_);
  std::swap(cursor_, other.cursor_);
  std::swap(key_, other.key_);
  std::swap(value_, other.value_);
  return *this;
}

void store_cursor::put(byte_view key, byte_view value) {
  MDB_val key_value = to_value(key);
  MDB_val data = to_value(value);
  check(mdb_cursor_put(cursor_, &key_value, &data, 0), store_->path_, "write");
}

bool store_cursor::append(byte_view key, byte_view value) {
  MDB_val key_value = to_value(key);
  MDB_val data = to_value(value);
  int const code = mdb_cursor_put(cursor_, &key_value, &data, MDB_APPEND);
  if (code == MDB_KEYEXIST) return false;
  check(code, store_->path_, "write");
  return true;
}

void store_cursor::renew(store_transaction const& transaction) {
  check(mdb_cursor_renew(transaction.transaction_, cursor_), store_->path_, "open a cursor");
}

bool store_cursor::seek(byte_view key) {
  return move(MDB_SET_RANGE, key);
}
bool store_cursor::seek_first() {
  return move(MDB_FIRST, {});
}
bool store_cursor::seek_last() {
  return move(MDB_LAST, {});
}
bool store_cursor::next() {
  return move(MDB_NEXT, {});
}
bool store_cursor::previous() {
  return move(MDB_PREV, {});
}

bool store_cursor::move(int operation, byte_view key) {
  MDB_val key_value = to_value(key);
  MDB_val value{};
  int const code =
      mdb_cursor_get(cursor_, &key_value, &value, static_cast<MDB_cursor_op>(operation));
  if (code == MDB_NOTFOUND) return false;
  check(code, store_->path_, "read");
  key_ = to_view(key_value);
  value_ = to_view(value);
  return true;
}

}  // namespace qd::coredb
