#include "sql_executor/aggregation_ops.h"

#include <algorithm>
#include <boost/container_hash/hash.hpp>
#include <cmath>

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"
#include "sql_executor/exec_utils.h"
#include "sql_executor/operators/arithmetic_functions.h"
#include "sql_executor/operators/value_order.h"

namespace qd::sql_executor {

using operator_library::Decimal;

std::size_t boost_hash::operator()(value const& content) const {
  return hash_value(content);
}

std::size_t boost_hash::operator()(std::span<value const> content) const {
  return boost::hash_range(content.begin(), content.end());
}

bool is_nan(value const& content) {
  if (double const* const number = get_if<double>(&content)) return std::isnan(*number);
  if (float const* const number = get_if<float>(&content)) return std::isnan(*number);
  return false;
}

namespace aggregators {

void sum::runner::add_value(evaluation_context const& context) {
  value addend = argument.eval(context);
  if (addend.is_null()) return;
  if (holds_alternative<unsigned long>(addend)) {
    addend = utils::converter<long>()(std::move(addend));
  }
  if (accumulator.is_null()) {
    accumulator = std::move(addend);
    return;
  }
  if (accumulator.index() != addend.index()) bad_value_access::raise();
  accumulator = utils::adder(std::move(addend))(accumulator);
}

void count::runner::add_value(evaluation_context const& context) {
  value scratch;
  if (!argument.read(context, scratch).is_null()) ++rows;
}

void max::runner::add_value(evaluation_context const& context) {
  value scratch;
  value const& candidate = argument.read(context, scratch);
  utils::three_way_key_comparator const compare(context.kernel_context);
  if (compare(candidate, accumulator) > 0) accumulator = candidate;
}

void min::runner::add_value(evaluation_context const& context) {
  value scratch;
  value const& candidate = argument.read(context, scratch);
  if (candidate.is_null()) return;
  utils::three_way_key_comparator const compare(context.kernel_context);
  if (accumulator.is_null() || compare(candidate, accumulator) < 0) accumulator = candidate;
}

void avg::runner::add_value(evaluation_context const& context) {
  value const addend = utils::converter<double>()(argument.eval(context));
  if (addend.is_null()) return;
  ++rows;
  double const number = get<double>(addend);
  total = total ? *total + number : number;
}

value avg::runner::get_result() const {
  if (!total) return operator_library::NullValue{};
  return *total / static_cast<double>(rows);
}

void exact_avg::runner::add_value(evaluation_context const& context) {
  value const addend = utils::converter<Decimal>()(argument.eval(context));
  if (addend.is_null()) return;
  ++rows;
  Decimal const number = get<Decimal>(addend);
  // An integer sum: in between, the total may leave the Decimals.
  total = total ? Decimal{utils::sum_of::apply(total->scaled, number.scaled)} : number;
}

value exact_avg::runner::get_result() const {
  if (!total) return operator_library::NullValue{};
  // Both operands of the division are required to be Decimals.
  bool const total_is_decimal =
      total->scaled >= -Decimal::max_scaled && total->scaled <= Decimal::max_scaled;
  if (!total_is_decimal || rows > static_cast<unsigned long>(Decimal::max_integer)) {
    db_util::db_exception::raise(error_handling::out_of_range);
  }
  return Decimal{utils::round_multip_to_dec(total->scaled, static_cast<db_util::int128>(rows))};
}

count_distinct_variadric::count_distinct_variadric(
    std::vector<operators::operator_ptr>&& expressions) {
  arguments.reserve(expressions.size());
  for (operators::operator_ptr& expression : expressions) {
    arguments.emplace_back(std::move(expression));
  }
}

void count_distinct_variadric::runner::add_value(evaluation_context const& context) {
  row content;
  content.reserve(description.arguments.size());
  for (operators::operand const& argument : description.arguments) {
    content.push_back(argument.eval(context));
  }
  if (std::any_of(content.begin(), content.end(), is_nan)) {
    ++unequal_rows;
  } else {
    seen.insert(content);
  }
}

void count_distinct_single::runner::add_value(evaluation_context const& context) {
  value scratch;
  value const& content = argument.read(context, scratch);
  if (is_nan(content)) {
    ++unequal_values;
  } else {
    seen.insert(content);
  }
}

}  // namespace aggregators

runner_variant make_runner(aggregate_variant const& aggregate) {
  return std::visit(
      []<typename Aggregate>(Aggregate const& description) -> runner_variant {
        return typename Aggregate::runner(description);
      },
      aggregate);
}

std::vector<runner_variant> make_runners(std::vector<aggregate_variant> const& aggregates) {
  return transform_list<std::vector<runner_variant>>(aggregates, make_runner);
}

void add_value(evaluation_context& context, std::span<runner_variant> runners) {
  for (runner_variant& runner : runners) {
    std::visit([&context](auto& state) { state.add_value(context); }, runner);
  }
}

value result_of(runner_variant const& runner) {
  return std::visit([](auto const& state) { return state.get_result(); }, runner);
}

std::vector<value> get_result(std::span<runner_variant const> runners) {
  return transform_list<std::vector<value>>(runners, result_of);
}

}  // namespace qd::sql_executor
