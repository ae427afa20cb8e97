// Bulk inserts: objects first, the entries of indexes at the end.
#include <algorithm>
#include <optional>

#include "coredb/entry_list.h"
#include "coredb/error.h"
#include "coredb/object_writer.h"

namespace qd::coredb {
namespace {

struct id_range {
  std::uint64_t first;
  std::uint64_t end;
};

// Takes the next ids of a bulk load, as many as may be entered at once.
std::vector<id_range> take_ranges(bulk_load& bulk) {
  std::vector<id_range> ranges;
  std::size_t left = most_entries_at_once;
  while (left > 0 && !bulk.runs.empty()) {
    auto const [first, end] = *bulk.runs.begin();
    bulk.runs.erase(bulk.runs.begin());
    std::uint64_t const count = std::min<std::uint64_t>(end - first, left);
    if (first + count < end) bulk.runs.emplace(first + count, end);
    ranges.push_back({first, first + count});
    left -= count;
  }
  return ranges;
}

// Visits the records of the objects that are there. `visit` must not write.
template <class Visit>
void for_each_object(context& context, layout const& layout, std::vector<id_range> const& ranges,
                     Visit const& visit) {
  for (id_range const& range : ranges) {
    unsigned char const* image = absent_block;
    for (std::uint64_t oid = range.first; oid < range.end; ++oid) {
      if (oid == range.first || record_of(oid) == 0) {
        heed_stop(context);
        image = context.block(block_of(oid));
      }
      if (block_has(image, record_of(oid))) visit(record_view{image, &layout, oid});
    }
  }
}

void collect(context& context, layout const& layout, std::vector<id_range> const& ranges,
             entry_list& entries) {
  for_each_object(context, layout, ranges,
                  [&](record_view const& record) { entries.add(record, context.transaction()); });
  entries.sort();
}

void note_references(context& context, layout const& layout, std::vector<id_range> const& ranges) {
  if (layout.indexed_references.empty()) return;
  referrer_list notes;
  for_each_object(context, layout, ranges, [&](record_view const& record) {
    for (std::uint16_t const column : layout.indexed_references) {
      field const value = read_field(record, column, context.transaction());
      if (!value.null) notes.add(value.word, record.oid, column);
    }
  });
  notes.write(context);
}

// Decides who gets the keys that several objects want, as if they came in the order of their ids:
// each gets all its keys or is refused.
class key_contest {
 public:
  void add(std::uint64_t index_id, std::vector<key_conflict>&& conflicts) {
    for (key_conflict& each : conflicts) {
      for (std::uint64_t const oid : each.wanted_by) {
        wishes_.push_back({oid, keys_.size()});
      }
      keys_.push_back({index_id, each.existing});
    }
  }

  std::vector<refused_object> decide() {
    std::sort(wishes_.begin(), wishes_.end(),
              [](wish const& left, wish const& right) { return left.oid < right.oid; });
    std::vector<refused_object> refused;
    for (auto first = wishes_.begin(); first != wishes_.end();) {
      auto const end = std::find_if(first, wishes_.end(),
                                    [&](wish const& each) { return each.oid != first->oid; });
      auto const taken =
          std::find_if(first, end, [&](wish const& each) { return keys_[each.key].holder != 0; });
      if (taken != end) {
        contested_key const& key = keys_[taken->key];
        refused.push_back({first->oid, key.holder, key.index_id});
      } else {
        for (auto each = first; each != end; ++each) keys_[each->key].holder = each->oid;
      }
      first = end;
    }
    return refused;
  }

 private:
  struct contested_key {
    std::uint64_t index_id;
    std::uint64_t holder;  // 0: none yet.
  };
  struct wish {
    std::uint64_t oid;
    std::size_t key;  // Into keys_.
  };
  std::vector<contested_key> keys_;
  std::vector<wish> wishes_;
};

}  // namespace

void object_writer::begin_bulk(std::uint16_t layout) {
  find_layout(layout);
  state_.bulk.emplace(bulk_load{layout});
}

std::vector<refused_object> object_writer::finish_bulk() {
  change_scope scope(state_);
  layout const& layout = find_layout(state_.bulk->layout);
  std::vector<refused_object> all_refused;
  // The ids that are taken are no longer pending, but not entered yet either.
  while (!state_.bulk->runs.empty()) {
    std::vector<id_range> const ranges = take_ranges(*state_.bulk);
    auto const clear_dangling_of_ranges = [&] {
      if (!state_.bulk->any_erased || layout.indexed_references.empty()) return;
      for (id_range const& range : ranges) clear_dangling_between(range.first, range.end, layout);
    };
    clear_dangling_of_ranges();
    key_contest contest;
    // The list of the last unique index is kept, to be written without being collected again.
    std::optional<entry_list> kept;
    for (index const* const index : layout.indexes) {
      if (!index->definition.unique) continue;
      kept.emplace(*index);
      collect(context_, layout, ranges, *kept);
      contest.add(index->definition.id, kept->find_conflicts(context_));
    }
    std::vector<refused_object> const refused = contest.decide();
    for (refused_object const& each : refused) remove_unentered(each.oid);
    all_refused.insert(all_refused.end(), refused.begin(), refused.end());
    if (!refused.empty()) {
      kept.reset();
      clear_dangling_of_ranges();
    }
    index const* const written = kept ? &kept->index() : nullptr;
    if (kept) kept->write(context_);
    kept.reset();
    for (index const* const index : layout.indexes) {
      if (index == written) continue;
      entry_list entries(*index);
      collect(context_, layout, ranges, entries);
      entries.write(context_);
    }
    note_references(context_, layout, ranges);
    flush_when_large();
  }
  state_.bulk.reset();
  scope.done();
  return all_refused;
}

void object_writer::abandon_bulk() {
  change_scope scope(state_);
  while (!state_.bulk->runs.empty()) {
    auto const [first, end] = *state_.bulk->runs.begin();
    for (std::uint64_t oid = first; oid < end; ++oid) {
      if (exists(oid)) remove_unentered(oid);
    }
    state_.bulk->runs.erase(first);
  }
  state_.bulk.reset();
  scope.done();
}

}  // namespace qd::coredb
