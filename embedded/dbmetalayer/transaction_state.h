// What a write transaction and its inserters share.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "coredb/database.h"
#include "dbmetalayer/catalogue_writer.h"
#include "dbmetalayer/class_info.h"
#include "dbmetalayer/database.h"
#include "dbmetalayer/description_cache.h"
#include "dbmetalayer/error_translation.h"
#include "dbmetalayer/row_encoder.h"
#include "dbmetalayer/unique_key.h"

namespace qd::embedded {

struct transaction::state final : reference_checker {
  state(std::unique_ptr<coredb::write_transaction> begun,
        std::shared_ptr<description_cache> of_schema)
      : core(std::move(begun)), descriptions(std::move(of_schema)) {}

  // Throws bad_transaction after the end, and on another thread than began the transaction.
  coredb::write_transaction& open();
  std::shared_ptr<class_info const> class_of_name(std::u16string_view name);
  std::shared_ptr<class_info const> class_of_layout(std::uint16_t layout);
  // Refuses the catalogue's own classes.
  std::shared_ptr<class_info const> writable_class(std::u16string_view name);
  answer check(std::uint64_t oid, std::uint16_t referenced_layout) override;

  // Changes the catalogue. What is not a mere refusal ends the transaction if the change had begun.
  template <class Change>
  void change_catalogue(Change&& change);
  // Writes objects; a duplicate's text names the class, columns and values.
  template <class Write>
  decltype(auto) write_objects(Write&& write);

  std::unique_ptr<coredb::write_transaction> core;  // Null after the end.
  std::map<std::u16string, std::shared_ptr<class_info const>, std::less<>> classes_by_name;
  std::map<std::uint16_t, std::shared_ptr<class_info const>> classes_by_layout;
  std::uint64_t dropped_classes = 0;
  // The database's until this transaction changes the catalogue, then its own; null: to be made.
  std::shared_ptr<description_cache> descriptions;
};

template <class Change>
void transaction::state::change_catalogue(Change&& change) {
  coredb::write_transaction& core_transaction = open();
  translated([&] { core_transaction.require_no_bulk(); });
  std::uint64_t const changes = core_transaction.change_count();
  auto const roll_back_what_began = [&] {
    if (core_transaction.change_count() != changes) core_transaction.roll_back();
  };
  try {
    catalogue_writer writer(core_transaction);
    translated([&] { change(writer); });
    descriptions.reset();
  } catch (error const& refused) {
    bool const unchanged = refused.kind() == error_kind::bad_definition ||
                           refused.kind() == error_kind::unknown_name ||
                           refused.kind() == error_kind::duplicate ||
                           refused.kind() == error_kind::bad_transaction;
    if (!unchanged) roll_back_what_began();
    throw;
  } catch (...) {
    roll_back_what_began();
    throw;
  }
}

template <class Write>
decltype(auto) transaction::state::write_objects(Write&& write) {
  try {
    return std::forward<Write>(write)();
  } catch (coredb::unique_violation const& violation) {
    duplicate_texts texts(core->handle(), core->schema());
    throw error(error_kind::duplicate,
                texts.describe(violation.index_id, violation.existing_oid).text);
  } catch (coredb::error const& fault) {
    throw_translated(fault);
  }
}

}  // namespace qd::embedded
