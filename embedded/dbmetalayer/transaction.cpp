#include <utility>

#include "dbmetalayer/catalogue.h"
#include "dbmetalayer/catalogue_reader.h"
#include "dbmetalayer/names.h"
#include "dbmetalayer/transaction_state.h"

namespace qd::embedded {
namespace {

struct split_row {
  std::vector<std::size_t> positions;
  std::vector<value> values;
};

split_row split(class_info const& of_class, std::span<column_value const> columns) {
  split_row row;
  for (column_value const& each : columns) {
    row.positions.push_back(position_of(of_class, each.column));
    row.values.push_back(each.value);
  }
  return row;
}

std::span<column_value const> span_of(std::initializer_list<column_value> list) {
  return {list.begin(), list.size()};
}

[[noreturn]] void refuse_unknown(object_id object) {
  throw error(error_kind::unknown_object, "there is no " + to_string(value(object)));
}

}  // namespace

coredb::write_transaction& transaction::state::open() {
  if (!core) throw error(error_kind::bad_transaction, "the write transaction has ended");
  translated([&] { core->require_owner(); });
  return *core;
}

std::shared_ptr<class_info const> transaction::state::class_of_name(std::u16string_view name) {
  auto const known = classes_by_name.find(name);
  if (known != classes_by_name.end()) return known->second;
  unsigned long const context = open().handle();
  auto const table = find_table(context, name);
  if (!table) throw error(error_kind::unknown_name, "there is no class " + to_utf8(name));
  auto info = std::make_shared<class_info const>(read_class(context, *table));
  classes_by_name.emplace(info->name, info);
  classes_by_layout.emplace(info->layout, info);
  return info;
}

std::shared_ptr<class_info const> transaction::state::class_of_layout(std::uint16_t layout) {
  auto const known = classes_by_layout.find(layout);
  if (known != classes_by_layout.end()) return known->second;
  unsigned long const context = open().handle();
  std::uint64_t const table = open().schema().find_layout(layout)->definition.class_oid;
  return class_of_name(read_text(context, record_of(context, table), catalogue::table::full_name));
}

std::shared_ptr<class_info const> transaction::state::writable_class(std::u16string_view name) {
  std::shared_ptr<class_info const> info = class_of_name(name);
  if (info->of_catalogue) {
    throw error(error_kind::bad_definition,
                "class " + to_utf8(name) + " is the catalogue's own: its objects are not written");
  }
  return info;
}

reference_checker::answer transaction::state::check(std::uint64_t oid,
                                                    std::uint16_t referenced_layout) {
  // Reserved ids may be referred to before their objects exist.
  std::optional<std::uint16_t> layout = core->layout_of(oid);
  if (!layout) layout = core->reserved_layout(oid);
  if (!layout) return answer::no_object;
  if (*layout == referenced_layout) return answer::fits;
  coredb::schema const& schema = core->schema();
  bool const derived = schema.find_layout(*layout)->is_a(*schema.find_layout(referenced_layout));
  return derived ? answer::fits : answer::other_class;
}

transaction::transaction(std::shared_ptr<state> begun)
    : read_context(begun->core->handle()), state_(std::move(begun)) {}

transaction::transaction(transaction&& other) noexcept = default;

transaction::~transaction() {
  roll_back();
}

thread_binding transaction::bind() {
  state_->open();
  return bind_context();
}

std::uint64_t transaction::schema_version() const {
  return state_->open().schema().version();
}

description_cache& transaction::descriptions() const {
  coredb::write_transaction const& core = state_->open();
  if (!state_->descriptions) {
    state_->descriptions = std::make_shared<description_cache>(core.schema().version());
  }
  return *state_->descriptions;
}

void transaction::define_class(class_definition const& definition) {
  define_classes({&definition, 1});
}

void transaction::define_classes(std::span<class_definition const> definitions) {
  state_->change_catalogue([&](catalogue_writer& writer) { writer.define_classes(definitions); });
}

void transaction::define_index(index_definition const& definition) {
  state_->change_catalogue([&](catalogue_writer& writer) { writer.define_index(definition); });
}

void transaction::drop_class(std::u16string_view class_name) {
  state_->change_catalogue([&](catalogue_writer& writer) { writer.drop_class(class_name); });
  state_->classes_by_name.clear();
  state_->classes_by_layout.clear();
  ++state_->dropped_classes;
}

void transaction::drop_index(std::u16string_view index_name) {
  state_->change_catalogue([&](catalogue_writer& writer) { writer.drop_index(index_name); });
}

object_id transaction::insert(std::u16string_view class_name,
                              std::span<column_value const> columns) {
  return state_->write_objects([&] {
    coredb::write_transaction& core = state_->open();
    auto const info = state_->writable_class(class_name);
    split_row const row = split(*info, columns);
    row_encoder encoder(*info, row.positions, *state_);
    encoder.require_all_values();
    return object_id{core.insert(info->layout, encoder.encode_object(row.values))};
  });
}

object_id transaction::insert(std::u16string_view class_name,
                              std::initializer_list<column_value> columns) {
  return insert(class_name, span_of(columns));
}

object_id transaction::reserve_oids(std::u16string_view class_name, std::uint64_t count) {
  return state_->write_objects([&] {
    auto const info = state_->writable_class(class_name);
    if (count == 0 || count > coredb::most_oids_reserved_at_once) {
      throw error(error_kind::bad_definition,
                  "class " + to_utf8(class_name) + ": cannot reserve " + std::to_string(count) +
                      " object ids; between 1 and " +
                      std::to_string(coredb::most_oids_reserved_at_once) + " can be at once");
    }
    return object_id{state_->open().reserve_oids(info->layout, count)};
  });
}

void transaction::update(object_id object, std::span<column_value const> columns) {
  state_->write_objects([&] {
    coredb::write_transaction& core = state_->open();
    auto const layout = core.layout_of(object.oid);
    if (!layout) refuse_unknown(object);
    auto const info = state_->writable_class(state_->class_of_layout(*layout)->name);
    split_row const row = split(*info, columns);
    row_encoder encoder(*info, row.positions, *state_);
    core.update(object.oid, encoder.encode_changes(row.values));
  });
}

void transaction::update(object_id object, std::initializer_list<column_value> columns) {
  update(object, span_of(columns));
}

void transaction::erase(object_id object) {
  state_->write_objects([&] {
    coredb::write_transaction& core = state_->open();
    auto const layout = core.layout_of(object.oid);
    if (!layout) refuse_unknown(object);
    state_->writable_class(state_->class_of_layout(*layout)->name);
    core.erase(object.oid);
  });
}

void transaction::commit() {
  state_->open();
  // Whatever happens, the transaction ends here.
  std::unique_ptr<coredb::write_transaction> const ending = std::move(state_->core);
  translated([&] { ending->commit(); });
}

void transaction::roll_back() noexcept {
  if (state_) state_->core.reset();
}

}  // namespace qd::embedded
