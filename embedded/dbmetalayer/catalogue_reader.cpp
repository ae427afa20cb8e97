#include "dbmetalayer/catalogue_reader.h"

#include "coredb/status.h"
#include "dbmetalayer/catalogue.h"
#include "dbmetalayer/catalogue_key.h"
#include "dbmetalayer/error.h"
#include "kernel/vela.h"

namespace qd::embedded {
namespace {

void check(unsigned int status) {
  switch (status) {
    case coredb::status_ok:
      return;
    case coredb::status_stopped:
      throw error(error_kind::stopped, "reading the catalogue: the context was asked to stop");
    case coredb::status_bad_context:
      throw error(error_kind::bad_transaction, "reading the catalogue: the context has ended");
    case coredb::status_wrong_thread:
      throw error(error_kind::bad_transaction,
                  "reading the catalogue: the context belongs to another thread");
    default:
      throw error(error_kind::storage,
                  "reading the catalogue: the kernel reports status " + std::to_string(status));
  }
}

QD_OBJ_REF reference_of(VELA_RECORD const& record) {
  return {record.oid, record.address << 16 | record.layout};
}

// Owns a kernel iterator.
class open_iterator {
 public:
  open_iterator(unsigned long context, unsigned long index_id, catalogue_key const& first,
                catalogue_key const& last) {
    check(vela_context_create_iterator(context, index_id, VELA_ITERATE_CATALOGUE, first.data(),
                                       last.data(), &iterator_));
  }
  // A failure to free leaves nothing to be done: the context frees its iterators when it ends.
  ~open_iterator() { vela_iterator_free(iterator_); }
  open_iterator(open_iterator const&) = delete;
  open_iterator& operator=(open_iterator const&) = delete;

  // The null reference at the end.
  QD_OBJ_REF next() {
    VELA_RECORD record{};
    check(vela_iterator_next(iterator_, &record));
    return record.oid == 0 ? QD_OBJ_REF{} : reference_of(record);
  }

 private:
  unsigned long iterator_ = 0;
};

std::optional<QD_OBJ_REF> find_first(unsigned long context, unsigned long index_id,
                                     catalogue_key const& key) {
  open_iterator records(context, index_id, key, key);
  QD_OBJ_REF const found = records.next();
  return found.oid == 0 ? std::nullopt : std::optional(found);
}

}  // namespace

std::u16string read_text(unsigned long context, QD_OBJ_REF const& record, unsigned column) {
  VELA_UCS2 const* text = nullptr;
  unsigned int const status =
      vela_context_get_string(context, record.oid, record.address, column, &text);
  if (status == VELA_STATUS_NULL) return {};
  check(status);
  return {text->units, text->count};
}

std::uint64_t read_number(unsigned long context, QD_OBJ_REF const& record, unsigned column) {
  unsigned long number = 0;
  check(vela_context_get_ulong(context, record.oid, record.address, column, &number));
  return number;
}

std::int64_t read_signed(unsigned long context, QD_OBJ_REF const& record, unsigned column) {
  long number = 0;
  check(vela_context_get_long(context, record.oid, record.address, column, &number));
  return number;
}

bool read_bool(unsigned long context, QD_OBJ_REF const& record, unsigned column) {
  unsigned long truth = 0;
  check(vela_meta_get_bool(context, record.oid, record.address, column, &truth));
  return truth != 0;
}

QD_OBJ_REF read_reference(unsigned long context, QD_OBJ_REF const& record, unsigned column) {
  VELA_RECORD target{};
  unsigned int const status =
      vela_context_get_reference(context, record.oid, record.address, column, &target);
  if (status == VELA_STATUS_NULL) return {};
  check(status);
  return reference_of(target);
}

QD_OBJ_REF record_of(unsigned long context, std::uint64_t oid) {
  unsigned long address = 0;
  unsigned int const status = vela_context_lookup(context, oid, &address);
  if (status == coredb::status_unknown_object) return {};
  check(status);
  return {oid, address};
}

std::vector<QD_OBJ_REF> read_range(unsigned long context, unsigned long index_id,
                                   catalogue_key const& first, catalogue_key const& last) {
  std::vector<QD_OBJ_REF> found;
  open_iterator records(context, index_id, first, last);
  for (QD_OBJ_REF record = records.next(); record.oid != 0; record = records.next()) {
    found.push_back(record);
  }
  return found;
}

std::vector<QD_OBJ_REF> read_equal(unsigned long context, unsigned long index_id,
                                   catalogue_key const& key) {
  return read_range(context, index_id, key, key);
}

std::vector<QD_OBJ_REF> read_equal(unsigned long context, unsigned long index_id,
                                   std::uint64_t number) {
  return read_equal(context, index_id, catalogue_key().number(number).end());
}

std::optional<QD_OBJ_REF> find_table(unsigned long context, std::u16string_view full_name) {
  return find_first(context, catalogue::table_by_full_name, catalogue_key().text(full_name).end());
}

std::optional<QD_OBJ_REF> find_index(unsigned long context, std::u16string_view full_name) {
  return find_first(context, catalogue::index_by_full_name, catalogue_key().text(full_name).end());
}

std::optional<QD_OBJ_REF> find_column(unsigned long context, QD_OBJ_REF const& table,
                                      std::u16string_view name) {
  return find_first(context, catalogue::column_by_member,
                    catalogue_key().number(table.oid).text(name).end());
}

std::vector<QD_OBJ_REF> columns_of_table(unsigned long context, QD_OBJ_REF const& table) {
  std::vector<QD_OBJ_REF> const members =
      read_equal(context, catalogue::column_by_member, table.oid);
  std::vector<QD_OBJ_REF> columns(members.size());
  for (QD_OBJ_REF const& member : members) {
    auto const position =
        static_cast<std::uint64_t>(read_signed(context, member, catalogue::column::index));
    if (position >= columns.size()) {
      throw error(error_kind::storage,
                  "the catalogue's columns of a table are not numbered in order");
    }
    columns[position] = member;
  }
  return columns;
}

std::vector<QD_OBJ_REF> tables_by_reverse_name(unsigned long context, std::u16string_view name) {
  std::u16string const longer = std::u16string(name) + u'.';
  std::vector<QD_OBJ_REF> found;
  for (QD_OBJ_REF const& table :
       read_range(context, catalogue::table_by_reverse_name, catalogue_key().text(name).end(),
                  catalogue_key().text(longer, true).end())) {
    std::u16string const candidate = read_text(context, table, catalogue::table::reverse_name);
    if (candidate == name) return {table};
    // Between the two bounds there are names that go on otherwise.
    if (candidate.starts_with(longer) &&
        !read_bool(context, table, catalogue::table::of_catalogue)) {
      found.push_back(table);
    }
  }
  return found;
}

}  // namespace qd::embedded
