// The library's one exported function: a physical plan becomes an executable one.
#pragma once

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "db_string/dt_string.h"
#include "db_util/meta_support.h"
#include "db_util/value_kinds.h"
#include "physical_queryplan/query_plan.h"
#include "sql_executor/node.h"

namespace physical_to_exec {

// The type of a result column that holds references to the objects of a known table.
struct RefInfo {
  std::u16string table_name;  // The table's full name.
  friend bool operator==(RefInfo const&, RefInfo const&) = default;
};

// The type of a result column.
using ColumnTypeInfo =
    std::variant<meta_support::TypeIdentity<bool>, meta_support::TypeIdentity<db_string::dt_string>,
                 meta_support::TypeIdentity<unsigned long>, meta_support::TypeIdentity<long>,
                 meta_support::TypeIdentity<operator_library::Decimal>,
                 meta_support::TypeIdentity<double>, meta_support::TypeIdentity<float>,
                 meta_support::TypeIdentity<operator_library::Binary>,
                 meta_support::TypeIdentity<QD_OBJ_REF>, RefInfo>;

// An executable plan. It owns everything it refers to; it must outlive the enumerators made from
// it.
//
// To run it: fill an evaluation_context with `literals`, the query's parameter values, no bound
// data and a kernel context handle; call `root->enumerate(context)`; call `next(context)` on the
// result until it returns an empty optional; destroy the enumerator. The plan can be run any number
// of times.
struct ExecutablePlan {
  std::vector<ColumnTypeInfo> column_types;  // One per output column, in output order.
  std::unique_ptr<qd::sql_executor::node> root;
  std::vector<qd::sql_executor::value> literals;  // By literal_index; the context gets a copy.
};

// How deeply plan nodes and expressions may be nested, one inside the other, all levels counted. A
// plan at the limit converts and runs on a stack of 8 MiB. The plan's own copy and destruction
// recurse as well, on the caller's side, at a few hundred bytes a level.
inline constexpr int max_nesting = 4000;

// Converts a plan whose root is a Transform. Reads the catalogue through the calling thread's
// metadata context; makes no other kernel call. The result holds no reference into the argument.
//
// Throws error_handling::QDException: 7007 a Transform output that is no variable; 7022 "Not
// implemented error" for a root that is no Transform (after the conversion, whose errors come
// first) or an unsupported plan, "Unsupported return type" for a result column of set specifiers or
// NULLs, "unexpected type" for an unknown primitive type. db_util::db_exception: a kernel status
// from the catalogue. boost::numeric::positive_overflow: a literal, parameter or row position
// beyond 32767. std::length_error: nesting beyond max_nesting. Other standard exceptions: a
// malformed plan (a missing child or argument, a variable that nothing binds), memory. Nothing is
// left behind.
[[gnu::visibility("default")]] ExecutablePlan Plan(
    physical_queryplan::QueryPlan::PredicateVariant plan);

}  // namespace physical_to_exec
