#include "sql/plan/read_table.h"

#include <set>
#include <utility>

#include "physical_queryplan/build.h"

namespace qd::sql::planning {

namespace build = physical_queryplan::build;
using physical_queryplan::QueryPlan::Scan;

namespace {

std::set<Scan::Bound>& set_for(Scan::ColBounds& bounds, bound_kind kind) {
  switch (kind) {
    case bound_kind::equal:
      return bounds.equal;
    case bound_kind::less:
      return bounds.less;
    case bound_kind::less_or_equal:
      return bounds.less_or_equal;
    case bound_kind::greater:
      return bounds.greater;
    case bound_kind::greater_or_equal:
      return bounds.greater_or_equal;
    case bound_kind::starts_with:
      break;
  }
  return bounds.starts_with;
}

// The bounds of a path as a scan has them, less the one with several values.
struct scan_bounds {
  std::vector<Scan::ColBounds> on_columns;
  std::vector<bool> met;  // Per condition, whether the bounds alone make sure that it holds.
  std::size_t alternatives_column = 0;
  std::vector<Expression> const* alternatives = nullptr;  // Null without such a bound.
};

scan_bounds bounds_of(access_path const& path, std::vector<bound> const& bounds,
                      std::size_t condition_count) {
  scan_bounds result{.on_columns = {}, .met = std::vector<bool>(condition_count, false)};
  result.on_columns.reserve(path.bounds.size());
  bool pinned = true;  // All columns so far.
  for (std::vector<std::size_t> const& on_column : path.bounds) {
    Scan::ColBounds& made = result.on_columns.emplace_back();
    bool const last = result.on_columns.size() == path.bounds.size();
    bool const pinned_before = pinned;
    for (std::size_t const number : on_column) {
      bound const& each = bounds[number];
      if (each.exact && pinned_before && (each.pins || last)) result.met[each.condition] = true;
      pinned = pinned && each.pins;
      if (each.values.size() == 1) {
        set_for(made, each.kind).insert({each.values.front(), each.exclude_null});
      } else {
        result.alternatives_column = result.on_columns.size() - 1;
        result.alternatives = &each.values;
      }
    }
  }
  return result;
}

// A scan per alternative, those from `first` to before `last`, as a balanced tree.
PredicateVariant scans(algebra::TableVariable const& variable, access_path const& path,
                       scan_bounds const& bounds, std::size_t first, std::size_t last) {
  if (last - first == 1) {
    std::vector<Scan::ColBounds> on_columns = bounds.on_columns;
    on_columns[bounds.alternatives_column].equal.insert({(*bounds.alternatives)[first], true});
    return build::scan(variable, path.index->index, std::move(on_columns), path.ascending);
  }
  std::size_t const middle = first + (last - first) / 2;
  PredicateVariant left = scans(variable, path, bounds, first, middle);
  PredicateVariant right = scans(variable, path, bounds, middle, last);
  return build::union_all(std::move(left), std::move(right));
}

}  // namespace

PredicateVariant read_table(algebra::TableVariable variable, access_path const& path,
                            std::vector<condition> conditions, std::vector<bound> const& bounds) {
  scan_bounds made = bounds_of(path, bounds, conditions.size());
  std::vector<Expression> remaining;
  for (std::size_t i = 0; i < conditions.size(); ++i) {
    if (!made.met[i]) remaining.push_back(std::move(conditions[i].expression));
  }
  PredicateVariant rows = made.alternatives
                              ? scans(variable, path, made, 0, made.alternatives->size())
                              : build::scan(std::move(variable), path.index->index,
                                            std::move(made.on_columns), path.ascending);
  return filtered(std::move(remaining), std::move(rows));
}

}  // namespace qd::sql::planning
