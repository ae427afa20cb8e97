#include "coredb/object_writer.h"

#include <algorithm>
#include <string>

#include "coredb/database.h"
#include "coredb/entry_list.h"
#include "coredb/error.h"

namespace qd::coredb {
namespace {

// Blocks held in memory are handed to the store once they take this much.
constexpr std::size_t most_dirty_bytes = std::size_t{64} << 20;
constexpr std::size_t longest_value = 0xFFFFFFF0;

[[noreturn]] void refuse(std::string const& text) {
  throw error(error_kind::bad_object, text);
}

void check_field(layout const& layout, unsigned int column, field const& value) {
  std::string problem;
  if (value.kind != layout.kinds[column]) {
    problem = "is of kind " + std::to_string(static_cast<int>(layout.kinds[column])) +
              ", the value of kind " + std::to_string(static_cast<int>(value.kind));
  } else if (value.bytes.size() > longest_value) {
    problem = "cannot hold " + std::to_string(value.bytes.size()) + " bytes";
  } else {
    return;
  }
  refuse("layout " + std::to_string(layout.definition.id) + ": column " + std::to_string(column) +
         " " + problem);
}

// The reference to no object is NULL.
field normal(field value) {
  if (value.kind == column_kind::reference && value.word == 0) value.null = true;
  return value;
}

// Those of the columns that stand in none of the layout's indexes.
std::vector<std::uint16_t> columns_but_for(std::vector<std::uint16_t> columns,
                                           layout const& layout) {
  std::erase_if(columns, [&](std::uint16_t const column) {
    std::vector<std::uint16_t> const& indexed = layout.indexed_references;
    return std::find(indexed.begin(), indexed.end(), column) != indexed.end();
  });
  return columns;
}

[[noreturn]] void refuse_conflict(index const& index, key_conflict const& conflict) {
  bool const is_stored = conflict.existing != 0;
  std::uint64_t const existing = is_stored ? conflict.existing : conflict.wanted_by[0];
  index_writer::refuse_duplicate(index, conflict.wanted_by[is_stored ? 0 : 1], existing);
}

bool is_null_in_key(index const& index, auto const& field_of) {
  return std::any_of(index.definition.columns.begin(), index.definition.columns.end(),
                     [&](auto const& column) { return field_of(column.column).null; });
}

}  // namespace

layout const& object_writer::find_layout(std::uint16_t id) const {
  layout const* const found = context_.schema().find_layout(id);
  if (!found) refuse("layout " + std::to_string(id) + " does not exist");
  return *found;
}

record_view object_writer::find_record(std::uint64_t oid) const {
  unsigned char const* const image = context_.block(block_of(oid));
  if (!block_has(image, record_of(oid))) refuse(object_name(oid) + " does not exist");
  return {image, &find_layout(block_layout(image)), oid};
}

layout_counters& object_writer::counters_of(std::uint16_t layout) {
  auto const known = state_.counters.find(layout);
  if (known != state_.counters.end()) return known->second;
  layout_counters const stored = read_layout_counters(context_.transaction(), layout);
  return state_.counters.emplace(layout, stored).first->second;
}

void object_writer::check_insert(layout const& layout, std::span<field const> fields) const {
  std::size_t const wanted = layout.kinds.size() - system_column_count;
  if (fields.size() != wanted) {
    refuse("layout " + std::to_string(layout.definition.id) + " takes " + std::to_string(wanted) +
           " fields, not " + std::to_string(fields.size()));
  }
  for (std::size_t i = 0; i < fields.size(); ++i) {
    check_field(layout, static_cast<unsigned int>(i + system_column_count), fields[i]);
  }
}

std::uint64_t object_writer::insert(std::uint16_t layout_id, std::span<field const> fields) {
  layout const& layout = find_layout(layout_id);
  check_insert(layout, fields);
  std::uint64_t& next = counters_of(layout_id).next_oid;
  bool const begins_block = next == 0;
  std::uint64_t const oid = begins_block ? oid_of(state_.next_block, 0) : next;
  insert_at(oid, layout, fields);
  if (begins_block) ++state_.next_block;
  next = record_of(oid + 1) == 0 ? 0 : oid + 1;
  return oid;
}

std::uint64_t object_writer::reserve(std::uint16_t layout_id, std::uint64_t count) {
  find_layout(layout_id);
  if (count == 0 || count > most_oids_reserved_at_once) {
    refuse("cannot reserve " + std::to_string(count) + " object ids: between 1 and " +
           std::to_string(most_oids_reserved_at_once) + " can be at once");
  }
  std::uint64_t const first = oid_of(state_.next_block, 0);
  state_.reserved.emplace(first, reserved_run{first + count, layout_id});
  state_.next_block += (count + records_per_block - 1) / records_per_block;
  return first;
}

std::optional<std::uint16_t> object_writer::reserved_layout(std::uint64_t oid) const {
  auto const behind = state_.reserved.upper_bound(oid);
  if (behind == state_.reserved.begin()) return std::nullopt;
  reserved_run const& run = std::prev(behind)->second;
  if (oid >= run.end || state_.erased_reserved.contains(oid)) return std::nullopt;
  return run.layout;
}

void object_writer::insert_reserved(std::uint64_t oid, std::span<field const> fields) {
  std::optional<std::uint16_t> const layout_id = reserved_layout(oid);
  if (!layout_id) refuse(object_name(oid) + " is not reserved in this transaction");
  layout const& layout = find_layout(*layout_id);
  check_insert(layout, fields);
  if (exists(oid)) refuse(object_name(oid) + " exists already");
  insert_at(oid, layout, fields);
}

void object_writer::end_reservations(std::uint16_t layout) {
  for (auto run = state_.reserved.begin(); run != state_.reserved.end();) {
    if (layout != 0 && run->second.layout != layout) {
      ++run;
      continue;
    }
    auto const unused = [&](std::uint64_t oid) { return !exists(oid); };
    for (std::uint64_t const oid : indexes_.targets_between(run->first, run->second.end, unused)) {
      clear_references_to(oid);
    }
    run = state_.reserved.erase(run);
  }
}

void object_writer::insert_at(std::uint64_t oid, layout const& layout,
                              std::span<field const> fields) {
  record_view const system_record{absent_block, &layout, oid};
  auto const field_of = [&](unsigned int column) {
    return column < system_column_count ? read_field(system_record, column, context_.transaction())
                                        : normal(fields[column - system_column_count]);
  };
  bool const enters_later = state_.bulk && state_.bulk->layout == layout.definition.id;
  std::size_t const index_count = enters_later ? 0 : layout.indexes.size();
  if (state_.keys.size() < index_count) state_.keys.resize(index_count);
  for (std::size_t i = 0; i < index_count; ++i) {
    index const& index = *layout.indexes[i];
    state_.keys[i].clear();
    append_storage_key(state_.keys[i], index, field_of);
    if (index.definition.unique && !is_null_in_key(index, field_of)) {
      indexes_.refuse_equal_key(index, state_.keys[i].bytes(), oid);
    }
  }
  change_scope scope(state_);
  dirty_block& block = edit(block_of(oid), layout);
  block.editor.add(record_of(oid), layout);
  ++counters_of(layout.definition.id).objects;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    field const value = normal(fields[i]);
    if (value.null) continue;
    set_field(block, oid, static_cast<unsigned int>(i + system_column_count), value, layout);
  }
  for (std::size_t i = 0; i < index_count; ++i) {
    indexes_.put(*layout.indexes[i], state_.keys[i], oid, layout.definition.id);
  }
  if (enters_later) {
    state_.bulk->add(oid);
  } else {
    for (std::uint16_t const column : layout.indexed_references) {
      indexes_.put_referrer(oid, column, field_of(column));
    }
  }
  flush_when_large();
  scope.done();
}

void object_writer::update(std::uint64_t oid, std::span<field_change const> changes) {
  record_view const record = find_record(oid);
  layout const& layout = *record.layout;
  for (field_change const& change : changes) {
    if (change.column < system_column_count || change.column >= layout.kinds.size()) {
      refuse(object_name(oid) + ": column " + std::to_string(change.column) +
             (change.column < system_column_count ? " never changes" : " does not exist"));
    }
    check_field(layout, change.column, change.value);
  }
  auto const old_field_of = [&](unsigned int column) {
    return read_field(record, column, context_.transaction());
  };
  auto const field_of = [&](unsigned int column) {
    for (std::size_t i = changes.size(); i-- > 0;) {
      if (changes[i].column == column) return normal(changes[i].value);
    }
    return old_field_of(column);
  };
  bool const is_pending = state_.is_pending(oid);
  std::size_t const count = is_pending ? 0 : layout.indexes.size();
  if (state_.keys.size() < count) state_.keys.resize(count);
  if (state_.old_keys.size() < count) state_.old_keys.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    index const& index = *layout.indexes[i];
    state_.keys[i].clear();
    state_.old_keys[i].clear();
    append_storage_key(state_.keys[i], index, field_of);
    append_storage_key(state_.old_keys[i], index, old_field_of);
    bool const same = compare_bytes(state_.keys[i].bytes(), state_.old_keys[i].bytes()) == 0;
    if (!same && index.definition.unique && !is_null_in_key(index, field_of)) {
      indexes_.refuse_equal_key(index, state_.keys[i].bytes(), oid);
    }
  }
  state_.references.clear();
  for (std::uint16_t const column : layout.indexed_references) {
    if (is_pending) break;
    reference_change const change{column, old_field_of(column), field_of(column)};
    bool const same =
        change.before.null == change.after.null && change.before.word == change.after.word;
    if (!same) state_.references.push_back(change);
  }
  change_scope scope(state_);
  for (reference_change const& change : state_.references) {
    indexes_.erase_referrer(oid, change.column, change.before);
    indexes_.put_referrer(oid, change.column, change.after);
  }
  dirty_block& block = edit(block_of(oid), layout);
  for (field_change const& change : changes) {
    set_field(block, oid, change.column, normal(change.value), layout);
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (compare_bytes(state_.keys[i].bytes(), state_.old_keys[i].bytes()) == 0) continue;
    indexes_.erase(*layout.indexes[i], state_.old_keys[i], oid, layout.definition.id);
    indexes_.put(*layout.indexes[i], state_.keys[i], oid, layout.definition.id);
  }
  flush_when_large();
  scope.done();
}

void object_writer::erase(std::uint64_t oid) {
  find_record(oid);
  change_scope scope(state_);
  if (state_.is_pending(oid)) {
    remove_unentered(oid);
    scope.done();
    return;
  }
  if (state_.bulk) state_.bulk->any_erased = true;
  clear_references_to(oid);
  record_view const record = find_record(oid);
  layout const& layout = *record.layout;
  if (state_.keys.size() < layout.indexes.size()) state_.keys.resize(layout.indexes.size());
  for (std::size_t i = 0; i < layout.indexes.size(); ++i) {
    state_.keys[i].clear();
    append_storage_key(state_.keys[i], *layout.indexes[i], [&](unsigned int column) {
      return read_field(record, column, context_.transaction());
    });
  }
  state_.references.clear();
  for (std::uint16_t const column : layout.indexed_references) {
    field const before = read_field(record, column, context_.transaction());
    state_.references.push_back({column, before, field::of_null(column_kind::reference)});
  }
  for (reference_change const& change : state_.references) {
    indexes_.erase_referrer(oid, change.column, change.before);
  }
  remove_record(oid, layout);
  for (std::size_t i = 0; i < layout.indexes.size(); ++i) {
    indexes_.erase(*layout.indexes[i], state_.keys[i], oid, layout.definition.id);
  }
  flush_when_large();
  scope.done();
}

void object_writer::remove_record(std::uint64_t oid, layout const& layout) {
  dirty_block& block = edit(block_of(oid), layout);
  for (std::size_t column = system_column_count; column < layout.kinds.size(); ++column) {
    if (!has_bytes(layout.kinds[column])) continue;
    field const nothing = field::of_null(layout.kinds[column]);
    set_field(block, oid, static_cast<unsigned int>(column), nothing, layout);
  }
  block.editor.remove(record_of(oid));
  --counters_of(layout.definition.id).objects;
  if (reserved_layout(oid)) state_.erased_reserved.insert(oid);
}

// Removes an object of the bulk insert, which stands in no index.
void object_writer::remove_unentered(std::uint64_t oid) {
  state_.bulk->any_erased = true;
  clear_references_to(oid);
  remove_record(oid, *find_record(oid).layout);
  flush_when_large();
}

// The block in memory, taken from the store when it is not there yet.
dirty_block& object_writer::edit(std::uint64_t number, layout const& layout) {
  auto const known = state_.dirty.find(number);
  if (known != state_.dirty.end()) return known->second;
  unsigned char const* const stored = context_.block(number);
  std::uint16_t const id = layout.definition.id;
  dirty_block block = stored == absent_block ? dirty_block{block_editor(number, layout), id}
                                             : dirty_block{block_editor(stored, layout), id};
  if (stored == absent_block) {
    context_.transaction().put(keyspace::extents, extent_key(id, number).view(), {});
  }
  state_.dirty_bytes += block.editor.memory();
  return state_.dirty.emplace(number, std::move(block)).first->second;
}

// Sets a column, and keeps a value that is too long for the block outside of it.
void object_writer::set_field(dirty_block& block, std::uint64_t oid, unsigned int column,
                              field const& value, layout const& layout) {
  unsigned int const stored = column - system_column_count;
  if (has_bytes(layout.kinds[column])) {
    long_value_key const key(oid, column);
    record_view const record{block.editor.image(), &layout, oid};
    bool const was_long = !record.is_null(stored) && place_of(record.slot(stored)).is_long();
    bool const is_long = !value.null && value.bytes.size() > longest_block_value;
    if (is_long) {
      context_.transaction().put(keyspace::long_values, key.view(), value.bytes);
    } else if (was_long) {
      context_.transaction().erase(keyspace::long_values, key.view());
    }
    if (!is_long) state_.dirty_bytes += value.bytes.size();
  }
  block.editor.set(record_of(oid), stored, value, layout);
}

bool object_writer::exists(std::uint64_t oid) const {
  return block_has(context_.block(block_of(oid)), record_of(oid));
}

// Makes the indexed references to an object NULL, but for its own.
void object_writer::clear_references_to(std::uint64_t oid) {
  for (index_writer::referrer const& found : indexes_.take_referrers(oid)) {
    unsigned char const* const image = context_.block(block_of(found.oid));
    if (found.oid == oid || !block_has(image, record_of(found.oid))) continue;
    record_view const record{image, &find_layout(block_layout(image)), found.oid};
    field const value = read_field(record, found.column, context_.transaction());
    if (value.null || value.word != oid) continue;
    field_change const change{found.column, field::of_null(column_kind::reference)};
    update(found.oid, {&change, 1});
  }
}

// Visits the objects of a block. The block is copied, because what `visit` writes may move pages.
template <class Visit>
void object_writer::for_each_record(std::uint64_t block, layout const& layout, Visit const& visit) {
  unsigned char const* const stored = context_.block(block);
  if (block_live(stored) == 0) return;
  std::vector<unsigned char> const image(stored, stored + block_size(stored));
  for (unsigned int i = 0; i < records_per_block; ++i) {
    if (block_has(image.data(), i)) visit(record_view{image.data(), &layout, oid_of(block, i)});
  }
}

// Makes those of a block's references NULL that lead to objects which are gone and were not noted.
void object_writer::clear_dangling(std::uint64_t block, layout const& layout,
                                   std::vector<std::uint16_t> const& columns) {
  for_each_record(block, layout, [&](record_view const& record) {
    for (std::uint16_t const column : columns) {
      field const value = read_field(record, column, context_.transaction());
      if (value.null || exists(value.word) || reserved_layout(value.word)) continue;
      field const nothing = field::of_null(column_kind::reference);
      set_field(edit(block, layout), record.oid, column, nothing, layout);
    }
  });
}

// Clears the dangling references of the blocks of a bulk insert's objects.
void object_writer::clear_dangling_between(std::uint64_t first, std::uint64_t end,
                                           layout const& layout) {
  for (std::uint64_t number = block_of(first); number <= block_of(end - 1); ++number) {
    clear_dangling(number, layout, layout.indexed_references);
    flush_when_large();
  }
}

void object_writer::build_index(index const& index) {
  std::vector<std::uint16_t> const references = references_in(index.definition);
  entry_list entries(index);
  referrer_list notes;
  auto const enter = [&] {
    entries.sort();
    if (index.definition.unique) {
      std::vector<key_conflict> const conflicts = entries.find_conflicts(context_);
      if (!conflicts.empty()) refuse_conflict(index, conflicts.front());
    }
    entries.write(context_);
    entries.clear();
    notes.write(context_);
  };
  for (std::uint16_t const id : index.covered) {
    layout const& layout = find_layout(id);
    std::vector<std::uint16_t> const unnoted = columns_but_for(references, layout);
    for (std::uint64_t const number : blocks_of(id)) {
      if (!unnoted.empty()) clear_dangling(number, layout, unnoted);
      for_each_record(number, layout, [&](record_view const& record) {
        entries.add(record, context_.transaction());
        for (std::uint16_t const column : references) {
          field const value = read_field(record, column, context_.transaction());
          if (!value.null) notes.add(value.word, record.oid, column);
        }
      });
      if (entries.size() >= most_entries_at_once) enter();
      flush_when_large();
    }
  }
  enter();
}

void object_writer::forget_referrers(index const& index, schema const& without) {
  for (std::uint16_t const id : index.covered) {
    std::vector<std::uint16_t> const columns =
        columns_but_for(references_in(index.definition), *without.find_layout(id));
    if (columns.empty()) continue;
    layout const& layout = find_layout(id);
    for (std::uint64_t const number : blocks_of(id)) {
      for_each_record(number, layout, [&](record_view const& record) {
        for (std::uint16_t const column : columns) {
          field const value = read_field(record, column, context_.transaction());
          indexes_.erase_referrer(record.oid, column, value);
        }
      });
    }
  }
}

std::vector<std::uint64_t> object_writer::blocks_of(std::uint16_t layout) {
  std::vector<std::uint64_t> numbers;
  store_cursor cursor(context_.transaction(), keyspace::extents);
  for (bool found = cursor.seek(extent_key(layout, 0).view()); found; found = cursor.next()) {
    std::uint64_t const number = extent_key::block_of(cursor.key(), layout);
    if (number == 0) break;
    numbers.push_back(number);
  }
  return numbers;
}

void object_writer::flush_when_large() {
  if (state_.dirty_bytes > most_dirty_bytes) flush();
}

void object_writer::flush() {
  std::vector<std::uint64_t> numbers;
  for (auto const& [number, block] : state_.dirty) numbers.push_back(number);
  std::sort(numbers.begin(), numbers.end());
  store_transaction& transaction = context_.transaction();
  for (std::uint64_t const number : numbers) {
    dirty_block const& block = state_.dirty.at(number);
    layout const& layout = find_layout(block.layout);
    unsigned char key[8];
    put_big_endian(key, number);
    if (block_live(block.editor.image()) == 0) {
      transaction.erase(keyspace::blocks, key);
      transaction.erase(keyspace::extents, extent_key(block.layout, number).view());
    } else {
      std::size_t const size = block.editor.stored_size(layout);
      block.editor.write_stored(transaction.reserve(keyspace::blocks, key, size), layout);
    }
  }
  state_.dirty.clear();
  state_.dirty_bytes = 0;
}

}  // namespace qd::coredb
