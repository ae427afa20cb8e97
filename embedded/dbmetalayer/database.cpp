#include "dbmetalayer/database.h"

#include <mutex>

#include "coredb/database.h"
#include "dbmetalayer/catalogue.h"
#include "dbmetalayer/catalogue_writer.h"
#include "dbmetalayer/check.h"
#include "dbmetalayer/description_cache.h"
#include "dbmetalayer/error_translation.h"
#include "dbmetalayer/transaction_state.h"

namespace qd::embedded {
namespace {

coredb::open_options core_options(open_options const& options) {
  return {options.create, options.capacity_bytes, options.writer_wait};
}

bool has_catalogue(coredb::schema const& schema) {
  return schema.find_layout(catalogue::object_layout) != nullptr;
}

// Two processes may create one database together, and one may have ended between the creation of
// its file and of its catalogue: whoever finds none writes it.
std::shared_ptr<coredb::database> with_catalogue(std::shared_ptr<coredb::database> core) {
  if (!has_catalogue(core->begin_snapshot()->schema())) {
    std::unique_ptr<coredb::write_transaction> const write = core->begin_write();
    if (!has_catalogue(write->schema())) {
      catalogue_writer(*write).create_catalogue();
      write->commit();
    }
  }
  return core;
}

}  // namespace

struct snapshot::state {
  std::unique_ptr<coredb::snapshot> core;
  std::shared_ptr<description_cache> descriptions;
};

snapshot::snapshot(std::unique_ptr<state> begun)
    : read_context(begun->core->handle()), state_(std::move(begun)) {}

snapshot::snapshot(snapshot&& other) noexcept = default;

snapshot::~snapshot() = default;

thread_binding snapshot::bind() {
  translated([&] { state_->core->bind_to_calling_thread(); });
  return bind_context();
}

std::uint64_t snapshot::schema_version() const {
  return state_->core->schema().version();
}

std::vector<std::string> snapshot::check(std::size_t most) const {
  return check_snapshot(context_, state_->core->schema(), most);
}

description_cache& snapshot::descriptions() const {
  return *state_->descriptions;
}

struct database::state {
  explicit state(std::shared_ptr<coredb::database> opened) : core(std::move(opened)) {}

  // The descriptions of a committed schema.
  std::shared_ptr<description_cache> descriptions_of(std::uint64_t schema_version);

  std::shared_ptr<coredb::database> core;

 private:
  std::mutex mutex_;
  std::shared_ptr<description_cache> latest_;  // Of the latest schema met; null before.
};

std::shared_ptr<description_cache> database::state::descriptions_of(std::uint64_t schema_version) {
  std::lock_guard const lock(mutex_);
  if (latest_ && latest_->schema_version() == schema_version) return latest_;
  auto made = std::make_shared<description_cache>(schema_version);
  // A snapshot that began before the latest change keeps its own.
  if (!latest_ || latest_->schema_version() < schema_version) latest_ = made;
  return made;
}

database::database(std::shared_ptr<state> opened) : state_(std::move(opened)) {}

database::database(database const& other) = default;

database& database::operator=(database const& other) = default;

database::~database() = default;

database database::open(std::filesystem::path const& path, open_options const& options) {
  return translated([&] {
    auto core = with_catalogue(coredb::database::open(path, core_options(options)));
    return database(std::make_shared<state>(std::move(core)));
  });
}

database database::open_temporary(open_options const& options) {
  return translated([&] {
    auto core = with_catalogue(coredb::database::open_temporary(core_options(options)));
    return database(std::make_shared<state>(std::move(core)));
  });
}

bool database::created() const {
  return state_->core->created();
}

std::filesystem::path const& database::path() const {
  return state_->core->path();
}

snapshot database::begin_snapshot() {
  return translated([&] {
    std::unique_ptr<coredb::snapshot> core = state_->core->begin_snapshot();
    std::shared_ptr<description_cache> descriptions =
        state_->descriptions_of(core->schema().version());
    return snapshot(std::make_unique<snapshot::state>(
        snapshot::state{std::move(core), std::move(descriptions)}));
  });
}

transaction database::begin_write() {
  return translated([&] {
    std::unique_ptr<coredb::write_transaction> core = state_->core->begin_write();
    std::shared_ptr<description_cache> descriptions =
        state_->descriptions_of(core->schema().version());
    return transaction(
        std::make_shared<transaction::state>(std::move(core), std::move(descriptions)));
  });
}

}  // namespace qd::embedded
