#include "sql/plan/access_path.h"

#include <algorithm>
#include <cmath>

namespace qd::sql::planning {

using algebra::kind;

namespace {

// Costs beside reading a record in the order of its extent, which is 1.
constexpr double open_cost = 5;
constexpr double index_entry_cost = 2.5;  // The record lies anywhere.
constexpr double sort_step_cost = 0.1;

// Rows that an equality on all columns of an index leaves when they are not unique, as a power of
// the table's rows.
constexpr double full_equality_power = 0.3;

// A plan addresses its literals by 16 bits, and every scan of a union has its own.
constexpr double max_repeated_bounds = 24000;

// No index is kept on floating columns and no key can be made of one.
bool is_usable(table_info const& table, index_info const& index) {
  return std::none_of(index.columns.begin(), index.columns.end(), [&](auto const& each) {
    kind const own = table.columns[each.number].kind;
    return own == kind::double_float || own == kind::single_float;
  });
}

// The extent has one entry per object.
bool is_unique(index_info const& index) {
  return index.unique || index.extent;
}

}  // namespace

path_finder::path_finder(table_info const& table, std::vector<condition> const& conditions,
                         std::vector<bound> const& bounds, variable_number own,
                         std::function<double()> row_count)
    : table_(table), bounds_(bounds), row_count_(std::move(row_count)) {
  variable_set own_variable;
  own_variable.add(own);
  for (std::size_t i = 0; i < conditions.size(); ++i) {
    condition const& each = conditions[i];
    if (!each.uses.has(own)) continue;
    tests_.push_back({i, each.uses.without(own_variable), share_left_by(each.expression),
                      cost_of_testing(each.expression)});
  }
}

double sort_cost(double rows) {
  return rows < 2 ? 0 : rows * std::log2(rows) * sort_step_cost;
}

bool path_finder::is_pinned(std::size_t column, variable_set const& outer) const {
  return std::any_of(bounds_.begin(), bounds_.end(), [&](bound const& each) {
    return each.column == column && each.kind == bound_kind::equal && each.values.size() == 1 &&
           outer.includes(each.uses);
  });
}

std::optional<std::size_t> path_finder::equality_on(std::size_t column, variable_set const& outer,
                                                    bool alternatives_allowed) const {
  auto const rank = [](bound const& each) { return std::pair(each.values.size() == 1, each.pins); };
  std::optional<std::size_t> found;
  for (std::size_t i = 0; i < bounds_.size(); ++i) {
    bound const& each = bounds_[i];
    if (each.column != column || each.kind != bound_kind::equal) continue;
    if (!outer.includes(each.uses)) continue;
    if (each.values.size() > 1 && !alternatives_allowed) continue;
    if (!found || rank(each) > rank(bounds_[*found])) found = i;
  }
  return found;
}

std::vector<std::size_t> path_finder::ranges_on(std::size_t column,
                                                variable_set const& outer) const {
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < bounds_.size(); ++i) {
    bound const& each = bounds_[i];
    if (each.column == column && each.kind != bound_kind::equal && outer.includes(each.uses)) {
      found.push_back(i);
    }
  }
  return found;
}

access_path path_finder::through(index_info const& index, variable_set const& outer,
                                 bool alternatives_allowed) const {
  access_path path{.index = &index};
  double share = 1;
  double alternatives = 1;
  bool whole_key = true;
  std::size_t equalities = 0;
  std::size_t bound_count = 0;
  for (index_info::column const& column : index.columns) {
    // One list of alternatives is one union of scans.
    if (std::optional<std::size_t> const number =
            equality_on(column.number, outer, alternatives_allowed && alternatives == 1)) {
      bound const& equality = bounds_[*number];
      alternatives *= static_cast<double>(equality.values.size());
      path.uses_outer = path.uses_outer || !equality.uses.empty();
      whole_key = whole_key && equality.exclude_null;
      path.bounds.push_back({*number});
      ++equalities;
      ++bound_count;
      continue;
    }
    whole_key = false;
    std::vector<std::size_t> ranges = ranges_on(column.number, outer);
    if (!ranges.empty()) {
      for (std::size_t const each : ranges) {
        share *= bounds_[each].share;
        path.uses_outer = path.uses_outer || !bounds_[each].uses.empty();
      }
      bound_count += ranges.size();
      path.bounds.push_back(std::move(ranges));
    }
    break;
  }
  if (alternatives * static_cast<double>(bound_count) > max_repeated_bounds) {
    return through(index, outer, false);
  }
  double const entry_cost = index.extent ? 1 : index_entry_cost;
  if (whole_key && is_unique(index)) {
    path.single = alternatives == 1;
    path.rows = alternatives;
  } else {
    double const table_rows = std::max(row_count_(), 1.0);
    double const part = static_cast<double>(equalities) / static_cast<double>(index.columns.size());
    share *= alternatives * std::pow(table_rows, (full_equality_power - 1) * part);
    path.rows = table_rows * std::min(share, 1.0);
  }
  path.cost = open_cost * alternatives + path.rows * entry_cost;
  return path;
}

bool path_finder::gives_order(index_info const& index, variable_set const& outer,
                              wanted_order const& wanted, bool& ascending) const {
  std::optional<bool> forward;
  std::size_t position = 0;
  for (wanted_order::key const& key : wanted.keys) {
    std::size_t column = 0;
    while (key.column && column < table_.columns.size() &&
           !(table_.columns[column].column == *key.column)) {
      ++column;
    }
    if (is_pinned(column, outer)) continue;  // One value in all rows.
    while (position < index.columns.size() && index.columns[position].number != column &&
           is_pinned(index.columns[position].number, outer)) {
      ++position;
    }
    if (position == index.columns.size() || index.columns[position].number != column) return false;
    bool const same = index.columns[position].ascending == key.ascending;
    if (forward && *forward != same) return false;
    forward = same;
    ++position;
  }
  ascending = forward.value_or(true);
  return true;
}

void path_finder::test_conditions(access_path& path, variable_set const& outer) const {
  double const read_rows = path.rows;
  for (test const& each : tests_) {
    if (!outer.includes(each.others)) continue;
    bool const is_bound = std::any_of(path.bounds.begin(), path.bounds.end(), [&](auto const& on) {
      return std::any_of(on.begin(), on.end(), [&](std::size_t number) {
        return bounds_[number].condition == each.condition;
      });
    });
    if (is_bound) continue;
    path.cost += read_rows * each.cost;
    path.rows *= each.share;
  }
}

bool path_finder::is_single_range(access_path const& path) const {
  return std::all_of(path.bounds.begin(), path.bounds.end(), [&](auto const& on_column) {
    return bounds_[on_column.front()].values.size() == 1;
  });
}

access_path path_finder::best(variable_set const& outer, wanted_order const* wanted) const {
  bool const order_wanted = wanted && !wanted->keys.empty();
  std::optional<access_path> best;
  double best_cost = 0;
  for (index_info const& index : table_.indexes) {
    if (!is_usable(table_, index)) continue;
    access_path path = through(index, outer, true);
    path.sorted = !order_wanted || path.single ||
                  (is_single_range(path) && gives_order(index, outer, *wanted, path.ascending));
    // An index that neither narrows nor sorts is a slower extent.
    if (path.bounds.empty() && !index.extent && !(order_wanted && path.sorted)) continue;
    // Nothing is better than a single row, and the table's size need not be asked for.
    if (path.single) return path;
    test_conditions(path, outer);
    double cost = path.cost;
    if (!path.sorted) {
      cost += sort_cost(path.rows);
    } else if (wanted && wanted->rows && *wanted->rows < path.rows) {
      cost *= *wanted->rows / path.rows;
    }
    if (!best || cost < best_cost) {
      best_cost = cost;
      best = std::move(path);
    }
  }
  return std::move(*best);
}

}  // namespace qd::sql::planning
