#include "coredb/database.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include "coredb/context.h"
#include "coredb/database_state.h"
#include "coredb/write_state.h"

namespace qd::coredb {
namespace {

// The number of the stored format; another one is another format.
constexpr std::uint64_t format_number = 3;
// Snapshots that end leave their contexts to later ones, so many at most.
constexpr std::size_t most_sleeping = 8;

// One process must not open a file twice (closing one would drop the other's file locks), so open
// databases are found here by their file. A state that is closing stays in the list, expired.
struct open_list {
  std::mutex mutex;
  std::condition_variable state_left;
  std::map<std::pair<dev_t, ino_t>, std::weak_ptr<database_state>> states;
};

open_list& all_open() {
  // Never destroyed: a database in a static object may close after everything else of the program.
  static open_list& list = *new open_list;
  return list;
}

[[noreturn]] void refuse_path(std::filesystem::path const& path, std::string const& why) {
  throw error(error_kind::cannot_open, "database \"" + path.string() + "\": " + why);
}

// One name for one file. The lock file stands beside the name that the file is opened by, so two
// names would give two lock files, and their users would not see each other.
std::filesystem::path canonical_path(std::filesystem::path const& path) {
  std::error_code problem;
  std::filesystem::path const absolute = std::filesystem::absolute(path, problem);
  if (problem) refuse_path(path, problem.message());
  std::filesystem::path canonical = std::filesystem::weakly_canonical(absolute, problem);
  if (problem) refuse_path(path, problem.message());
  std::error_code absent;  // Nothing there is no link either.
  if (std::filesystem::is_symlink(std::filesystem::symlink_status(canonical, absent))) {
    refuse_path(path, "a symbolic link that leads to nothing");
  }
  return canonical;
}

// Removes a temporary database's files and directory. Its names are made before there is anything
// to remove, so that removing needs no memory.
class directory_remover {
 public:
  explicit directory_remover(std::string pattern) : directory_(std::move(pattern)) {
    data_.reserve(directory_.size() + 16);
    lock_.reserve(directory_.size() + 16);
    if (!mkdtemp(directory_.data())) refuse_path(directory_, std::strerror(errno));
    data_.append(directory_).append("/data");
    lock_.append(data_).append("-lock");
  }
  ~directory_remover() {
    ::unlink(data_.c_str());
    ::unlink(lock_.c_str());
    ::rmdir(directory_.c_str());
  }
  directory_remover(directory_remover const&) = delete;
  directory_remover& operator=(directory_remover const&) = delete;

  std::string const& data() const { return data_; }

 private:
  std::string directory_;
  std::string data_;
  std::string lock_;
};

store_settings settings_for(open_options const& options, bool durable) {
  return {options.create, options.map_bytes, format_number, durable};
}

byte_view name(std::string_view text) {
  return {reinterpret_cast<unsigned char const*>(text.data()), text.size()};
}

}  // namespace

byte_view schema_name() {
  return name("schema");
}
byte_view counters_name() {
  return name("counters");
}

namespace {

// The stored schema, or the empty one of a new database. What is wrong with a stored one is a fault
// of the file, whatever it would be in a definition.
std::shared_ptr<schema const> decode_schema(std::optional<byte_view> const& stored,
                                            std::filesystem::path const& path) {
  if (!stored) {
    return std::make_shared<schema const>(0, std::vector<layout_definition>{},
                                          std::vector<index_definition>{});
  }
  try {
    return schema::decode(*stored);
  } catch (error const& met) {
    throw error(error_kind::storage, "database \"" + path.string() + "\": " + met.what());
  }
}

}  // namespace

open_registration::open_registration(dev_t device, ino_t inode, std::weak_ptr<database_state> state)
    : file_(device, inode) {
  all_open().states[file_] = std::move(state);
}

open_registration::~open_registration() {
  open_list& list = all_open();
  std::lock_guard const lock(list.mutex);
  list.states.erase(file_);
  list.state_left.notify_all();
}

std::shared_ptr<schema const> database_state::read_schema(store_transaction const& transaction) {
  std::optional<byte_view> const stored = transaction.get(keyspace::meta, schema_name());
  std::uint64_t const version = stored ? schema::stored_version(*stored) : 0;
  {
    std::lock_guard const lock(mutex_);
    if (schema_ && schema_->version() == version) return schema_;
  }
  std::shared_ptr<schema const> const read = decode_schema(stored, storage.path());
  std::lock_guard const lock(mutex_);
  schema_ = read;
  return read;
}

std::unique_ptr<context> database_state::begin_snapshot(
    std::shared_ptr<database_state> const& database) {
  std::unique_ptr<context> used;
  {
    std::lock_guard const lock(database->mutex_);
    if (!database->sleeping_.empty()) {
      used = std::move(database->sleeping_.back());
      database->sleeping_.pop_back();
    }
  }
  if (!used) {
    return std::make_unique<context>(database, store_access::read, std::chrono::milliseconds{});
  }
  used->wake(database);
  return used;
}

void database_state::end_snapshot(std::unique_ptr<context> ended) noexcept {
  // What a process forked off inherits is its parent's.
  if (!ended->database().storage.of_this_process()) return;
  std::shared_ptr<database_state> const database = ended->put_to_sleep();
  // Goes before the database, if it is not kept.
  std::unique_ptr<context> sleeper = std::move(ended);
  std::lock_guard const lock(database->mutex_);
  if (database->sleeping_.size() < database->sleeping_.capacity()) {
    database->sleeping_.push_back(std::move(sleeper));
  }
}

database_state::database_state(std::filesystem::path const& path, store_settings const& settings)
    : storage(path, settings) {
  sleeping_.reserve(most_sleeping);
}

database_state::~database_state() = default;

database::database(std::shared_ptr<database_state> state, bool created,
                   std::chrono::milliseconds writer_wait)
    : state_(std::move(state)), created_(created), writer_wait_(writer_wait) {}

database::~database() = default;

std::shared_ptr<database> database::open(std::filesystem::path const& given,
                                         open_options const& options) {
  std::filesystem::path const path = canonical_path(given);
  open_list& list = all_open();
  std::unique_lock lock(list.mutex);
  std::shared_ptr<database_state> state;
  bool created = false;
  struct stat status {};
  while (!state && stat(path.c_str(), &status) == 0) {
    auto const known = list.states.find({status.st_dev, status.st_ino});
    if (known == list.states.end()) break;
    state = known->second.lock();
    if (state && !state->storage.of_this_process()) {
      refuse_path(path, "this process was forked off while the database was open");
    }
    if (!state) list.state_left.wait(lock);
  }
  if (!state) {
    state = std::make_shared<database_state>(path, settings_for(options, true));
    created = state->storage.created();
    if (stat(path.c_str(), &status) != 0) {
      refuse_path(path, std::strerror(errno));
    }
    state->registration.emplace(status.st_dev, status.st_ino, state);
  }
  // A state that leaves the list takes the lock itself.
  lock.unlock();
  return std::shared_ptr<database>(new database(std::move(state), created, options.writer_wait));
}

std::shared_ptr<database> database::open_temporary(open_options const& options) {
  std::error_code problem;
  std::filesystem::path const parent = std::filesystem::temp_directory_path(problem);
  if (problem) refuse_path(parent, "no directory for temporary files: " + problem.message());
  // The files go at once, so that nothing is left even of a process that is killed; the system
  // keeps them for as long as they are open.
  directory_remover const remover((parent / "database-XXXXXX").string());
  auto state = std::make_shared<database_state>(remover.data(), settings_for(options, false));
  return std::shared_ptr<database>(new database(std::move(state), true, options.writer_wait));
}

bool database::created() const {
  return created_;
}

std::filesystem::path const& database::path() const {
  return state_->storage.path();
}

std::unique_ptr<snapshot> database::begin_snapshot() {
  return std::make_unique<snapshot>(database_state::begin_snapshot(state_));
}

std::unique_ptr<write_transaction> database::begin_write() {
  return std::make_unique<write_transaction>(
      std::make_unique<context>(state_, store_access::write, writer_wait_));
}

snapshot::snapshot(std::unique_ptr<context> context) : context_(std::move(context)) {}
snapshot::~snapshot() {
  database_state::end_snapshot(std::move(context_));
}
unsigned long snapshot::handle() const {
  return context_->handle();
}
schema const& snapshot::schema() const {
  return context_->schema();
}
void snapshot::bind_to_calling_thread() {
  context_->bind_to_calling_thread();
}

}  // namespace qd::coredb
