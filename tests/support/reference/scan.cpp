// The range of an index that a scan reads. The rows are those whose keys lie between two points,
// compared on the bounded columns alone: an end that is open leaves out every key that begins with
// it.
#include <algorithm>
#include <limits>

#include "support/reference/relation.h"

namespace reference {

namespace plan = physical_queryplan::QueryPlan;

namespace {

// A key of one column: NULL, a value, or a place above all values that begin with a text (above
// every value, for the empty one) or above every value of another kind.
struct point {
  value key = null_value();
  bool above = false;  // Above what begins with `key`; above everything if that is NULL.
  bool inclusive = true;
};

point highest(kind of) {
  switch (of) {
    case of_bool:
      return {true};
    case of_unsigned:
      return {~0UL};
    case of_signed:
      return {std::numeric_limits<long>::max()};
    case of_decimal:
      return {decimal{4'398'046'511'103'999'999}};
    case of_object:
      return {object{~0UL}};
    default:
      return {null_value(), true};
  }
}

std::u16string text_of_key(value const& key) {
  if (auto const* const text = std::get_if<std::u16string>(&key)) return *text;
  return std::get<set_specifier>(key).text;
}

int compare_points(point const& left, point const& right) {
  bool const left_top = left.above && is_null(left.key);
  bool const right_top = right.above && is_null(right.key);
  if (left_top || right_top) return static_cast<int>(left_top) - static_cast<int>(right_top);
  if (!left.above && !right.above) return sort_order(left.key, right.key);
  if (is_null(left.key) || is_null(right.key)) return sort_order(left.key, right.key);
  // One unit above every other stands behind the text.
  auto const units = [](point const& from) {
    std::u16string const text = text_of_key(from.key);
    std::vector<unsigned> all(text.begin(), text.end());
    if (from.above) all.push_back(0x10000);
    return all;
  };
  auto const a = units(left);
  auto const b = units(right);
  return a < b ? -1 : b < a ? 1 : 0;
}

struct interval {
  point low;
  point high;
  bool nan = false;  // Compared with a NaN: nothing but that no key is inside is defined.

  // Of two equal points the open one is the narrower.
  void raise(point const& to) {
    int const order = compare_points(to, low);
    if (order > 0 || (order == 0 && !to.inclusive)) low = to;
  }
  void lower(point const& to) {
    int const order = compare_points(to, high);
    if (order < 0 || (order == 0 && !to.inclusive)) high = to;
  }
  void make_empty() { low = high = {null_value(), false, false}; }
};

enum class bound_relation { equal, greater, greater_or_equal, less, less_or_equal, starts_with };

void narrow_by_same_kind(interval& range, bound_relation relation, value const& key) {
  switch (relation) {
    case bound_relation::equal:
      range.raise({key, false, true});
      range.lower({key, false, true});
      return;
    case bound_relation::greater:
      range.raise({key, false, false});
      return;
    case bound_relation::greater_or_equal:
      range.raise({key, false, true});
      return;
    case bound_relation::less:
      range.lower({key, false, false});
      return;
    case bound_relation::less_or_equal:
      range.lower({key, false, true});
      return;
    case bound_relation::starts_with:
      if (is_null(key)) {
        range.raise({key, false, true});
        range.lower({key, false, false});
        return;
      }
      if (kind_of(key) != of_string && kind_of(key) != of_set_specifier) fail(7020);
      range.raise({key, false, true});
      range.lower({key, true, false});
      return;
  }
}

void narrow_by_number(interval& range, bound_relation relation, place const& where) {
  if (where.nan) {
    range.make_empty();
    range.nan = true;
  }
  if (relation == bound_relation::starts_with) {
    throw failure{"exception: Supposedly unreachable"};
  }
  if (where.nan) return;
  bool const wants_greater =
      relation == bound_relation::greater || relation == bound_relation::greater_or_equal;
  bool const wants_less =
      relation == bound_relation::less || relation == bound_relation::less_or_equal;
  if (where.below || where.above) {
    bool const all = (where.below && wants_greater) || (where.above && wants_less);
    if (!all) range.make_empty();
    return;
  }
  bool const with_equal =
      relation == bound_relation::greater_or_equal || relation == bound_relation::less_or_equal;
  if (wants_greater) {
    range.raise({where.floor, false, with_equal && where.exact});
  } else if (wants_less) {
    range.lower({where.ceil, false, with_equal && where.exact});
  } else if (where.exact) {
    narrow_by_same_kind(range, bound_relation::equal, where.ceil);
  } else {
    range.make_empty();
  }
}

void narrow(interval& range, kind of, bound_relation relation, plan::Scan::Bound const& bound,
            environment const& scope) {
  value const operand = evaluate(bound.value, scope);
  if (bound.exclude_null) {
    if (is_null(operand)) {
      range.make_empty();
    } else {
      range.raise({null_value(), false, false});
    }
  }
  if (is_null(operand) || kind_of(operand) == of) {
    narrow_by_same_kind(range, relation, operand);
  } else if (is_numeric(of) && is_numeric(kind_of(operand))) {
    narrow_by_number(range, relation, place_in(of, operand));
  } else {
    fail(7020);
  }
}

interval interval_of(kind of, plan::Scan::ColBounds const& bounds, environment const& scope) {
  interval range{{}, highest(of)};
  auto const narrow_by = [&](std::set<plan::Scan::Bound> const& all, bound_relation relation) {
    for (plan::Scan::Bound const& bound : all) narrow(range, of, relation, bound, scope);
  };
  narrow_by(bounds.equal, bound_relation::equal);
  narrow_by(bounds.greater, bound_relation::greater);
  narrow_by(bounds.greater_or_equal, bound_relation::greater_or_equal);
  narrow_by(bounds.less, bound_relation::less);
  narrow_by(bounds.less_or_equal, bound_relation::less_or_equal);
  narrow_by(bounds.starts_with, bound_relation::starts_with);
  return range;
}

// Objects of the index's class with their keys, in index order.
std::vector<std::pair<row, unsigned long>> entries_of(index const& scanned, database const& data) {
  std::vector<std::pair<row, unsigned long>> entries;
  for (stored_object const& each : data.objects) {
    if (!data.is_or_derives_from(each.class_name, scanned.class_name)) continue;
    row keys;
    for (index_column const& column : scanned.columns) keys.push_back(each.columns[column.column]);
    entries.emplace_back(std::move(keys), each.oid);
  }
  std::sort(entries.begin(), entries.end(), [&](auto const& left, auto const& right) {
    for (std::size_t i = 0; i < scanned.columns.size(); ++i) {
      int const order = sort_order(left.first[i], right.first[i]);
      if (order != 0) return (order < 0) == scanned.columns[i].ascending;
    }
    return left.second < right.second;
  });
  return entries;
}

}  // namespace

relation enumerate(plan::Scan const& scan, environment& scope) {
  relation result;
  index const& scanned = scope.data().index_of(scan.index);
  class_of_objects const& of = scope.data().class_named(scanned.class_name);
  std::vector<point> first;
  std::vector<point> last;
  try {
    for (std::size_t i = 0; i < scan.bounds.size(); ++i) {
      index_column const& column = scanned.columns.at(i);
      interval range = interval_of(of.columns[column.column].of, scan.bounds[i], scope);
      if (!column.ascending) std::swap(range.low, range.high);
      // Only the last bounded column's ends are open.
      if (range.nan && i + 1 < scan.bounds.size()) result.unspecified = true;
      first.push_back(range.low);
      last.push_back(range.high);
    }
  } catch (failure const& raised) {
    result.at_start = raised;
    return result;
  }
  // Negative, 0, positive: where the bounded columns of a key lie to an end of the range.
  auto const order_to = [&](row const& keys, std::vector<point> const& end) {
    for (std::size_t i = 0; i < end.size(); ++i) {
      int const order = compare_points({keys[i]}, end[i]);
      if (order != 0) return scanned.columns[i].ascending ? order : -order;
    }
    return 0;
  };
  auto const is_inside = [&](row const& keys) {
    if (first.empty()) return true;
    int const to_first = order_to(keys, first);
    int const to_last = order_to(keys, last);
    return (to_first > 0 || (to_first == 0 && first.back().inclusive)) &&
           (to_last < 0 || (to_last == 0 && last.back().inclusive));
  };
  auto entries = entries_of(scanned, scope.data());
  if (!scan.ascending) std::reverse(entries.begin(), entries.end());
  for (auto const& [keys, oid] : entries) {
    if (is_inside(keys)) result.add({object{oid}}, result.rows.size());
  }
  return result;
}

}  // namespace reference
