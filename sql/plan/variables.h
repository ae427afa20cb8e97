// Sets of the variables that a statement's expressions and relations are about.
#pragma once

#include <array>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "sql/algebra/relation.h"

namespace qd::sql::planning {

using variable_number = std::uint32_t;

// A set of variable numbers. The first 64 take no allocation.
class variable_set {
 public:
  void add(variable_number number);
  void merge(variable_set const& other);
  bool has(variable_number number) const;
  bool empty() const;
  // Whether every variable of `other` is in this set.
  bool includes(variable_set const& other) const;
  bool intersects(variable_set const& other) const;
  variable_set without(variable_set const& other) const;

 private:
  std::uint64_t word(std::size_t position) const {
    return position == 0 ? first_ : position <= more_.size() ? more_[position - 1] : 0;
  }

  std::uint64_t first_ = 0;          // Variables 0 to 63.
  std::vector<std::uint64_t> more_;  // The next ones, 64 each.
};

// Numbers for one statement's table variables and derived values. A column has the number of its
// table variable: what has the one can read the other. (Above a grouping by a column its table
// variable is gone, but nothing there reads another column of it.)
class variable_numbers {
 public:
  variable_number of(algebra::TableVariable const& variable);
  variable_number of(algebra::PhysicalVariable const& variable);

  // The variables that an expression reads.
  variable_set uses(algebra::Expression const& expression);
  void add_uses(algebra::Expression const& expression, variable_set& set);

 private:
  // Binding gives every variable of a statement a place or identity of its own.
  struct key {
    std::array<std::int32_t, 4> identity;
    bool table;
    friend bool operator==(key const&, key const&) = default;
  };
  struct key_hash {
    std::size_t operator()(key const& content) const;
  };
  variable_number of(key const& content);

  std::unordered_map<key, variable_number, key_hash> known_;
};

}  // namespace qd::sql::planning
