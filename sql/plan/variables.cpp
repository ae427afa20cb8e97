#include "sql/plan/variables.h"

#include <algorithm>

namespace qd::sql::planning {

using namespace physical_queryplan::QueryPlan;  // NOLINT: visitors name most of it

namespace {
constexpr std::size_t word_bits = 64;
}

void variable_set::add(variable_number number) {
  std::uint64_t const bit = std::uint64_t{1} << (number % word_bits);
  std::size_t const position = number / word_bits;
  if (position == 0) {
    first_ |= bit;
    return;
  }
  if (more_.size() < position) more_.resize(position);
  more_[position - 1] |= bit;
}

void variable_set::merge(variable_set const& other) {
  first_ |= other.first_;
  if (more_.size() < other.more_.size()) more_.resize(other.more_.size());
  for (std::size_t i = 0; i < other.more_.size(); ++i) more_[i] |= other.more_[i];
}

bool variable_set::has(variable_number number) const {
  return (word(number / word_bits) >> (number % word_bits) & 1) != 0;
}

bool variable_set::empty() const {
  return first_ == 0 &&
         std::all_of(more_.begin(), more_.end(), [](std::uint64_t each) { return each == 0; });
}

bool variable_set::includes(variable_set const& other) const {
  return other.without(*this).empty();
}

bool variable_set::intersects(variable_set const& other) const {
  for (std::size_t i = 0; i <= more_.size(); ++i) {
    if ((word(i) & other.word(i)) != 0) return true;
  }
  return false;
}

variable_set variable_set::without(variable_set const& other) const {
  variable_set result = *this;
  result.first_ &= ~other.first_;
  for (std::size_t i = 0; i < result.more_.size(); ++i) result.more_[i] &= ~other.word(i + 1);
  return result;
}

std::size_t variable_numbers::key_hash::operator()(key const& content) const {
  std::uint64_t hash = content.table ? 1 : 0;
  for (std::int32_t const part : content.identity) {
    hash = (hash ^ static_cast<std::uint32_t>(part)) * 0x9E3779B97F4A7C15;
    hash ^= hash >> 32;
  }
  return hash;
}

variable_number variable_numbers::of(key const& content) {
  auto const next = static_cast<variable_number>(known_.size());
  return known_.emplace(content, next).first->second;
}

variable_number variable_numbers::of(TableVariable const& variable) {
  shared_classes::Location const& place = variable.location;
  return of({{place.begin.line, place.begin.column, place.end.line, place.end.column}, true});
}

variable_number variable_numbers::of(PhysicalVariable const& variable) {
  return std::visit(
      [this]<typename T>(T const& alternative) {
        if constexpr (requires { alternative.identity; }) {
          return of(key{alternative.identity, false});
        } else if constexpr (requires { alternative.table_variable; }) {
          return of(alternative.table_variable);
        } else {
          return of(alternative);
        }
      },
      variable);
}

void variable_numbers::add_uses(Expression const& expression, variable_set& set) {
  std::visit(
      [&]<typename T>(T const& alternative) {
        if constexpr (requires { alternative.arguments; }) {
          for (Expression const& argument : alternative.arguments) add_uses(argument, set);
        } else if constexpr (requires { alternative.identity; }) {
          set.add(of(key{alternative.identity, false}));
        } else if constexpr (requires { alternative.table_variable; }) {
          set.add(of(alternative.table_variable));
        } else if constexpr (std::is_same_v<T, TableVariable>) {
          set.add(of(alternative));
        }
      },
      expression.variant);
}

variable_set variable_numbers::uses(Expression const& expression) {
  variable_set set;
  add_uses(expression, set);
  return set;
}

}  // namespace qd::sql::planning
