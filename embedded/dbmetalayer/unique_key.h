// The text of a refused duplicate.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "coredb/schema.h"
#include "dbmetalayer/class_info.h"

namespace qd::embedded {

// Names an index, its class, columns and the values that an object and a second one would share.
// `context` is the write transaction's.
std::string duplicate_text(unsigned long context, class_info const& of_class,
                           std::u16string_view index_name,
                           std::span<coredb::index_column_definition const> columns,
                           std::uint64_t object);

// The same for indexes that the catalogue knows, whose names it looks up once.
class duplicate_texts {
 public:
  duplicate_texts(unsigned long context, coredb::schema const& schema)
      : context_(context), schema_(schema) {}

  struct result {
    std::u16string index_name;
    std::string text;
  };
  // `object` has a key of the index that another one wanted.
  result describe(std::uint64_t index_id, std::uint64_t object);

 private:
  struct known_index {
    std::u16string name;
    class_info of_class;
  };
  unsigned long context_;
  coredb::schema const& schema_;
  std::map<std::uint64_t, known_index> known_;  // By kernel id.
};

}  // namespace qd::embedded
