#include "coredb/schema.h"

#include <algorithm>
#include <cstring>

#include "coredb/byte_order.h"
#include "coredb/error.h"
#include "coredb/text_codec.h"

namespace qd::coredb {
namespace {

constexpr std::size_t most_columns = 4096;

[[noreturn]] void refuse(std::string const& text) {
  throw error(error_kind::bad_schema, text);
}

std::string name_of(layout_definition const& definition) {
  return "layout " + std::to_string(definition.id);
}

std::string name_of(index_definition const& definition) {
  return "index " + std::to_string(definition.id);
}

// The count, the units and a zero unit: what the kernel hands out for column 1.
std::vector<unsigned char> text_record(std::u16string const& text) {
  std::vector<unsigned char> record(sizeof(std::uint32_t) + (text.size() + 1) * sizeof(char16_t));
  auto const count = static_cast<std::uint32_t>(text.size());
  std::memcpy(record.data(), &count, sizeof count);
  std::memcpy(record.data() + sizeof count, text.data(), text.size() * sizeof(char16_t));
  return record;
}

// An index's number, the more bytes the greater it is, so that small numbers make short keys.
std::vector<unsigned char> entry_prefix(std::uint64_t id) {
  unsigned char bytes[8];
  put_big_endian(bytes, id);
  std::size_t const zeros = static_cast<std::size_t>(
      std::find_if(bytes, bytes + 7, [](unsigned char byte) { return byte != 0; }) - bytes);
  std::vector<unsigned char> prefix{static_cast<unsigned char>(8 - zeros)};
  prefix.insert(prefix.end(), bytes + zeros, bytes + 8);
  return prefix;
}

class writer {
 public:
  void number(std::uint64_t value) {
    unsigned char bytes[8];
    put_big_endian(bytes, value);
    bytes_.insert(bytes_.end(), bytes, bytes + 8);
  }
  void text(std::u16string const& value) {
    number(value.size());
    for (char16_t const unit : value) number(unit);
  }
  std::vector<unsigned char> take() { return std::move(bytes_); }

 private:
  std::vector<unsigned char> bytes_;
};

class reader {
 public:
  explicit reader(std::span<unsigned char const> bytes) : bytes_(bytes) {}

  std::uint64_t number(std::uint64_t most = ~std::uint64_t{0}) {
    if (bytes_.size() < 8) damaged();
    std::uint64_t const value = get_big_endian(bytes_.data());
    bytes_ = bytes_.subspan(8);
    if (value > most) damaged();
    return value;
  }
  // A number of things of 8 bytes and more that follow.
  std::size_t count() { return number(bytes_.size() / 8); }
  std::u16string text() {
    std::u16string value(count(), u'\0');
    for (char16_t& unit : value) unit = static_cast<char16_t>(number(0xFFFF));
    return value;
  }
  column_kind kind() { return static_cast<column_kind>(number(column_kind_count - 1)); }
  void end() const {
    if (!bytes_.empty()) damaged();
  }

 private:
  [[noreturn]] static void damaged() {
    throw error(error_kind::storage, "the stored schema is damaged");
  }

  std::span<unsigned char const> bytes_;
};

}  // namespace

std::vector<std::uint16_t> references_in(index_definition const& definition) {
  std::vector<std::uint16_t> columns;
  for (index_column_definition const& column : definition.columns) {
    if (column.kind == column_kind::reference && column.column >= system_column_count) {
      columns.push_back(column.column);
    }
  }
  return columns;
}

schema::schema(std::uint64_t version, std::vector<layout_definition> layouts,
               std::vector<index_definition> indexes)
    : version_(version) {
  for (layout_definition& definition : layouts) add_layout(std::move(definition));
  std::sort(indexes.begin(), indexes.end(),
            [](auto const& left, auto const& right) { return left.id < right.id; });
  for (index_definition& definition : indexes) add_index(std::move(definition));
}

void schema::add_layout(layout_definition&& definition) {
  std::string const name = name_of(definition);
  if (definition.id == 0) refuse("a layout needs a number");
  if (find_layout(definition.id)) refuse(name + " exists already");
  layout const* base = nullptr;
  if (definition.base != 0) {
    base = find_layout(definition.base);
    if (!base) refuse(name + ": its base " + std::to_string(definition.base) + " does not exist");
    if (!definition.set_specifier.starts_with(base->definition.set_specifier)) {
      refuse(name + ": its set specifier does not begin with its base's");
    }
  }
  if (definition.set_specifier.find(u'\0') != std::u16string::npos) {
    refuse(name + ": a set specifier has no zero units");
  }
  auto made = std::make_unique<layout>();
  made->kinds = base ? base->kinds
                     : std::vector<column_kind>{column_kind::reference, column_kind::set_specifier,
                                                column_kind::reference};
  made->kinds.insert(made->kinds.end(), definition.columns.begin(), definition.columns.end());
  if (made->kinds.size() > most_columns) {
    refuse(name + " has more than " + std::to_string(most_columns) + " columns");
  }
  if (std::count(made->kinds.begin(), made->kinds.end(), column_kind::set_specifier) != 1) {
    refuse(name + ": only column 1 is a set specifier");
  }
  if (base) made->lineage = base->lineage;
  made->lineage.push_back(definition.id);
  std::size_t const stored = made->kinds.size() - system_column_count;
  made->null_words = static_cast<std::uint32_t>((stored + 63) / 64);
  made->record_bytes = static_cast<std::uint32_t>((made->null_words + stored) * 8);
  made->has_bytes = std::any_of(made->kinds.begin() + system_column_count, made->kinds.end(),
                                [](column_kind kind) { return has_bytes(kind); });
  made->set_specifier_record = text_record(definition.set_specifier);
  std::string const densetext = to_densetext(definition.set_specifier);
  made->set_specifier_densetext.assign(densetext.begin(), densetext.end());
  made->definition = std::move(definition);
  std::size_t const id = made->definition.id;
  if (layouts_by_id_.size() <= id) layouts_by_id_.resize(id + 1);
  layouts_.push_back(std::move(made));
  layouts_by_id_[id] = layouts_.back().get();
  if (base) layouts_by_id_[base->definition.id]->derived.push_back(layouts_by_id_[id]);
}

void schema::add_index(index_definition&& definition) {
  std::string const name = name_of(definition);
  if (definition.id == 0) refuse("an index needs a number");
  if (find_index(definition.id)) refuse(name + " exists already");
  layout const* const root = find_layout(definition.layout);
  if (!root) {
    refuse(name + ": its layout " + std::to_string(definition.layout) + " does not exist");
  }
  if (definition.columns.empty()) refuse(name + " has no columns");
  for (index_column_definition const& column : definition.columns) {
    if (column.column >= root->kinds.size()) {
      refuse(name + ": column " + std::to_string(column.column) + " does not exist");
    }
    if (root->kinds[column.column] != column.kind) {
      refuse(name + ": column " + std::to_string(column.column) + " is of another kind");
    }
  }
  if (definition.extent &&
      (definition.columns.size() != 1 || definition.columns[0].column != own_reference_column ||
       !definition.columns[0].ascending)) {
    refuse(name + ": an extent has one column, the object's own reference, ascending");
  }
  auto made = std::make_unique<index>();
  made->space = entry_space(definition.id);
  made->prefix = entry_prefix(definition.id);
  made->definition = std::move(definition);
  // Only what derives from the root is visited, so that many classes with an extent each stay cheap.
  std::vector<layout*> pending{layouts_by_id_[root->definition.id]};
  while (!pending.empty()) {
    layout& covered = *pending.back();
    pending.pop_back();
    pending.insert(pending.end(), covered.derived.begin(), covered.derived.end());
    made->covered.push_back(covered.definition.id);
    if (made->definition.extent) continue;
    covered.indexes.push_back(made.get());
    for (std::uint16_t const column : references_in(made->definition)) {
      std::vector<std::uint16_t>& indexed = covered.indexed_references;
      if (std::count(indexed.begin(), indexed.end(), column) == 0) indexed.push_back(column);
    }
  }
  std::sort(made->covered.begin(), made->covered.end());
  indexes_.push_back(std::move(made));
}

index const* schema::find_index(std::uint64_t id) const {
  auto const found = std::lower_bound(indexes_.begin(), indexes_.end(), id,
                                      [](auto const& candidate, std::uint64_t wanted) {
                                        return candidate->definition.id < wanted;
                                      });
  return found != indexes_.end() && (*found)->definition.id == id ? found->get() : nullptr;
}

std::vector<unsigned char> schema::encode() const {
  writer out;
  out.number(version_);
  out.number(layouts_.size());
  for (std::unique_ptr<layout> const& each : layouts_) {
    layout_definition const& definition = each->definition;
    out.number(definition.id);
    out.number(definition.base);
    out.number(definition.class_oid);
    out.text(definition.set_specifier);
    out.number(definition.columns.size());
    for (column_kind const kind : definition.columns) out.number(static_cast<unsigned char>(kind));
  }
  out.number(indexes_.size());
  for (std::unique_ptr<index> const& each : indexes_) {
    index_definition const& definition = each->definition;
    out.number(definition.id);
    out.number(definition.layout);
    out.number(definition.unique);
    out.number(definition.extent);
    out.number(definition.columns.size());
    for (index_column_definition const& column : definition.columns) {
      out.number(column.column);
      out.number(static_cast<unsigned char>(column.kind));
      out.number(column.ascending);
    }
  }
  return out.take();
}

std::uint64_t schema::stored_version(std::span<unsigned char const> bytes) {
  return bytes.size() < 8 ? 0 : get_big_endian(bytes.data());
}

std::shared_ptr<schema const> schema::decode(std::span<unsigned char const> bytes) {
  reader in(bytes);
  std::uint64_t const version = in.number();
  std::vector<layout_definition> layouts(in.count());
  for (layout_definition& definition : layouts) {
    definition.id = static_cast<std::uint16_t>(in.number(0xFFFF));
    definition.base = static_cast<std::uint16_t>(in.number(0xFFFF));
    definition.class_oid = in.number();
    definition.set_specifier = in.text();
    definition.columns.resize(in.count());
    for (column_kind& kind : definition.columns) kind = in.kind();
  }
  std::vector<index_definition> indexes(in.count());
  for (index_definition& definition : indexes) {
    definition.id = in.number();
    definition.layout = static_cast<std::uint16_t>(in.number(0xFFFF));
    definition.unique = in.number(1) != 0;
    definition.extent = in.number(1) != 0;
    definition.columns.resize(in.count());
    for (index_column_definition& column : definition.columns) {
      column.column = static_cast<std::uint16_t>(in.number(0xFFFF));
      column.kind = in.kind();
      column.ascending = in.number(1) != 0;
    }
  }
  in.end();
  return std::make_shared<schema const>(version, std::move(layouts), std::move(indexes));
}

}  // namespace qd::coredb
