// Groups and aggregate functions. Groups come in any order.
#include <algorithm>
#include <limits>

#include "support/reference/relation.h"

namespace reference {

namespace plan = physical_queryplan::QueryPlan;
namespace ops = operator_library;

namespace {

// What one aggregate function has seen of a group: the values of its arguments, row by row. The
// errors that come while rows are read are raised at once.
struct accumulator {
  value total = null_value();
  wide_integer exact_total = 0;
  wide_integer magnitude = 0;  // Of all that a sum has added.
  unsigned long count = 0;
  std::vector<row> distinct;

  void add_distinct(row const& arguments) {
    bool const seen = std::any_of(distinct.begin(), distinct.end(),
                                  [&](row const& each) { return same_group(each, arguments); });
    if (!seen) distinct.push_back(arguments);
  }
};

struct context {
  environment const& scope;
  bool loose;  // The rows may come in another order.
  bool& unspecified;
};

// Whether a sum of exact numbers overflows may depend on their order.
bool may_overflow(value const& next, accumulator& to) {
  long const* const whole = std::get_if<long>(&next);
  decimal const* const fixed = std::get_if<decimal>(&next);
  if (!whole && !fixed) return false;
  wide_integer const number = whole ? *whole : fixed->scaled;
  to.magnitude += number < 0 ? -number : number;
  return to.magnitude > (whole ? std::numeric_limits<long>::max() : 4'398'046'511'103'999'999);
}

value argument(std::vector<Expression> const& arguments, context const& in) {
  return evaluate(arguments.at(0), in.scope);
}

bool is_exact(plan::AggregateOperator<ops::Avg> const& average) {
  return average.signature.index() < 2;
}

void add(plan::AggregateOperator<ops::Sum> const& sum, accumulator& to, context const& in) {
  value next = argument(sum.arguments, in);
  if (is_null(next)) return;
  if (kind_of(next) == of_unsigned) next = convert(next, of_signed, {});
  if (may_overflow(next, to) && in.loose) in.unspecified = true;
  to.total = is_null(to.total) ? next : add_same_kind(to.total, next);
}
void add(plan::AggregateOperator<ops::Count> const& count, accumulator& to, context const& in) {
  if (!is_null(argument(count.arguments, in))) ++to.count;
}
void add(plan::AggregateOperator<ops::CountStar> const&, accumulator& to, context const&) {
  ++to.count;
}
void add(plan::AggregateOperator<ops::Max> const& max, accumulator& to, context const& in) {
  value const next = argument(max.arguments, in);
  if (sort_order(next, to.total) > 0) to.total = next;
}
void add(plan::AggregateOperator<ops::Min> const& min, accumulator& to, context const& in) {
  value const next = argument(min.arguments, in);
  if (is_null(next)) return;
  if (is_null(to.total) || sort_order(next, to.total) < 0) to.total = next;
}
void add(plan::AggregateOperator<ops::Avg> const& average, accumulator& to, context const& in) {
  value const next =
      convert(argument(average.arguments, in), is_exact(average) ? of_decimal : of_double, {});
  if (is_null(next)) return;
  ++to.count;
  if (is_exact(average)) {
    to.exact_total += std::get<of_decimal>(next).scaled;
    // Where the sum of millionths leaves 64 bits the error may come at once or at the end.
    wide_integer const bound = std::numeric_limits<long>::max();
    if (to.exact_total > bound || to.exact_total < -bound - 1) in.unspecified = true;
  } else {
    double const content = std::get<of_double>(next);
    to.total = is_null(to.total) ? content : std::get<of_double>(to.total) + content;
  }
}
void add(plan::AggregateOperator<ops::CountDistinctSingle> const& distinct, accumulator& to,
         context const& in) {
  to.add_distinct({argument(distinct.arguments, in)});
}
void add(plan::AggregateOperator<ops::CountDistinctVariadric> const& distinct, accumulator& to,
         context const& in) {
  row arguments;
  for (Expression const& each : distinct.arguments) arguments.push_back(evaluate(each, in.scope));
  to.add_distinct(arguments);
}

value result_of(plan::AggregateVariant const& aggregate, accumulator const& of) {
  return std::visit(
      [&]<typename Tag>(plan::AggregateOperator<Tag> const& described) -> value {
        if constexpr (std::is_same_v<Tag, ops::Count> || std::is_same_v<Tag, ops::CountStar>) {
          return static_cast<long>(of.count);
        } else if constexpr (std::is_same_v<Tag, ops::CountDistinctSingle> ||
                             std::is_same_v<Tag, ops::CountDistinctVariadric>) {
          return of.distinct.size();
        } else if constexpr (std::is_same_v<Tag, ops::Avg>) {
          if (of.count == 0) return null_value();
          if (is_exact(described)) return exact_average(of.exact_total, of.count);
          return std::get<of_double>(of.total) / static_cast<double>(of.count);
        } else {
          return of.total;
        }
      },
      aggregate);
}

struct group {
  row keys;
  std::vector<accumulator> accumulators;
};

// Whether the order of the rows can show in a result: sums of floating numbers round on the way,
// and of equal numbers the first is kept.
bool shows_order(row const& results) {
  return std::any_of(results.begin(), results.end(), [](value const& each) {
    return kind_of(each) == of_double || kind_of(each) == of_float;
  });
}

}  // namespace

relation enumerate(plan::Aggregation const& aggregation, environment& scope) {
  layout const variables = layout_of(*aggregation.child);
  relation const child = enumerate(*aggregation.child, scope);
  relation result;
  result.at_start = child.at_start;
  result.unspecified = child.unspecified;
  if (child.at_start) return result;

  std::vector<group> groups;
  auto const new_group = [&](row keys) {
    groups.push_back({std::move(keys), std::vector<accumulator>(aggregation.aggregates.size())});
  };
  if (aggregation.group_by.empty()) new_group({});
  context const in{scope, child.is_loose(), result.unspecified};
  try {
    for (row const& columns : child.rows) {
      scope.push(variables, columns);
      try {
        row keys;
        for (plan::Alias const& key : aggregation.group_by) {
          keys.push_back(evaluate(key.expression, scope));
        }
        auto found = std::find_if(groups.begin(), groups.end(),
                                  [&](group const& each) { return same_group(each.keys, keys); });
        if (found == groups.end()) {
          new_group(std::move(keys));
          found = groups.end() - 1;
        }
        for (std::size_t i = 0; i < aggregation.aggregates.size(); ++i) {
          std::visit([&](auto const& described) { add(described, found->accumulators[i], in); },
                     aggregation.aggregates[i]);
        }
      } catch (...) {
        scope.pop(columns.size());
        throw;
      }
      scope.pop(columns.size());
    }
    if (child.at_end) throw *child.at_end;
  } catch (failure const& raised) {
    result.at_end = over_rows(raised, child);
    return result;
  }
  try {
    for (group const& each : groups) {
      row columns;
      for (std::size_t i = 0; i < aggregation.aggregates.size(); ++i) {
        columns.push_back(result_of(aggregation.aggregates[i], each.accumulators[i]));
      }
      columns.insert(columns.end(), each.keys.begin(), each.keys.end());
      if (child.has_ties() && shows_order(columns)) result.unspecified = true;
      result.add(std::move(columns), 0);
    }
  } catch (failure const& raised) {
    // Which groups come before the one that fails is not defined.
    if (groups.size() > 1) result.unspecified = true;
    result.at_end = raised;
    result.rows.clear();
    result.ranks.clear();
  }
  return result;
}

}  // namespace reference
