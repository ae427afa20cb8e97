// Turns values into the fields that the kernel stores, and refuses those that do not fit.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "coredb/field.h"
#include "dbmetalayer/class_info.h"
#include "dbmetalayer/value.h"

namespace qd::embedded {

// Answers whether an object may stand in a reference column.
class reference_checker {
 public:
  enum class answer { fits, no_object, other_class };

  virtual answer check(std::uint64_t oid, std::uint16_t referenced_layout) = 0;

 protected:
  ~reference_checker() = default;
};

coredb::column_kind kind_of(column_type type);

// Encodes values for columns of one class, given by position. Keeps its buffers from row to row.
class row_encoder {
 public:
  row_encoder(class_info const& of_class, std::vector<std::size_t> positions,
              reference_checker& references);

  // Refuses a row in which a column that must have a value is not among the positions. To be called
  // once, before rows are inserted.
  void require_all_values() const;

  // All of the class's own fields, the columns that are not given NULL. They hold until the next
  // call, and as long as the values do.
  std::span<coredb::field const> encode_object(std::span<value const> row);
  // The given columns alone.
  std::span<coredb::field_change const> encode_changes(std::span<value const> row);

 private:
  void reserve_texts(std::span<value const> row);
  coredb::field encode(column_info const& column, value const& given);

  class_info const& class_;
  std::vector<std::size_t> positions_;
  reference_checker& references_;
  std::vector<coredb::field> fields_;  // Those of columns that are not given stay NULL.
  std::vector<coredb::field_change> changes_;
  std::vector<unsigned char> texts_;  // Densetexts of the present row.
  std::size_t texts_used_ = 0;
};

}  // namespace qd::embedded
