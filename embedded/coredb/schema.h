// What the kernel knows of classes and indexes. A schema is immutable once a context has it; each
// snapshot sees the schema of its own moment.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "coredb/export.h"
#include "coredb/field.h"
#include "coredb/keyspace.h"

namespace qd::coredb {

// A class as the kernel is told of it. One class has one layout.
struct layout_definition {
  std::uint16_t id = 0;          // 0: the kernel chooses. Ids are never given out twice.
  std::uint16_t base = 0;        // The base class's layout; 0: none.
  std::uint64_t class_oid = 0;   // The class's own record: what column 2 of its objects reads.
  std::u16string set_specifier;  // Begins with the base's; no zero units.
  std::vector<column_kind>
      columns;  // The class's own columns. They follow the base's, or begin at 3.
};

struct index_column_definition {
  std::uint16_t column = 0;
  column_kind kind = column_kind::unsigned_integer;
  bool ascending = true;
};

// An index over the objects of a class and of all classes derived from it, now or later.
struct index_definition {
  std::uint64_t id = 0;      // 0: the kernel chooses. Ids are never given out twice.
  std::uint16_t layout = 0;  // The class's.
  std::vector<index_column_definition> columns;
  // No two objects may have equal keys; a key with a NULL in it equals no other.
  bool unique = false;
  // An extent: all objects in the order of their ids. Its one column is the object's own reference,
  // ascending. It has no entries of its own, so it costs nothing per object.
  bool extent = false;
};

// The columns of an index that refer to other objects.
std::vector<std::uint16_t> references_in(index_definition const& definition);

struct index;

// A layout as the kernel uses it.
struct layout {
  layout_definition definition;
  std::vector<column_kind> kinds;      // Every column's, system columns and the base's included.
  std::vector<std::uint16_t> lineage;  // The outermost base first, this layout last.
  std::vector<layout*> derived;        // The layouts whose base this is.
  std::vector<index const*> indexes;   // With entries for this layout's objects; no extents.
  // Columns that refer to objects and stand in one of these indexes.
  std::vector<std::uint16_t> indexed_references;
  std::uint32_t null_words = 0;                        // 64-bit words of a record's null bitmap.
  std::uint32_t record_bytes = 0;                      // Size of a record's fixed part.
  bool has_bytes = false;                              // Whether a record has strings or binaries.
  std::vector<unsigned char> set_specifier_record;     // A VELA_UCS2: count, units, zero unit.
  std::vector<unsigned char> set_specifier_densetext;  // What indexes over column 1 hold.

  // Whether this is `other`, or derives from it.
  bool is_a(layout const& other) const {
    std::size_t const depth = other.lineage.size() - 1;
    return depth < lineage.size() && lineage[depth] == other.definition.id;
  }
};

// An index as the kernel uses it.
struct index {
  index_definition definition;
  std::vector<std::uint16_t> covered;        // The layouts whose objects it holds, ascending.
  keyspace space = keyspace::first_entries;  // Where its entries are.
  std::vector<unsigned char> prefix;         // What their keys begin with.
};

class QD_COREDB_API schema {
 public:
  // Checks the definitions and derives the rest. Throws error(bad_schema).
  schema(std::uint64_t version, std::vector<layout_definition> layouts,
         std::vector<index_definition> indexes);
  schema(schema const&) = delete;
  schema& operator=(schema const&) = delete;

  // Counts the committed changes of the schema.
  std::uint64_t version() const { return version_; }
  // Null when there is none.
  layout const* find_layout(std::uint16_t id) const {
    return id < layouts_by_id_.size() ? layouts_by_id_[id] : nullptr;
  }
  index const* find_index(std::uint64_t id) const;

  std::vector<std::unique_ptr<layout>> const& layouts() const { return layouts_; }
  std::vector<std::unique_ptr<index>> const& indexes() const { return indexes_; }

  // The stored form.
  std::vector<unsigned char> encode() const;
  // The version in the stored form; 0 when it has none.
  static std::uint64_t stored_version(std::span<unsigned char const> bytes);
  // Throws error(storage) when the bytes are damaged.
  static std::shared_ptr<schema const> decode(std::span<unsigned char const> bytes);

 private:
  void add_layout(layout_definition&& definition);
  void add_index(index_definition&& definition);

  std::uint64_t version_;
  std::vector<std::unique_ptr<layout>> layouts_;  // Bases before what derives from them.
  std::vector<std::unique_ptr<index>> indexes_;   // Ascending ids.
  std::vector<layout*> layouts_by_id_;
};

}  // namespace qd::coredb
