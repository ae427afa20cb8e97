#include "sql/plan/implied.h"

#include <algorithm>
#include <utility>

#include "sql/algebra/operations.h"

namespace qd::sql::planning {

using physical_queryplan::QueryPlan::Constant;

namespace {

// A value of a row that is equal to a literal or a parameter.
struct fixed_value {
  Expression value;
  Expression constant;
  bool implied;
};

Expression const* constant_of(std::vector<fixed_value> const& fixed, Expression const& value) {
  for (fixed_value const& each : fixed) {
    if (algebra::equal(each.value, value)) return &each.constant;
  }
  return nullptr;
}

bool is_constant(Expression const& expression) {
  return std::holds_alternative<Constant>(expression.variant);
}

// Calls `visit` for both orders of the sides of every equality.
template <typename Visit>
void for_each_equality(std::vector<condition> const& conditions, Visit const& visit) {
  for (condition const& each : conditions) {
    if (auto const* sides = operands_of<operator_library::Equal>(each.expression)) {
      visit((*sides)[0], (*sides)[1]);
      visit((*sides)[1], (*sides)[0]);
    }
  }
}

}  // namespace

std::vector<condition> implied_equalities(std::vector<condition> const& conditions,
                                          variable_set const& variables,
                                          variable_numbers& numbers) {
  std::vector<fixed_value> fixed;
  for_each_equality(conditions, [&](Expression const& value, Expression const& other) {
    if (is_constant(other) && !is_constant(value)) fixed.push_back({value, other, false});
  });
  for (std::size_t known = 0; known < fixed.size();) {
    known = fixed.size();
    for_each_equality(conditions, [&](Expression const& value, Expression const& other) {
      if (is_constant(value) || constant_of(fixed, value)) return;
      Expression const* const constant = constant_of(fixed, other);
      if (constant) fixed.push_back({value, *constant, true});
    });
  }
  std::vector<condition> implied;
  for (fixed_value& each : fixed) {
    variable_set uses = numbers.uses(each.value);
    // What can fail is evaluated where the statement says so, and nowhere else.
    if (!each.implied || !variables.includes(uses) || can_fail(each.value)) continue;
    algebra::kind const overload = algebra::kind_of(each.value);
    implied.push_back({algebra::compare(algebra::comparison::equal, overload, std::move(each.value),
                                        std::move(each.constant)),
                       std::move(uses)});
  }
  return implied;
}

}  // namespace qd::sql::planning
