// What all users of one open database file share.
#pragma once

#include <sys/types.h>

#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "coredb/schema.h"
#include "coredb/store.h"

namespace qd::coredb {

class context;
struct database_state;

// A file's entry in the process's list of open databases, for as long as the file is open.
class open_registration {
 public:
  // The list's lock must be held.
  open_registration(dev_t device, ino_t inode, std::weak_ptr<database_state> state);
  ~open_registration();
  open_registration(open_registration const&) = delete;
  open_registration& operator=(open_registration const&) = delete;

 private:
  std::pair<dev_t, ino_t> file_;
};

struct database_state {
  database_state(std::filesystem::path const& path, store_settings const& settings);
  ~database_state();

  // Before `storage`, so that the file is closed when it leaves the list.
  std::optional<open_registration> registration;
  store storage;

  // The schema that a transaction sees, decoded only when it is another than the last one.
  std::shared_ptr<schema const> read_schema(store_transaction const& transaction);
  // A context with a snapshot of everything committed so far; an earlier one if there is any that
  // ended.
  static std::unique_ptr<context> begin_snapshot(std::shared_ptr<database_state> const& database);
  // Ends a snapshot's context.
  static void end_snapshot(std::unique_ptr<context> ended) noexcept;
  // Keeps the file open until the process ends, because its writer's locks cannot be given back.
  void keep_open(std::shared_ptr<database_state> self) noexcept { kept_ = std::move(self); }

 private:
  std::mutex mutex_;
  std::shared_ptr<schema const> schema_;            // The last one read; null before.
  std::vector<std::unique_ptr<context>> sleeping_;  // Snapshots that ended, the latest last.
  std::shared_ptr<database_state> kept_;            // Itself after keep_open.
};

// Names in keyspace::meta.
byte_view schema_name();
byte_view counters_name();

}  // namespace qd::coredb
