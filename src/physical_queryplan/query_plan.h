// A physical query plan, as the planner hands it over: a tree of plain values.
#pragma once

#include <optional>
#include <set>
#include <variant>
#include <vector>

#include "physical_queryplan/deep_copy_ptr.h"
#include "physical_queryplan/expression.h"

namespace shared_classes {
struct Inner {};
struct Left {};
}  // namespace shared_classes

namespace operator_library {

namespace detail {
template <typename T>
using counts = Signature<long, TypeList<T>>;
template <typename T>
using counts_distinct = Signature<unsigned long, TypeList<T>>;
template <typename T>
using keeps = Signature<T, TypeList<T>>;
}  // namespace detail

// The aggregate functions. Only Avg's signature is read: it tells the exact average from the
// double.
struct Sum
    : detail::tag<
          detail::TypeList<Signature<long, detail::TypeList<unsigned long>>, detail::keeps<long>,
                           detail::keeps<Decimal>, detail::keeps<double>, detail::keeps<float>>> {};
struct Count
    : detail::tag<
          physical_queryplan::kinds::map<detail::counts, physical_queryplan::kinds::values>> {};
struct CountStar : detail::tag<detail::TypeList<Signature<long, detail::TypeList<>>>> {};
struct Max : detail::tag<
                 physical_queryplan::kinds::map<detail::keeps, physical_queryplan::kinds::values>> {
};
struct Min : detail::tag<
                 physical_queryplan::kinds::map<detail::keeps, physical_queryplan::kinds::values>> {
};
struct Avg : detail::tag<detail::TypeList<Signature<Decimal, detail::TypeList<long>>,
                                          Signature<Decimal, detail::TypeList<Decimal>>,
                                          Signature<double, detail::TypeList<double>>,
                                          Signature<double, detail::TypeList<float>>>> {};
struct CountDistinctSingle
    : detail::tag<physical_queryplan::kinds::map<detail::counts_distinct,
                                                 physical_queryplan::kinds::values>> {};
// Takes any number of arguments.
struct CountDistinctVariadric
    : detail::tag<detail::TypeList<Signature<unsigned long, detail::TypeList<>>>> {};

using AggregateTags = meta_support::TypeList<Sum, Count, CountStar, Max, Min, Avg,
                                             CountDistinctSingle, CountDistinctVariadric>;

}  // namespace operator_library

namespace physical_queryplan::QueryPlan {

struct PredicateVariant;

// An expression and the variable under which the nodes above know its value.
struct Alias {
  Expression expression;
  PhysicalVariable variable;
};

// Rows of `left`, each followed by a row of `right`, whose scans and conditions may use the
// variables of `left`. Kind is shared_classes::Inner or Left.
template <typename Kind>
struct Join {
  utilities::DeepCopyPtr<PredicateVariant> left;
  utilities::DeepCopyPtr<PredicateVariant> right;
};

struct FullJoin {
  std::optional<Expression> condition;
  utilities::DeepCopyPtr<PredicateVariant> left;
  utilities::DeepCopyPtr<PredicateVariant> right;
};

// The objects of a table, through one of its indexes.
struct Scan {
  // A value that an index column is compared with.
  struct Bound {
    Expression value;
    bool exclude_null;  // The bound also excludes the NULL keys.

    // Total: by the value's contents, then by exclude_null.
    friend bool operator<(Bound const& left, Bound const& right);
  };

  // The conditions on one index column.
  struct ColBounds {
    std::set<Bound> equal = {};             // column = value
    std::set<Bound> less = {};              // column < value
    std::set<Bound> less_or_equal = {};     // column <= value
    std::set<Bound> greater = {};           // column > value
    std::set<Bound> greater_or_equal = {};  // column >= value
    std::set<Bound> starts_with = {};       // column begins with value
  };

  TableVariable table_variable;
  meta_data::Index index;
  std::vector<ColBounds> bounds;  // One per leading index column; never more than the index has.
  bool ascending;                 // In the index's order, or against it.
};

struct Filter {
  Expression condition;
  utilities::DeepCopyPtr<PredicateVariant> child;
};

// The plan's result: variables of the child, in output order.
struct Transform {
  std::vector<Expression> outputs;
  utilities::DeepCopyPtr<PredicateVariant> child;
};

// One row of one value.
struct GenerativeAssignment {
  Expression expression;
  PhysicalVariable variable;
};

// The child's rows with computed values behind.
struct Extend {
  std::vector<Alias> aliases;
  utilities::DeepCopyPtr<PredicateVariant> child;
};

template <typename Tag>
struct AggregateOperator {
  typename Tag::signature signature;
  std::vector<Expression> arguments;
  kinds::variant<kinds::map<Derived, kinds::values>> output;  // Carries the result.
};
using AggregateVariant =
    kinds::variant<kinds::map<AggregateOperator, operator_library::AggregateTags>>;

struct Aggregation {
  std::vector<AggregateVariant> aggregates;
  std::vector<Alias> group_by;
  utilities::DeepCopyPtr<PredicateVariant> child;
};

struct OrderBy {
  struct Key {
    bool ascending;
    Expression expression;
  };

  std::vector<Key> keys;
  utilities::DeepCopyPtr<PredicateVariant> child;
};

struct LimitOffset {
  std::optional<Expression> limit;
  std::optional<Expression> offset;
  utilities::DeepCopyPtr<PredicateVariant> child;
};

// All rows of `left`, then all rows of `right`.
struct Union {
  utilities::DeepCopyPtr<PredicateVariant> left;
  utilities::DeepCopyPtr<PredicateVariant> right;
};

namespace detail {
using plan_alternatives =
    meta_support::TypeList<Join<shared_classes::Inner>, Join<shared_classes::Left>, FullJoin, Scan,
                           Filter, Transform, GenerativeAssignment, Extend, Aggregation, OrderBy,
                           LimitOffset, Union>;
}  // namespace detail

// A plan. Copying copies the whole tree; copying and destroying recurse, as with Expression.
struct PredicateVariant {
  template <kinds::one_of<detail::plan_alternatives> T>
  PredicateVariant(T alternative)
      : variant(std::move(alternative)) {}  // NOLINT: converts by design

  kinds::variant<detail::plan_alternatives> variant;
};

}  // namespace physical_queryplan::QueryPlan
