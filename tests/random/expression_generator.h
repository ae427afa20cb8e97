// Random expressions over the variables in scope.
#pragma once

#include <string>
#include <vector>

#include "physical_queryplan/query_plan.h"
#include "random/choices.h"
#include "support/reference/database.h"

namespace random_plans {

using physical_queryplan::QueryPlan::Expression;
using physical_queryplan::QueryPlan::PhysicalVariable;
using physical_queryplan::QueryPlan::TableVariable;

struct scope_variable {
  PhysicalVariable variable;
  reference::kind of;
  std::u16string class_name = {};  // Of a table variable.
};
using scope = std::vector<scope_variable>;

// A variable under which a plan's computed value is known.
PhysicalVariable derived_variable(reference::kind of, std::int32_t number);

class expression_generator {
 public:
  // `parameters` are the values that the plan will be run with.
  expression_generator(choices& pick, reference::database const& data,
                       std::vector<reference::value> const& parameters)
      : pick_(pick), data_(data), parameters_(parameters) {}

  // Mostly of that kind; sometimes NULL or of another, so that errors come up. `depth` bounds the
  // operations one inside the other.
  Expression make(reference::kind of, scope const& variables, int depth);
  // A kind that values in scope have.
  reference::kind any_kind(scope const& variables);
  reference::kind numeric_kind();

  // Everything in scope that is a variable or a stored column of one.
  scope readable(scope const& variables) const;
  // A stored column of a table variable.
  scope_variable column(TableVariable const& variable, std::u16string const& class_name,
                        std::size_t position) const;

 private:
  Expression leaf(reference::kind of, scope const& variables);
  Expression condition(scope const& variables, int depth);
  Expression comparison(scope const& variables, int depth);
  Expression number(reference::kind of, scope const& variables, int depth);
  Expression text(scope const& variables, int depth);
  Expression choose(reference::kind of, scope const& variables, int depth);
  Expression pattern();

  choices& pick_;
  reference::database const& data_;
  std::vector<reference::value> const& parameters_;
};

}  // namespace random_plans
