#include "sql/plan/nodes.h"

#include <array>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "physical_queryplan/build.h"
#include "sql/algebra/operations.h"
#include "sql/error.h"

namespace qd::sql::planning {
namespace {

namespace build = physical_queryplan::build;
using physical_queryplan::AsExpression;
using physical_queryplan::QueryPlan::GenerativeAssignment;

// A plan addresses its literals by 16 bits; some are left to the rest of the statement.
constexpr std::size_t max_row_values = 30000;

PredicateVariant literal_row(std::vector<PhysicalVariable> const& variables,
                             std::vector<Expression>& expressions) {
  PredicateVariant row = GenerativeAssignment{std::move(expressions[0]), variables[0]};
  if (variables.size() == 1) return row;
  std::vector<Alias> others;
  others.reserve(variables.size() - 1);
  for (std::size_t i = 1; i < variables.size(); ++i) {
    others.push_back({std::move(expressions[i]), variables[i]});
  }
  return build::extend(std::move(others), std::move(row));
}

PredicateVariant balanced_rows(std::vector<PhysicalVariable> const& variables,
                               std::span<std::vector<Expression>> rows) {
  if (rows.size() == 1) return literal_row(variables, rows[0]);
  std::size_t const middle = rows.size() / 2;
  PredicateVariant left = balanced_rows(variables, rows.first(middle));
  PredicateVariant right = balanced_rows(variables, rows.subspan(middle));
  return build::union_all(std::move(left), std::move(right));
}

PredicateVariant marked(PhysicalVariable const& marker, PredicateVariant child) {
  std::vector<Alias> alias;
  alias.push_back({algebra::boolean_literal(true), marker});
  return build::extend(std::move(alias), std::move(child));
}

Expression is_marked(PhysicalVariable const& marker) {
  return algebra::null_test(true, AsExpression(marker));
}

}  // namespace

bool is_stored_column(PhysicalVariable const& variable) {
  return std::visit(
      [](auto const& alternative) {
        return requires {
          alternative.table_variable;
        };
      },
      variable);
}

PhysicalVariable marker_source::next(algebra::kind kind) {
  // Binding counts upwards from 0.
  return algebra::derived(kind, {std::numeric_limits<std::int32_t>::min(), ++count_, 0, 0});
}

PredicateVariant filtered(std::vector<Expression> conditions, PredicateVariant child) {
  if (conditions.empty()) return child;
  return build::filter(algebra::conjunction(std::move(conditions)), std::move(child));
}

PredicateVariant transformed(std::vector<PhysicalVariable> const& outputs, PredicateVariant child) {
  std::vector<Expression> expressions;
  expressions.reserve(outputs.size());
  for (PhysicalVariable const& output : outputs) expressions.push_back(AsExpression(output));
  return build::transform(std::move(expressions), std::move(child));
}

PredicateVariant joined_once(algebra::join_kind kind, std::vector<Expression> conditions,
                             PredicateVariant left, PredicateVariant right,
                             marker_source& markers) {
  std::vector<Expression> matched;
  if (kind != algebra::join_kind::full) {
    PhysicalVariable const of_left = markers.next();
    left = marked(of_left, std::move(left));
    matched.push_back(is_marked(of_left));
  }
  if (kind == algebra::join_kind::inner) {
    PhysicalVariable const of_right = markers.next();
    right = marked(of_right, std::move(right));
    matched.push_back(is_marked(of_right));
  }
  // A FullJoin without a condition computes its right side once per left row, TRUE once in all.
  Expression condition = algebra::conjunction(std::move(conditions));
  PredicateVariant join = build::full_join(std::move(condition), std::move(left), std::move(right));
  return filtered(std::move(matched), std::move(join));
}

PredicateVariant literal_rows(algebra::rows rows) {
  std::size_t const values = rows.variables.size() * rows.expressions.size();
  if (values > max_row_values) {
    throw error(error_code::limit_exceeded, "VALUES has " + std::to_string(values) +
                                                " values; at most " +
                                                std::to_string(max_row_values) + " are possible");
  }
  return balanced_rows(rows.variables, rows.expressions);
}

}  // namespace qd::sql::planning
