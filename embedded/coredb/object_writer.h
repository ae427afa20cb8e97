// Writes objects and keeps the indexes over them in step.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "coredb/context.h"
#include "coredb/index_writer.h"
#include "coredb/record_key.h"
#include "coredb/write_state.h"

namespace qd::coredb {

// Marks a change of several steps, which may be part of a larger one. When it ends without `done`,
// the transaction has failed.
class change_scope {
 public:
  explicit change_scope(write_state& state) : state_(state), outer_(state.failed) {
    state_.failed = true;
    ++state_.changes;
  }
  ~change_scope() = default;
  change_scope(change_scope const&) = delete;
  change_scope& operator=(change_scope const&) = delete;
  void done() { state_.failed = outer_; }

 private:
  write_state& state_;
  bool outer_;
};

class object_writer {
 public:
  explicit object_writer(context& context)
      : context_(context), state_(*context.writer()), indexes_(context) {}

  std::uint64_t insert(std::uint16_t layout, std::span<field const> fields);
  std::uint64_t reserve(std::uint16_t layout, std::uint64_t count);
  void insert_reserved(std::uint64_t oid, std::span<field const> fields);
  // The layout that an id was set aside for; empty once its object was erased.
  std::optional<std::uint16_t> reserved_layout(std::uint64_t oid) const;
  // Ends the reservations of a layout, or of all (0): the ids that have no object will have none,
  // so that the indexed references to them become NULL, as they read.
  void end_reservations(std::uint16_t layout);
  void update(std::uint64_t oid, std::span<field_change const> changes);
  void erase(std::uint64_t oid);

  // From here on, new objects of the layout are stored without entries, and their updates and
  // deletion leave the indexes alone.
  void begin_bulk(std::uint16_t layout);
  // Enters the objects of the bulk insert into the indexes. Those that a unique index does not take
  // are removed; of several that want one key, the one with the lowest id is taken.
  std::vector<refused_object> finish_bulk();
  // Removes the objects of the bulk insert.
  void abandon_bulk();

  // Enters the objects that are there into a new index. References to deleted objects become NULL.
  void build_index(index const& index);
  // Takes back the notes of the index's references, but for those that a schema without it needs.
  void forget_referrers(index const& index, schema const& without);

  // The blocks that hold objects of a layout.
  std::vector<std::uint64_t> blocks_of(std::uint16_t layout);
  // Hands the blocks held in memory to the store.
  void flush();

 private:
  layout const& find_layout(std::uint16_t id) const;
  record_view find_record(std::uint64_t oid) const;
  layout_counters& counters_of(std::uint16_t layout);
  void check_insert(layout const& layout, std::span<field const> fields) const;
  void insert_at(std::uint64_t oid, layout const& layout, std::span<field const> fields);
  dirty_block& edit(std::uint64_t number, layout const& layout);
  void set_field(dirty_block& block, std::uint64_t oid, unsigned int column, field const& value,
                 layout const& layout);
  bool exists(std::uint64_t oid) const;
  void remove_record(std::uint64_t oid, layout const& layout);
  void remove_unentered(std::uint64_t oid);
  void clear_dangling_between(std::uint64_t first, std::uint64_t end, layout const& layout);
  void clear_references_to(std::uint64_t oid);
  void clear_dangling(std::uint64_t block, layout const& layout,
                      std::vector<std::uint16_t> const& columns);
  template <class Visit>
  void for_each_record(std::uint64_t block, layout const& layout, Visit const& visit);
  void flush_when_large();

  context& context_;
  write_state& state_;
  index_writer indexes_;
};

}  // namespace qd::coredb
