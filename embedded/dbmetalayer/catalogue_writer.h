// Writes the catalogue: the records of classes and indexes, in step with the kernel's layouts and
// indexes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "coredb/database.h"
#include "dbmetalayer/database.h"

namespace qd::embedded {

// The element of that name, or the end.
template <class List>
auto find_named(List& list, std::u16string_view name) {
  return std::find_if(list.begin(), list.end(),
                      [&](auto const& each) { return each.name == name; });
}

// Works in a write transaction, which it does not own. Checks everything before the first change:
// an error of kind bad_definition or unknown_name leaves the transaction as it was. After any other
// exception the transaction must be rolled back.
class catalogue_writer {
 public:
  explicit catalogue_writer(coredb::write_transaction& core) : core_(core) {}

  // Creates the catalogue in an empty database.
  void create_catalogue();

  void define_classes(std::span<class_definition const> definitions);
  void define_index(index_definition const& definition);
  void drop_class(std::u16string_view class_name);
  void drop_index(std::u16string_view index_name);

 private:
  // A class on its way into the catalogue.
  struct new_class {
    std::u16string name;
    std::u16string base;  // Empty for the root.
    std::u16string set_specifier;
    std::uint64_t record = 0;  // The id that its table's record has, or will have.
    std::uint64_t base_record = 0;
    std::uint16_t layout = 0;
    bool of_catalogue = false;
    std::vector<column_definition> inherited;  // The base's, without system columns.
    std::vector<column_definition> own;
  };

  unsigned long context() const { return core_.handle(); }

  new_class plan_class(class_definition const& definition, std::span<new_class const> earlier);
  void check_references(new_class const& planned, std::span<new_class const> all) const;
  void create_layout(new_class& planned, std::span<new_class const> earlier);
  void insert_table(new_class const& planned);
  void insert_columns(new_class const& planned);
  void insert_column(new_class const& planned, std::size_t position,
                     column_definition const& definition, std::uint64_t type);
  std::uint64_t type_record(column_definition const& definition);
  void insert_index(std::u16string_view name, std::uint64_t table, std::uint64_t kernel_id,
                    bool unique, bool extent, std::span<index_column const> columns);
  void create_extent(new_class const& planned, std::uint64_t kernel_id);
  void insert_name_token(std::uint64_t number, std::u16string_view text);
  void erase_index(QD_OBJ_REF const& record);

  coredb::write_transaction& core_;
  std::map<std::uint64_t, std::uint64_t> primitive_types_;  // Records by code; read when needed.
};

}  // namespace qd::embedded
