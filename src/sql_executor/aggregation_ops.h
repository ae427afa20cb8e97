// The aggregate functions: a description in the node, and a runner per group of rows.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <unordered_set>
#include <variant>
#include <vector>

#include "sql_executor/evaluation_context.h"
#include "sql_executor/operators/operand.h"
#include "sql_executor/value.h"

namespace qd::sql_executor {

// Hashes a value or a row as Boost does: distinct sets, and the groups, whose order it decides.
struct boost_hash {
  std::size_t operator()(value const& content) const;
  std::size_t operator()(std::span<value const> content) const;
};

// The different contents met so far; nothing but a pointer until the first, so that runners stay
// small: there is one of each per group.
template <typename Content>
class distinct_set {
 public:
  void insert(Content const& content) {
    if (contents_ == nullptr) contents_ = std::make_unique<set>();
    contents_->insert(content);
  }
  unsigned long size() const { return contents_ == nullptr ? 0 : contents_->size(); }

 private:
  using set = std::unordered_set<Content, boost_hash>;
  std::unique_ptr<set> contents_;
};

namespace aggregators {

// Each description owns its arguments. Its runner is fed once per row of its group, with the row
// bound, and read once behind the last one; it refers to the description, which outlives it.
//
//     function                  NULL argument  result                  over no argument but NULL
//     sum                       ignored        the arguments' kind     NULL
//                                              (signed for unsigned)
//     count                     not counted    signed                  0
//     count_star                none is taken  signed                  0
//     max, min                  ignored        the winner              NULL
//     avg                       ignored        double                  NULL
//     exact_avg                 ignored        Decimal                 NULL
//     count_distinct_variadric  a value        unsigned                1 (0 over no rows)
//     count_distinct_single     a value        unsigned                1 (0 over no rows)
//
// Errors are db_exceptions unless said otherwise. Arguments are evaluated once per row.

// Adds as the + operator does, but bools, strings, Binaries, references and set specifiers only
// from the second one on raise 7020. An unsigned number above 2^63 - 1 and an overflow raise 7041,
// two kinds bad_value_access.
struct sum {
  class runner {
   public:
    explicit runner(sum const& description) : argument(description.argument) {}
    void add_value(evaluation_context const& context);
    value get_result() const { return accumulator; }

   private:
    operators::operand const& argument;
    value accumulator = operator_library::NullValue{};
  };

  explicit sum(operators::operator_ptr&& expression) : argument(std::move(expression)) {}
  operators::operand argument;
};

struct count {
  class runner {
   public:
    explicit runner(count const& description) : argument(description.argument) {}
    void add_value(evaluation_context const& context);
    value get_result() const { return static_cast<long>(rows); }

   private:
    operators::operand const& argument;
    unsigned long rows = 0;
  };

  explicit count(operators::operator_ptr&& expression) : argument(std::move(expression)) {}
  operators::operand argument;
};

// Counts the rows.
struct count_star {
  class runner {
   public:
    explicit runner(count_star const&) {}
    void add_value(evaluation_context const&) { ++rows; }
    value get_result() const { return static_cast<long>(rows); }

   private:
    unsigned long rows = 0;
  };
};

// The greatest value in the order of three_way_key_comparator, which raises 7041 for NaN and
// std::logic_error for two kinds; the earliest of equal ones.
struct max {
  class runner {
   public:
    explicit runner(max const& description) : argument(description.argument) {}
    void add_value(evaluation_context const& context);
    value get_result() const { return accumulator; }

   private:
    operators::operand const& argument;
    value accumulator = operator_library::NullValue{};
  };

  explicit max(operators::operator_ptr&& expression) : argument(std::move(expression)) {}
  operators::operand argument;
};

// The least value that is not NULL; as max otherwise.
struct min {
  class runner {
   public:
    explicit runner(min const& description) : argument(description.argument) {}
    void add_value(evaluation_context const& context);
    value get_result() const { return accumulator; }

   private:
    operators::operand const& argument;
    value accumulator = operator_library::NullValue{};
  };

  explicit min(operators::operator_ptr&& expression) : argument(std::move(expression)) {}
  operators::operand argument;
};

// The average of the arguments as doubles. Raises what converter<double> does.
struct avg {
  class runner {
   public:
    explicit runner(avg const& description) : argument(description.argument) {}
    void add_value(evaluation_context const& context);
    value get_result() const;

   private:
    operators::operand const& argument;
    std::optional<double> total;
    unsigned long rows = 0;
  };

  explicit avg(operators::operator_ptr&& expression) : argument(std::move(expression)) {}
  operators::operand argument;
};

// The average of the arguments as Decimals, rounded to six places, exact halves away from zero.
// Raises what converter<Decimal> does, and 7041 when the total leaves 64 bits on the way or the
// Decimals at the end. On the way it may leave the Decimals.
struct exact_avg {
  class runner {
   public:
    explicit runner(exact_avg const& description) : argument(description.argument) {}
    void add_value(evaluation_context const& context);
    value get_result() const;

   private:
    operators::operand const& argument;
    std::optional<operator_library::Decimal> total;
    unsigned long rows = 0;
  };

  explicit exact_avg(operators::operator_ptr&& expression) : argument(std::move(expression)) {}
  operators::operand argument;
};

// How many different rows its arguments make, equal as group keys are; a NaN makes a row of its
// own.
struct count_distinct_variadric {
  class runner {
   public:
    explicit runner(count_distinct_variadric const& source) : description(source) {}
    void add_value(evaluation_context const& context);
    value get_result() const { return seen.size() + unequal_rows; }

   private:
    count_distinct_variadric const& description;
    distinct_set<row> seen;
    // Rows with a NaN, which equal nothing. They all have one hash: in the set, each would be
    // compared with every other.
    unsigned long unequal_rows = 0;
  };

  explicit count_distinct_variadric(std::vector<operators::operator_ptr>&& expressions);
  std::vector<operators::operand> arguments;
};

// The same for one argument.
struct count_distinct_single {
  class runner {
   public:
    explicit runner(count_distinct_single const& description) : argument(description.argument) {}
    void add_value(evaluation_context const& context);
    value get_result() const { return seen.size() + unequal_values; }

   private:
    operators::operand const& argument;
    distinct_set<value> seen;
    unsigned long unequal_values = 0;  // NaNs.
  };

  explicit count_distinct_single(operators::operator_ptr&& expression)
      : argument(std::move(expression)) {}
  operators::operand argument;
};

}  // namespace aggregators

using aggregate_variant =
    std::variant<aggregators::sum, aggregators::count, aggregators::count_star, aggregators::max,
                 aggregators::min, aggregators::avg, aggregators::exact_avg,
                 aggregators::count_distinct_variadric, aggregators::count_distinct_single>;

using runner_variant =
    std::variant<aggregators::sum::runner, aggregators::count::runner,
                 aggregators::count_star::runner, aggregators::max::runner,
                 aggregators::min::runner, aggregators::avg::runner, aggregators::exact_avg::runner,
                 aggregators::count_distinct_variadric::runner,
                 aggregators::count_distinct_single::runner>;

// Whether the value is a NaN of either floating kind: equal to nothing, itself included.
bool is_nan(value const& content);

// A runner of the description, before its first row.
runner_variant make_runner(aggregate_variant const& aggregate);
std::vector<runner_variant> make_runners(std::vector<aggregate_variant> const& aggregates);

// Feeds the bound row to each runner, in order.
void add_value(evaluation_context& context, std::span<runner_variant> runners);

value result_of(runner_variant const& runner);
// The results, in order.
std::vector<value> get_result(std::span<runner_variant const> runners);

}  // namespace qd::sql_executor
