// The order in which rows can take new keys, when one row's new key is another's old one.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "sql/connection.h"

namespace qd::sql {

// The keys of rows in one unique index, before an update and after it.
struct key_change {
  std::vector<value> before;
  std::vector<value> after;
};

// A step of an update: a row takes its new values. Before the first row of a circle does, it gets
// out of the way (`step_aside`), and takes its values last.
struct update_step {
  std::size_t row;
  bool step_aside;
};

// Orders rows so that each finds its new keys free: a row comes after the row that has its new key
// now. `changes` has, per unique index, one element per row; rows are numbered alike in all. Keys
// with a NULL in them are never in the way.
std::vector<update_step> order_updates(std::size_t row_count,
                                       std::span<std::vector<key_change> const> changes);

}  // namespace qd::sql
