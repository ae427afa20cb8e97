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

object_finder::object_finder(run_context const& run, std::u16string class_name, std::string column)
    : connection_(run.connection), transaction_(run.transaction) {
  reader from(transaction_);
  tables_ = connection_.tables_of(from.schema());
  table_ = tables_->find(from.context(), class_name);
  if (!table_) throw error(error_code::unknown_name, "the referenced table is gone");
  auto const named = std::find_if(table_->columns.begin(), table_->columns.end(),
                                  [&](column_info const& each) { return each.name == column; });
  if (named == table_->columns.end()) {
    throw error(error_code::unknown_name, table_->name + " has no column " + column);
  }
  column_ = &*named;
  if (leads_an_index(*table_, *column_)) {
    column_query wanted{std::move(class_name), std::move(column)};
    wanted.where = column_query::condition::equals_parameter;
    by_key_ = make_internal_query(wanted, connection_, from);
  } else {
    read_all();
  }
}

void object_finder::read_all() {
  reader from(transaction_);
  column_query wanted{table_->class_name, column_->name, true};
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

std::optional<QD_OBJ_REF> object_finder::find(value const& key) {
  std::optional<value> const exact = exactly_as(column_->kind, key);
  if (!exact) return std::nullopt;
  if (exact->index() != static_cast<unsigned>(column_->kind)) {
    throw error(error_code::wrong_type, shown(key) + " cannot be a " + column_->name + " of " +
                                            table_->name + ", through which rows are looked up");
  }
  std::optional<found> const result = look_up(*exact);
  if (!result) return std::nullopt;
  if (result->several) {
    throw error(error_code::constraint,
                "several rows of " + table_->name + " have " + column_->name + ' ' + shown(key));
  }
  return result->object;
}

void object_finder::refuse_missing(value const& key) const {
  throw error(error_code::constraint,
              "no row of " + table_->name + " has " + column_->name + ' ' + shown(key));
}

}  // namespace qd::sql
