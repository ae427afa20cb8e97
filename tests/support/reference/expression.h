// Evaluates the expressions of a plan.
#pragma once

#include <vector>

#include "physical_queryplan/query_plan.h"
#include "support/reference/database.h"

namespace reference {

using physical_queryplan::QueryPlan::Expression;
using physical_queryplan::QueryPlan::PhysicalVariable;
using layout = std::vector<PhysicalVariable>;

// The variables in scope with their values, those of enclosing nodes first. A variable that is
// there twice is the first.
class environment {
 public:
  environment(reference::database const& data, std::vector<value> const& parameters)
      : data_(data), parameters_(parameters) {}

  void push(layout const& variables, row const& values) {
    for (auto const& variable : variables) variables_.push_back(&variable);
    values_.insert(values_.end(), values.begin(), values.end());
  }
  void pop(std::size_t count) {
    variables_.resize(variables_.size() - count);
    values_.resize(values_.size() - count);
  }
  // Null when it is not in scope.
  value const* find(PhysicalVariable const& variable) const {
    for (std::size_t i = 0; i < variables_.size(); ++i) {
      if (*variables_[i] == variable) return &values_[i];
    }
    return nullptr;
  }
  value const& parameter(unsigned long number) const { return parameters_.at(number); }
  reference::database const& data() const { return data_; }

 private:
  reference::database const& data_;
  std::vector<value> const& parameters_;
  std::vector<PhysicalVariable const*> variables_;
  std::vector<value> values_;
};

// Throws failure.
value evaluate(Expression const& expression, environment const& scope);

// A filter's or join's decision: NULL is no.
bool is_true(value const& condition);

// A value of the engine's as one of ours. Texts are decoded by the kernel.
value from_engine(bool content);
value from_engine(db_string::dt_string const& content);
value from_engine(unsigned long content);
value from_engine(long content);
value from_engine(operator_library::Decimal content);
value from_engine(double content);
value from_engine(float content);
value from_engine(operator_library::Binary const& content);
value from_engine(QD_OBJ_REF const& content);
value from_engine(operator_library::SetSpecifier const& content);
value from_engine(operator_library::NullValue content);

}  // namespace reference
