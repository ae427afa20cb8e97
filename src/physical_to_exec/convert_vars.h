// Expressions of a plan into operator trees.
#pragma once

#include <vector>

#include "meta_data/meta_data.h"
#include "physical_queryplan/expression.h"
#include "physical_to_exec/bound_layout.h"
#include "physical_to_exec/nesting.h"
#include "sql_executor/operators/operator_base.h"

namespace physical_to_exec {

// The operator tree of an expression whose rows in scope are as `layout` says. Arguments are
// converted in argument order; every literal met is appended to `literals` (equal ones are not
// shared), object references excepted, which are resolved afresh at each evaluation.
//
// Throws std::out_of_range for an operation with too few arguments, std::invalid_argument for a
// variable that the layout lacks or a column type that has no value_type, std::length_error for too
// deep a nesting, boost::numeric::positive_overflow for a position beyond 32767, and what reading
// the catalogue throws. Literals appended before a failure stay.
qd::sql_executor::operators::operator_ptr ConvertVars(
    physical_queryplan::QueryPlan::Expression const& expression,
    std::vector<qd::sql_executor::value>& literals, BoundLayout const& layout,
    nesting_level level = {});

// The operator trees of expressions, in order.
std::vector<qd::sql_executor::operators::operator_ptr> ConvertVars(
    std::vector<physical_queryplan::QueryPlan::Expression> const& expressions,
    std::vector<qd::sql_executor::value>& literals, BoundLayout const& layout,
    nesting_level level = {});

// Appends a copy of `literal` and returns its position. Throws boost::numeric::positive_overflow
// for a position beyond 32767; the literal then stays appended.
qd::sql_executor::literal_index MakeLiteralIndex(std::vector<qd::sql_executor::value>& literals,
                                                 qd::sql_executor::value const& literal);

// The value_type of a catalogue type. Throws std::invalid_argument "unknown type" for a type
// without.
qd::sql_executor::value_type GetColumnType(meta_data::MetaColumnType const& type);

}  // namespace physical_to_exec
