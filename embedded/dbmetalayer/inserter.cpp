#include <algorithm>

#include "dbmetalayer/names.h"
#include "dbmetalayer/transaction_state.h"

namespace qd::embedded {

struct inserter::state {
  state(std::shared_ptr<transaction::state> of_transaction,
        std::shared_ptr<class_info const> of_class, std::vector<std::size_t> positions)
      : owner(std::move(of_transaction)),
        info(std::move(of_class)),
        encoder(*info, std::move(positions), *owner),
        dropped_classes(owner->dropped_classes) {
    encoder.require_all_values();
  }

  coredb::write_transaction& open() {
    coredb::write_transaction& core = owner->open();
    if (ended) throw error(error_kind::bad_transaction, "the bulk insert has ended");
    if (dropped_classes != owner->dropped_classes) [[unlikely]] {
      throw error(error_kind::bad_transaction, "the inserter of class " + to_utf8(info->name) +
                                                   " ended when a class was dropped");
    }
    return core;
  }

  std::shared_ptr<transaction::state> owner;
  std::shared_ptr<class_info const> info;
  row_encoder encoder;
  // For the columns of these names, or for all.
  static std::unique_ptr<state> prepare(std::shared_ptr<transaction::state> const& of_transaction,
                                        std::u16string_view class_name,
                                        std::span<std::u16string_view const> columns) {
    auto info = of_transaction->writable_class(class_name);
    std::vector<std::size_t> positions;
    for (std::u16string_view const column : columns) {
      positions.push_back(position_of(*info, column));
    }
    if (columns.empty()) {
      for (std::size_t i = system_columns; i < info->columns.size(); ++i) positions.push_back(i);
    }
    return std::make_unique<state>(of_transaction, std::move(info), std::move(positions));
  }

  std::uint64_t dropped_classes;  // Of the transaction, when this was prepared.
  bool ended = false;             // Of a bulk insert.
};

inserter transaction::prepare_insert(std::u16string_view class_name,
                                     std::span<std::u16string_view const> columns) {
  return inserter(inserter::state::prepare(state_, class_name, columns));
}

inserter transaction::prepare_insert(std::u16string_view class_name,
                                     std::initializer_list<std::u16string_view> columns) {
  return prepare_insert(class_name, std::span(columns.begin(), columns.size()));
}

bulk_inserter transaction::prepare_bulk_insert(std::u16string_view class_name,
                                               std::span<std::u16string_view const> columns) {
  bulk_inserter prepared(inserter::state::prepare(state_, class_name, columns));
  translated([&] { state_->open().begin_bulk(prepared.state_->info->layout); });
  return prepared;
}

bulk_inserter transaction::prepare_bulk_insert(std::u16string_view class_name,
                                               std::initializer_list<std::u16string_view> columns) {
  return prepare_bulk_insert(class_name, std::span(columns.begin(), columns.size()));
}

inserter::inserter(std::unique_ptr<state> prepared) : state_(std::move(prepared)) {}

inserter::inserter(inserter&& other) noexcept = default;

inserter& inserter::operator=(inserter&& other) noexcept = default;

inserter::~inserter() = default;

object_id inserter::insert(std::span<value const> row) {
  return state_->owner->write_objects([&] {
    coredb::write_transaction& core = state_->open();
    return object_id{core.insert(state_->info->layout, state_->encoder.encode_object(row))};
  });
}

object_id inserter::insert(std::initializer_list<value> row) {
  return insert(std::span(row.begin(), row.size()));
}

void inserter::insert_reserved(object_id object, std::span<value const> row) {
  state_->owner->write_objects([&] {
    coredb::write_transaction& core = state_->open();
    if (core.reserved_layout(object.oid) != state_->info->layout) {
      throw error(error_kind::bad_reference,
                  to_string(value(object)) + " is not reserved for class " +
                      to_utf8(state_->info->name) + " in this transaction");
    }
    if (core.layout_of(object.oid)) {
      throw error(error_kind::duplicate, "class " + to_utf8(state_->info->name) + ": " +
                                             to_string(value(object)) + " exists already");
    }
    core.insert_reserved(object.oid, state_->encoder.encode_object(row));
  });
}

void inserter::insert_reserved(object_id object, std::initializer_list<value> row) {
  insert_reserved(object, std::span(row.begin(), row.size()));
}

std::vector<duplicate_row> bulk_inserter::finish() {
  return translated([&] {
    coredb::write_transaction& core = state_->open();
    state_->ended = true;
    std::vector<duplicate_row> duplicates;
    duplicate_texts texts(core.handle(), core.schema());
    for (coredb::refused_object const& refused : core.finish_bulk()) {
      duplicate_texts::result described = texts.describe(refused.index_id, refused.existing);
      duplicates.push_back({{refused.oid},
                            {refused.existing},
                            std::move(described.index_name),
                            std::move(described.text)});
    }
    return duplicates;
  });
}

void bulk_inserter::abandon() {
  translated([&] {
    coredb::write_transaction& core = state_->open();
    state_->ended = true;
    core.abandon_bulk();
  });
}

}  // namespace qd::embedded
