// Checks a database: the stored objects and indexes, and the catalogue beside what the storage
// knows of classes and indexes.
#include <algorithm>
#include <map>

#include "coredb/inspection.h"
#include "coredb/schema.h"
#include "dbmetalayer/catalogue.h"
#include "dbmetalayer/catalogue_key.h"
#include "dbmetalayer/catalogue_reader.h"
#include "dbmetalayer/check.h"
#include "dbmetalayer/database.h"
#include "dbmetalayer/error_translation.h"
#include "dbmetalayer/names.h"

namespace qd::embedded {
namespace {

std::vector<QD_OBJ_REF> all_records(unsigned long context, catalogue::layout_id layout) {
  return read_range(context, catalogue::extent_of(layout), catalogue_key().null().end(),
                    catalogue_key().number(~std::uint64_t{0}).end());
}

class catalogue_checker {
 public:
  catalogue_checker(unsigned long context, coredb::schema const& schema)
      : context_(context), schema_(schema) {}

  // Learns the names of classes and indexes meanwhile.
  void check() {
    for (QD_OBJ_REF const& record : all_records(context_, catalogue::table_layout)) {
      check_table(record);
    }
    for (QD_OBJ_REF const& record : all_records(context_, catalogue::index_layout)) {
      check_index(record);
    }
    for (auto const& layout : schema_.layouts()) {
      std::uint16_t const id = layout->definition.id;
      if (classes_.count(id) == 0) {
        faults_.push_back("the catalogue lacks the class of layout " + std::to_string(id));
      }
    }
    for (auto const& index : schema_.indexes()) {
      std::uint64_t const id = index->definition.id;
      if (indexes_.count(id) == 0) {
        faults_.push_back("the catalogue lacks index " + std::to_string(id));
      }
    }
  }

  std::string describe(coredb::fault const& fault) const {
    std::string place;
    auto const append = [&](std::string const& part) {
      place += (place.empty() ? "" : ", ") + part;
    };
    if (fault.index_id != 0) append("index " + name_in(indexes_, fault.index_id));
    if (fault.layout != 0) append("class " + name_in(classes_, fault.layout));
    if (fault.oid != 0) append("object " + std::to_string(fault.oid));
    return place.empty() ? fault.what : place + ": " + fault.what;
  }

  std::vector<std::string> take_faults() { return std::move(faults_); }

 private:
  void check_table(QD_OBJ_REF const& record) {
    std::string const name = to_utf8(read_text(context_, record, catalogue::table::full_name));
    std::uint64_t const layout_id = read_number(context_, record, catalogue::table::layout);
    coredb::layout const* const layout = schema_.find_layout(static_cast<std::uint16_t>(layout_id));
    classes_[layout_id] = name;
    if (!layout || layout->definition.class_oid != record.oid) {
      faults_.push_back("class " + name + ": the storage has no layout for it");
      return;
    }
    std::size_t const columns = columns_of_table(context_, record).size();
    if (columns != layout->kinds.size()) {
      faults_.push_back("class " + name + ": the catalogue lists " + std::to_string(columns) +
                        " columns, its objects have " + std::to_string(layout->kinds.size()));
    }
  }

  void check_index(QD_OBJ_REF const& record) {
    std::string const name = to_utf8(read_text(context_, record, catalogue::index::full_name));
    std::uint64_t const id = read_number(context_, record, catalogue::index::kernel_id);
    indexes_[id] = name;
    coredb::index const* const index = schema_.find_index(id);
    if (!index) {
      faults_.push_back("index " + name + ": the storage has no such index");
      return;
    }
    std::vector<coredb::index_column_definition> const& stored = index->definition.columns;
    std::vector<QD_OBJ_REF> const described =
        read_equal(context_, catalogue::index_column_by_place, record.oid);
    bool const same = std::equal(
        stored.begin(), stored.end(), described.begin(), described.end(),
        [&](coredb::index_column_definition const& column, QD_OBJ_REF const& description) {
          QD_OBJ_REF const described_column =
              read_reference(context_, description, catalogue::index_column::column);
          return read_signed(context_, described_column, catalogue::column::index) ==
                     column.column &&
                 read_bool(context_, description, catalogue::index_column::ascending) ==
                     column.ascending;
        });
    if (!same) faults_.push_back("index " + name + ": the catalogue lists other columns");
    if (read_bool(context_, record, catalogue::index::unique) !=
        (index->definition.unique || index->definition.extent)) {
      faults_.push_back("index " + name + ": the catalogue says otherwise whether it is unique");
    }
  }

  template <class Key>
  static std::string name_in(std::map<Key, std::string> const& names, std::uint64_t number) {
    auto const known = names.find(number);
    return known == names.end() ? std::to_string(number) : known->second;
  }

  unsigned long context_;
  coredb::schema const& schema_;
  std::map<std::uint64_t, std::string> classes_;  // Names by layout.
  std::map<std::uint64_t, std::string> indexes_;  // Names by kernel id.
  std::vector<std::string> faults_;
};

}  // namespace

std::vector<std::string> check_snapshot(unsigned long context, coredb::schema const& schema,
                                        std::size_t most) {
  catalogue_checker catalogue(context, schema);
  std::vector<std::string> faults;
  try {
    catalogue.check();
    faults = catalogue.take_faults();
  } catch (error const& met) {
    if (met.kind() != error_kind::storage) throw;
    // What the catalogue cannot say is found again, by its place, among the stored objects.
    faults = catalogue.take_faults();
    faults.push_back(met.what());
  }
  translated([&] {
    for (coredb::fault const& each : coredb::find_faults(context, most)) {
      faults.push_back(catalogue.describe(each));
    }
  });
  if (faults.size() > most) faults.resize(most);
  return faults;
}

}  // namespace qd::embedded
