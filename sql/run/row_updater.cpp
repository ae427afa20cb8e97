#include "sql/run/row_updater.h"

#include <algorithm>
#include <limits>

#include "db_string/string_encoder.h"
#include "sql/run/class_tree.h"

namespace qd::sql {
namespace {

bool has(std::vector<std::size_t> const& columns, std::size_t column) {
  return std::find(columns.begin(), columns.end(), column) != columns.end();
}

// Whether what is given for a reference column is a key, to be looked up.
bool is_key(column_info const& column, value const& given) {
  return column.kind == kind::reference && !given.is_null() &&
         !holds_alternative<QD_OBJ_REF>(given);
}

// A value of a column that hardly any row has; another one per attempt. Throws for booleans.
value rare_value(run_context& run, column_info const& column, std::uint64_t attempt) {
  auto const number = static_cast<long>(attempt);
  switch (column.kind) {
    case kind::signed_integer:
      return std::numeric_limits<long>::min() + number;
    case kind::unsigned_integer:
      return std::numeric_limits<unsigned long>::max() - attempt;
    case kind::decimal:
      return operator_library::Decimal{number - operator_library::Decimal::max_scaled};
    case kind::text:
      return db_string::dt_string(u"\uFFFF" + encoder::utf8_to_utf16(std::to_string(attempt)),
                                  false);
    case kind::binary: {
      std::string const digits = std::to_string(attempt);
      return operator_library::Binary{{digits.begin(), digits.end()}};
    }
    case kind::reference:
      return QD_OBJ_REF{run.kernel().reserve_oids(column.referenced_class, 1).oid, 0};
    default:
      throw error(error_code::not_supported,
                  "rows cannot exchange their values of the unique column " + column.name +
                      ", which must have a value and is of type " + kind_name(column.kind));
  }
}

}  // namespace

std::vector<std::size_t> old_columns(std::vector<std::size_t> assigned,
                                     std::vector<unique_key> const& keys) {
  for (unique_key const& key : keys) {
    for (std::size_t const column : key) {
      if (!has(assigned, column)) assigned.push_back(column);
    }
  }
  return assigned;
}

std::vector<unique_key> unique_keys_with(embedded::read_context const& context,
                                         table_info const& table,
                                         std::vector<std::size_t> const& columns) {
  std::vector<std::u16string> classes = with_bases(context, table.class_name);
  std::vector<std::u16string> const derived = with_derived(context, table.class_name);
  classes.insert(classes.end(), derived.begin() + 1, derived.end());
  std::vector<unique_key> keys;
  for (std::u16string const& name : classes) {
    auto const described = context.describe_class(name);
    for (embedded::index_description const& index : described->indexes) {
      if (!index.unique || index.extent || index.inherited) continue;
      unique_key key;
      for (auto const& column : index.columns) key.push_back(column.number);
      bool const changes = std::any_of(key.begin(), key.end(),
                                       [&](std::size_t column) { return has(columns, column); });
      bool const known = std::all_of(key.begin(), key.end(), [&](std::size_t column) {
        return column < table.columns.size();
      });
      if (changes && known) keys.push_back(std::move(key));
    }
  }
  return keys;
}

row_updater::row_updater(run_context& run, table_info const& table,
                         std::vector<std::size_t> assigned, std::vector<unique_key> keys)
    : run_(run),
      table_(table),
      assigned_(table, assigned),
      old_(table, old_columns(assigned, keys)),
      references_(run, table),
      keys_(std::move(keys)) {}

void row_updater::update(std::vector<row_change> rows) {
  rows_ = std::move(rows);
  for (row_change& row : rows_) resolve(row);
  std::vector<update_step> const steps = order();
  // Noting a step cannot fail once it is done.
  written_.reserve(steps.size());
  for (update_step const& step : steps) {
    run_.connection.stop.check();
    if (step.step_aside) {
      step_aside(step.row);
    } else {
      write(step.row);
    }
    written_.push_back(step);
  }
  references_.finish();
}

// New values as the columns have them, so that keys can be compared; what cannot be is refused
// before anything is written.
void row_updater::resolve(row_change& row) {
  for (std::size_t i = 0; i < row.after.size(); ++i) {
    column_info const& column = assigned_.column(i);
    if (is_key(column, row.after[i])) {
      if (auto const found = references_.resolve(column, row.after[i])) {
        row.after[i] = QD_OBJ_REF{object_of(column, *found).oid, 0};
      }
      continue;
    }
    assigned_.convert(i, row.after[i]);
    row.after[i] = *exactly_as(column.kind, row.after[i]);
  }
}

std::vector<update_step> row_updater::order() const {
  std::vector<std::vector<key_change>> changes(keys_.size());
  std::vector<std::size_t> const& assigned = assigned_.columns();
  std::vector<std::size_t> const& old = old_.columns();
  for (std::size_t index = 0; index < keys_.size(); ++index) {
    changes[index].resize(rows_.size());
    for (std::size_t const column : keys_[index]) {
      // The assigned columns come first among the old ones, too.
      auto const position =
          static_cast<std::size_t>(std::find(old.begin(), old.end(), column) - old.begin());
      bool const is_assigned = position < assigned.size();
      for (std::size_t row = 0; row < rows_.size(); ++row) {
        value const& before = rows_[row].before[position];
        changes[index][row].before.push_back(before);
        changes[index][row].after.push_back(is_assigned ? rows_[row].after[position] : before);
      }
    }
  }
  return order_updates(rows_.size(), changes);
}

void row_updater::write(std::size_t row) {
  // The write comes last: what fails before it leaves the row as it was.
  for (std::size_t i = 0; i < rows_[row].after.size(); ++i) {
    column_info const& column = assigned_.column(i);
    if (!is_key(column, rows_[row].after[i])) continue;
    references_.resolve_later(rows_[row].object, column, rows_[row].after[i]);
  }
  write_values(rows_[row].object, assigned_, rows_[row].after);
}

// Gives a row keys that no other row has, in every unique index concerned.
void row_updater::step_aside(std::size_t row) {
  constexpr std::uint64_t most_attempts = 1000;
  if (!aside_) choose_aside_columns();
  for (std::uint64_t attempt = aside_values_.size();; ++attempt) {
    std::vector<value> values;
    for (std::size_t i = 0; i < aside_->columns().size(); ++i) {
      column_info const& column = aside_->column(i);
      values.push_back(column.nullable ? value(operator_library::NullValue())
                                       : rare_value(run_, column, attempt));
    }
    std::vector<value> const& kept = aside_values_[row] = std::move(values);
    try {
      write_values(rows_[row].object, *aside_, kept);
      return;
    } catch (embedded::error const& refused) {
      // Somebody has even this value.
      if (refused.kind() != embedded::error_kind::duplicate || attempt >= most_attempts) throw;
    }
  }
}

// One column of each key: where it can be, one that can be NULL.
void row_updater::choose_aside_columns() {
  std::vector<std::size_t> chosen;
  for (unique_key const& key : keys_) {
    auto best = std::find_if(key.begin(), key.end(),
                             [&](std::size_t column) { return table_.columns[column].nullable; });
    if (best == key.end()) {
      best = std::find_if(key.begin(), key.end(), [&](std::size_t column) {
        return table_.columns[column].kind != kind::boolean;
      });
    }
    std::size_t const column = best == key.end() ? key.front() : *best;
    if (!has(chosen, column)) chosen.push_back(column);
  }
  aside_.emplace(table_, std::move(chosen));
}

void row_updater::write_values(embedded::object_id object, column_converter& converter,
                               std::span<value const> values) {
  std::vector<embedded::column_value> written;
  written.reserve(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    column_info const& column = converter.column(i);
    if (is_key(column, values[i])) continue;  // Written at the end.
    written.push_back({converter.kernel_name(i), converter.convert(i, values[i])});
  }
  run_.kernel().update(object, written);
}

void row_updater::undo() {
  // Backwards, so that every key that is given back is free.
  for (; !written_.empty(); written_.pop_back()) {
    update_step const& step = written_.back();
    row_change const& row = rows_[step.row];
    auto const aside = aside_values_.find(step.row);
    if (!step.step_aside && aside != aside_values_.end()) {
      write_values(row.object, *aside_, aside->second);
    } else {
      write_values(row.object, old_, row.before);
    }
  }
}

}  // namespace qd::sql
