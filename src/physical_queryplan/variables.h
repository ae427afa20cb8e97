// The variables through which a plan's expressions refer to rows.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "meta_data/meta_data.h"
#include "physical_queryplan/deep_copy_ptr.h"
#include "physical_queryplan/kinds.h"

namespace shared_classes {

// A line and a column of the query text.
struct Position {
  std::int32_t line = 0;
  std::int32_t column = 0;
  friend auto operator<=>(Position const&, Position const&) = default;
};

// A stretch of the query text.
struct Location {
  Position begin;
  Position end;
  friend auto operator<=>(Location const&, Location const&) = default;
};

}  // namespace shared_classes

namespace physical_queryplan::QueryPlan {

struct Path;

// One occurrence of a table in the query. Its value at run time is a reference to the current
// object. Two are equal when table, location and path are; a present path equals only an equal
// present path.
struct TableVariable {
  meta_data::Table table;
  shared_classes::Location location;                      // Of the occurrence in the query text.
  std::optional<utilities::DeepCopyPtr<Path>> path = {};  // Present when reached from another one.
};

// How a table variable is reached from another: through these reference columns, in order.
struct Path {
  TableVariable source;
  std::vector<meta_data::Column> columns;
};

bool operator==(TableVariable const& left, TableVariable const& right);
bool operator==(Path const& left, Path const& right);

// A stored column of a table variable. T is one of the ten column kinds.
template <typename T>
struct Column {
  meta_data::Column column;
  TableVariable table_variable;
  friend bool operator==(Column const& left, Column const& right) {
    return left.column == right.column && left.table_variable == right.table_variable;
  }
};

// A value that the plan computes, known elsewhere by its identity. T is one of the eleven kinds.
template <typename T>
struct Derived {
  std::array<std::int32_t, 4> identity;
  friend bool operator==(Derived const&, Derived const&) = default;
};

// What a position of a row holds: a column, a derived value or a table variable.
using PhysicalVariable = kinds::variant<
    kinds::concat<kinds::map<Column, kinds::columns>, kinds::map<Derived, kinds::values>,
                  meta_support::TypeList<TableVariable>>>;
static_assert(std::variant_size_v<PhysicalVariable> == 22);

}  // namespace physical_queryplan::QueryPlan
