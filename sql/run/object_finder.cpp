#include "sql/run/object_finder.h"

#include <algorithm>

#include "sql/run/column_values.h"

namespace qd::sql {
namespace {

// Keys that are remembered of those looked up through an index.
constexpr std::size_t most_known = 1'000'000;

bool leads_an_index(table_info const& table, column_info const& column) {
  auto const number = static_cast<std::size_t>(&column - table.columns.data());
  return std::any_of(table.indexes.begin(), table.indexes.end(), [&](index_info const& index) {
    return !index.extent && index.columns.front().number == number;
  });
}

}  // namespace

key_place key_of(run_context const& run, column_info const& reference) {
  reader from = run.through_transaction();
  std::shared_ptr<sql::catalogue> tables = run.connection.tables_of(from.schema());
  table_info const* const table = tables->find(from.context(), reference.referenced_class);
  if (table) {
    for (column_info const& each : table->columns) {
      if (each.name == reference.lookup_column) return {std::move(tables), table, &each};
    }
  }
  throw error(error_code::unknown_name, "column " + reference.name + " is looked up through " +
                                            reference.lookup_column + ", which is gone");
}

object_finder::object_finder(run_context const& run, key_place place)
    : connection_(run.connection), transaction_(run.transaction), place_(std::move(place)) {
  if (leads_an_index(*place_.table, *place_.column)) {
    reader from(transaction_);
    column_query wanted{place_.table->class_name, place_.column->name};
    wanted.where = column_query::condition::equals_parameter;
    by_key_ = make_internal_query(wanted, connection_, from);
  } else {
    read_all();
  }
}

void object_finder::read_all() {
  reader from(transaction_);
  column_query wanted{place_.table->class_name, place_.column->name, true};
  wanted.where = column_query::condition::is_not_null;
  std::unique_ptr<query> const all = make_internal_query(wanted, connection_, from);
  std::vector<value> row;
  for (all->start(reader(transaction_), {}); all->next(row);) {
    auto const [place, added] =
        known_.try_emplace(std::move(row[1]), found{get<QD_OBJ_REF>(row[0])});
    if (!added) place->second->several = true;
  }
}

std::optional<object_finder::found> object_finder::look_up(value const& key) {
  auto const known = known_.find(key);
  if (known != known_.end()) return known->second;
  if (!by_key_) return std::nullopt;
  std::optional<found> result;
  std::vector<value> row;
  by_key_->start(reader(transaction_), {&key, 1});
  if (by_key_->next(row)) {
    result = found{get<QD_OBJ_REF>(row[0])};
    result->several = by_key_->next(row);
  }
  by_key_->end();
  if (known_.size() >= most_known) known_.clear();
  known_.emplace(key, result);
  return result;
}

lookup object_finder::find(value const& key) {
  table_info const& table = *place_.table;
  column_info const& column = *place_.column;
  std::optional<value> const exact = exactly_as(column.kind, key);
  if (exact && exact->index() != static_cast<unsigned>(column.kind)) {
    return {{},
            shown(key) + " cannot stand in " + table.name + '.' + column.name +
                ", through which rows are looked up"};
  }
  bool const is_floating = holds_alternative<double>(key) || holds_alternative<float>(key);
  if (!exact && is_floating) {
    return {{},
            shown(key) + " is a floating number, and " + table.name + '.' + column.name +
                ", through which rows are looked up, holds exact ones"};
  }
  std::optional<found> const result = exact ? look_up(*exact) : std::nullopt;
  if (result && !result->several) return {{result->object.oid}, {}};
  return {{},
          (result ? "more than one row of " : "no row of ") + table.name + " has " + column.name +
              ' ' + shown(key)};
}

}  // namespace qd::sql
