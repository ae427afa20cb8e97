#include "coredb/database.h"
#include "coredb/inspection.h"
#include "dbmetalayer/catalogue.h"
#include "dbmetalayer/catalogue_key.h"
#include "dbmetalayer/catalogue_reader.h"
#include "dbmetalayer/database.h"
#include "dbmetalayer/description_cache.h"
#include "dbmetalayer/error_translation.h"
#include "dbmetalayer/names.h"
#include "dbmetalayer/thread_context.h"

namespace qd::embedded {

struct thread_binding::state {
  std::shared_ptr<bound_context> bound;
};

// All that can fail comes before the thread's context changes.
thread_binding::thread_binding(unsigned long context) : state_(std::make_unique<state>()) {
  state_->bound = bind_to_thread(context);
}

thread_binding::thread_binding(thread_binding&& other) noexcept = default;

thread_binding::~thread_binding() {
  if (state_) state_->bound->ended.store(true, std::memory_order_release);
}

QD_OBJ_REF read_context::class_reference(std::u16string_view class_name) const {
  auto const table = find_table(context_, class_name);
  if (!table) throw error(error_kind::unknown_name, "there is no class " + to_utf8(class_name));
  return *table;
}

QD_OBJ_REF read_context::index_reference(std::u16string_view index_name) const {
  auto const index = find_index(context_, index_name);
  if (!index) throw error(error_kind::unknown_name, "there is no index " + to_utf8(index_name));
  return *index;
}

QD_OBJ_REF read_context::column_reference(std::u16string_view class_name,
                                          std::u16string_view column) const {
  auto const found = find_column(context_, class_reference(class_name), column);
  if (!found) {
    throw error(error_kind::unknown_name,
                "class " + to_utf8(class_name) + " has no column " + to_utf8(column));
  }
  return *found;
}

bool read_context::has_class(std::u16string_view class_name) const {
  return find_table(context_, class_name).has_value();
}

bool read_context::has_index(std::u16string_view index_name) const {
  return find_index(context_, index_name).has_value();
}

std::vector<std::u16string> read_context::class_names() const {
  std::vector<std::u16string> names;
  for (QD_OBJ_REF const& table :
       read_range(context_, catalogue::extent_of(catalogue::table_layout),
                  catalogue_key().null().end(), catalogue_key().number(~std::uint64_t{0}).end())) {
    if (read_bool(context_, table, catalogue::table::of_catalogue)) continue;
    names.push_back(read_text(context_, table, catalogue::table::full_name));
  }
  return names;
}

std::shared_ptr<class_description const> read_context::describe_class(
    std::u16string_view class_name) const {
  return descriptions().find(context_, class_name);
}

std::shared_ptr<class_description const> read_context::describe_class(
    QD_OBJ_REF const& class_record) const {
  return descriptions().find(context_, class_record);
}

std::uint64_t read_context::object_count(std::u16string_view class_name) const {
  QD_OBJ_REF const table = class_reference(class_name);
  std::uint64_t const layout = read_number(context_, table, catalogue::table::layout);
  return translated(
      [&] { return coredb::count_objects(context_, static_cast<std::uint16_t>(layout)); });
}

std::uint64_t read_context::object_count(class_description const& of_class) const {
  return translated([&] { return coredb::count_objects(context_, of_class.layout); });
}

std::uint64_t read_context::entry_count(std::u16string_view index_name) const {
  QD_OBJ_REF const index = index_reference(index_name);
  std::uint64_t const id = read_number(context_, index, catalogue::index::kernel_id);
  return translated([&] { return coredb::count_entries(context_, id); });
}

std::uint64_t read_context::entry_count(index_description const& index) const {
  return translated([&] { return coredb::count_entries(context_, index.kernel_id); });
}

void read_context::request_stop() const noexcept {
  coredb::request_stop(context_);
}

void read_context::clear_stop() const noexcept {
  coredb::clear_stop(context_);
}

bool request_stop(unsigned long context) noexcept {
  return coredb::request_stop(context);
}

bool clear_stop(unsigned long context) noexcept {
  return coredb::clear_stop(context);
}

}  // namespace qd::embedded
