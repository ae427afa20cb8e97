#include "dbmetalayer/database.h"

#include "coredb/database.h"
#include "dbmetalayer/catalogue.h"
#include "dbmetalayer/catalogue_writer.h"
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
};

snapshot::snapshot(std::unique_ptr<state> begun)
    : read_context(begun->core->handle()), state_(std::move(begun)) {}

snapshot::snapshot(snapshot&& other) noexcept = default;

snapshot::~snapshot() = default;

thread_binding snapshot::bind() {
  translated([&] { state_->core->bind_to_calling_thread(); });
  return bind_context();
}

struct database::state {
  std::shared_ptr<coredb::database> core;
};

database::database(std::shared_ptr<state> opened) : state_(std::move(opened)) {}

database::database(database const& other) = default;

database& database::operator=(database const& other) = default;

database::~database() = default;

database database::open(std::filesystem::path const& path, open_options const& options) {
  return translated([&] {
    auto core = with_catalogue(coredb::database::open(path, core_options(options)));
    return database(std::make_shared<state>(state{std::move(core)}));
  });
}

database database::open_temporary(open_options const& options) {
  return translated([&] {
    auto core = with_catalogue(coredb::database::open_temporary(core_options(options)));
    return database(std::make_shared<state>(state{std::move(core)}));
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
    return snapshot(
        std::make_unique<snapshot::state>(snapshot::state{state_->core->begin_snapshot()}));
  });
}

transaction database::begin_write() {
  return translated([&] {
    return transaction(std::make_shared<transaction::state>(state_->core->begin_write()));
  });
}

}  // namespace qd::embedded
