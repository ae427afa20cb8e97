#include <algorithm>
#include <string>

#include "coredb/context.h"
#include "coredb/database.h"
#include "coredb/database_state.h"
#include "coredb/error.h"
#include "coredb/object_writer.h"
#include "coredb/record_key.h"
#include "coredb/write_state.h"

namespace qd::coredb {
namespace {

std::vector<layout_definition> layouts_of(schema const& schema) {
  std::vector<layout_definition> definitions;
  for (std::unique_ptr<layout> const& each : schema.layouts()) {
    definitions.push_back(each->definition);
  }
  return definitions;
}

std::vector<index_definition> indexes_of(schema const& schema) {
  std::vector<index_definition> definitions;
  for (std::unique_ptr<index> const& each : schema.indexes()) {
    definitions.push_back(each->definition);
  }
  return definitions;
}

// A schema to take the present one's place. Throws error(bad_schema) and changes nothing yet.
std::shared_ptr<schema const> changed_schema(context const& context,
                                             std::vector<layout_definition> layouts,
                                             std::vector<index_definition> indexes) {
  std::uint64_t const version =
      context.schema().version() + (context.writer()->schema_changed ? 0 : 1);
  return std::make_shared<schema const>(version, std::move(layouts), std::move(indexes));
}

void take_schema(context& context, std::shared_ptr<schema const> changed) {
  // Open iterators point into the schema that goes.
  context.forget_iterators();
  context.set_schema(std::move(changed));
  context.writer()->schema_changed = true;
  ++context.writer()->changes;
}

[[noreturn]] void refuse_schema(std::string const& text) {
  throw error(error_kind::bad_schema, text);
}

[[noreturn]] void refuse_use(char const* why) {
  throw error(error_kind::bad_transaction, std::string("the write transaction ") + why);
}

void write_counters(store_transaction& transaction, write_state const& state) {
  unsigned char counters[24];
  put(counters, state.next_block);
  put(counters + 8, state.next_index);
  put(counters + 16, state.next_layout);
  transaction.put(keyspace::meta, counters_name(), counters);
  for (auto const& [layout, counts] : state.counters) {
    write_layout_counters(transaction, layout, counts);
  }
}

}  // namespace

write_transaction::write_transaction(std::unique_ptr<context> context)
    : context_(std::move(context)) {}

write_transaction::~write_transaction() = default;

unsigned long write_transaction::handle() const {
  return context_ ? context_->handle() : 0;
}

schema const& write_transaction::schema() const {
  active();
  return context_->schema();
}

write_state& write_transaction::active() const {
  require_owner();
  if (context_->writer()->failed) refuse_use("has failed and can only be rolled back");
  return *context_->writer();
}

void write_transaction::require_owner() const {
  if (!context_) refuse_use("has ended");
  if (context_->place().owner.load(std::memory_order_relaxed) != &thread_mark) {
    refuse_use("belongs to another thread");
  }
}

std::uint64_t write_transaction::change_count() const {
  require_owner();
  return context_->writer()->changes;
}

std::uint16_t write_transaction::create_layout(layout_definition const& definition) {
  write_state& state = active();
  require_no_bulk();
  layout_definition chosen = definition;
  if (chosen.id == 0) {
    if (state.next_layout > 0xFFFF) throw error(error_kind::too_many, "no layout number is left");
    chosen.id = static_cast<std::uint16_t>(state.next_layout);
  }
  std::vector<layout_definition> layouts = layouts_of(context_->schema());
  layouts.push_back(chosen);
  std::shared_ptr<coredb::schema const> changed =
      changed_schema(*context_, std::move(layouts), indexes_of(context_->schema()));
  state.next_layout = std::max(state.next_layout, std::uint64_t{chosen.id} + 1);
  take_schema(*context_, std::move(changed));
  return chosen.id;
}

void write_transaction::set_class_oid(std::uint16_t layout, std::uint64_t class_oid) {
  active();
  require_no_bulk();
  std::vector<layout_definition> layouts = layouts_of(context_->schema());
  auto const found = std::find_if(layouts.begin(), layouts.end(),
                                  [&](auto const& each) { return each.id == layout; });
  if (found == layouts.end()) {
    refuse_schema("layout " + std::to_string(layout) + " does not exist");
  }
  found->class_oid = class_oid;
  take_schema(*context_,
              changed_schema(*context_, std::move(layouts), indexes_of(context_->schema())));
}

void write_transaction::drop_layout(std::uint16_t layout) {
  write_state& state = active();
  require_no_bulk();
  std::vector<layout_definition> layouts = layouts_of(context_->schema());
  for (layout_definition const& each : layouts) {
    if (each.base == layout && layout != 0) {
      refuse_schema("layout " + std::to_string(layout) + " is the base of layout " +
                    std::to_string(each.id));
    }
  }
  if (std::erase_if(layouts, [&](auto const& each) { return each.id == layout; }) == 0) {
    refuse_schema("layout " + std::to_string(layout) + " does not exist");
  }
  std::vector<std::uint64_t> own_indexes;
  for (std::unique_ptr<index> const& each : context_->schema().indexes()) {
    if (each->definition.layout == layout) own_indexes.push_back(each->definition.id);
  }
  for (std::uint64_t const id : own_indexes) drop_index(id);

  change_scope scope(state);
  object_writer writer(*context_);
  for (std::uint64_t const number : writer.blocks_of(layout)) {
    std::uint64_t const live = block_live(context_->block(number));
    for (unsigned int i = 0; i < records_per_block; ++i) {
      if (live >> i & 1) writer.erase(oid_of(number, i));
    }
  }
  // The blocks must be written while their layout is known.
  writer.end_reservations(layout);
  writer.flush();
  state.counters.erase(layout);
  context_->transaction().erase(keyspace::meta, layout_counters_key(layout).view());
  take_schema(*context_,
              changed_schema(*context_, std::move(layouts), indexes_of(context_->schema())));
  scope.done();
}

std::uint64_t write_transaction::create_index(index_definition const& definition) {
  write_state& state = active();
  require_no_bulk();
  index_definition chosen = definition;
  if (chosen.id == 0) chosen.id = state.next_index;
  std::vector<index_definition> indexes = indexes_of(context_->schema());
  indexes.push_back(chosen);
  std::shared_ptr<coredb::schema const> changed =
      changed_schema(*context_, layouts_of(context_->schema()), std::move(indexes));
  index const& made = *changed->find_index(chosen.id);
  object_writer writer(*context_);
  // Entries that would break the uniqueness are found before anything is changed for good: what was
  // entered until then goes again.
  change_scope scope(state);
  try {
    if (!chosen.extent) writer.build_index(made);
  } catch (unique_violation const&) {
    index_writer(*context_).erase_all(made);
    writer.forget_referrers(made, context_->schema());
    scope.done();
    throw;
  }
  state.next_index = std::max(state.next_index, chosen.id + 1);
  take_schema(*context_, std::move(changed));
  scope.done();
  return chosen.id;
}

void write_transaction::drop_index(std::uint64_t id) {
  write_state& state = active();
  require_no_bulk();
  index const* const found = context_->schema().find_index(id);
  if (!found) refuse_schema("index " + std::to_string(id) + " does not exist");
  std::vector<index_definition> indexes = indexes_of(context_->schema());
  std::erase_if(indexes, [&](auto const& each) { return each.id == id; });
  std::shared_ptr<coredb::schema const> changed =
      changed_schema(*context_, layouts_of(context_->schema()), std::move(indexes));
  change_scope scope(state);
  index_writer(*context_).erase_all(*found);
  object_writer(*context_).forget_referrers(*found, *changed);
  take_schema(*context_, std::move(changed));
  scope.done();
}

std::uint64_t write_transaction::insert(std::uint16_t layout, std::span<field const> fields) {
  active();
  return object_writer(*context_).insert(layout, fields);
}

std::uint64_t write_transaction::reserve_oids(std::uint16_t layout, std::uint64_t count) {
  active();
  return object_writer(*context_).reserve(layout, count);
}

void write_transaction::insert_reserved(std::uint64_t oid, std::span<field const> fields) {
  active();
  object_writer(*context_).insert_reserved(oid, fields);
}

std::optional<std::uint16_t> write_transaction::reserved_layout(std::uint64_t oid) const {
  active();
  return object_writer(*context_).reserved_layout(oid);
}

void write_transaction::begin_bulk(std::uint16_t layout) {
  require_no_bulk();
  object_writer(*context_).begin_bulk(layout);
}

std::vector<refused_object> write_transaction::finish_bulk() {
  if (!active().bulk) refuse_use("has no bulk insert open");
  return object_writer(*context_).finish_bulk();
}

void write_transaction::abandon_bulk() {
  if (!active().bulk) refuse_use("has no bulk insert open");
  object_writer(*context_).abandon_bulk();
}

void write_transaction::require_no_bulk() const {
  if (active().bulk) refuse_use("has a bulk insert that is neither finished nor abandoned");
}

void write_transaction::update(std::uint64_t oid, std::span<field_change const> changes) {
  active();
  object_writer(*context_).update(oid, changes);
}

void write_transaction::erase(std::uint64_t oid) {
  active();
  object_writer(*context_).erase(oid);
}

std::optional<std::uint16_t> write_transaction::layout_of(std::uint64_t oid) const {
  active();
  unsigned char const* const image = context_->block(block_of(oid));
  if (!block_has(image, record_of(oid))) return std::nullopt;
  return block_layout(image);
}

void write_transaction::commit() {
  write_state& state = active();
  require_no_bulk();
  // Whatever happens, the transaction ends here.
  std::unique_ptr<context> const ending = std::move(context_);
  object_writer writer(*ending);
  writer.end_reservations(0);
  writer.flush();
  write_counters(ending->transaction(), state);
  if (state.schema_changed) {
    ending->transaction().put(keyspace::meta, schema_name(), ending->schema().encode());
  }
  ending->close_cursors();
  ending->transaction().commit();
}

void write_transaction::roll_back() noexcept {
  context_.reset();
}

}  // namespace qd::coredb
