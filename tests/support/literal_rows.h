// Children for tests of nodes: literal rows, and a driver that drains a node.
#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "sql_executor/node.h"
#include "sql_executor/operators/value_from_context.h"

namespace literal_rows {

using qd::sql_executor::evaluation_context;
using qd::sql_executor::row;
using qd::sql_executor::value;

// What was asked of a literal node.
struct use {
  unsigned enumerations = 0;
  unsigned pulls = 0;  // Calls of next, that at the end included.
  unsigned open = 0;   // Enumerators that live.
};

// Hands out rows that a function makes anew, from the context, at each enumeration. Its enumerators
// are none of the engine's own, as those of a caller's node are not.
class literal_node final : public qd::sql_executor::node {
 public:
  using row_maker = std::function<std::vector<row>(evaluation_context const&)>;

  literal_node(row_maker make, use* counters) : make_rows(std::move(make)), counted(counters) {}

  std::unique_ptr<qd::sql_executor::enumerator> enumerate(evaluation_context& context) override {
    ++counted->enumerations;
    return std::make_unique<rows_enumerator>(make_rows(context), counted);
  }

 private:
  class rows_enumerator final : public qd::sql_executor::enumerator {
   public:
    rows_enumerator(std::vector<row> made, use* counters)
        : rows(std::move(made)), counted(counters) {
      ++counted->open;
    }
    ~rows_enumerator() override { --counted->open; }

    std::optional<row> next(evaluation_context&) override {
      ++counted->pulls;
      if (position == rows.size()) return std::nullopt;
      return rows[position++];
    }

   private:
    std::vector<row> rows;
    std::size_t position = 0;
    use* counted;
  };

  row_maker make_rows;
  use* counted;
};

inline std::unique_ptr<qd::sql_executor::node> correlated(literal_node::row_maker make,
                                                          use* counters = nullptr) {
  static use uncounted;
  return std::make_unique<literal_node>(std::move(make),
                                        counters != nullptr ? counters : &uncounted);
}

inline std::unique_ptr<qd::sql_executor::node> of(std::vector<row> rows, use* counters = nullptr) {
  return correlated([rows = std::move(rows)](evaluation_context const&) { return rows; }, counters);
}

// One column.
inline std::unique_ptr<qd::sql_executor::node> column(std::vector<value> const& values,
                                                      use* counters = nullptr) {
  std::vector<row> rows;
  for (value const& content : values) rows.push_back({content});
  return of(std::move(rows), counters);
}

// An expression that reads position `position` of the bound data.
inline qd::sql_executor::operators::operator_ptr bound(short position) {
  return std::make_unique<qd::sql_executor::operators::value_from_context const>(
      qd::sql_executor::bound_data_index{position});
}

// Thrown by `drain`.
struct bound_data_changed {};

// Every row of an enumeration of the node. Throws bound_data_changed when a call leaves the bound
// data other than it found it.
inline std::vector<row> drain(qd::sql_executor::node& node, evaluation_context& context) {
  std::vector<value> const before = context.bound_data;
  std::vector<row> rows;
  std::unique_ptr<qd::sql_executor::enumerator> const enumerator = node.enumerate(context);
  if (context.bound_data != before) throw bound_data_changed();
  while (std::optional<row> next = enumerator->next(context)) {
    if (context.bound_data != before) throw bound_data_changed();
    rows.push_back(std::move(*next));
  }
  if (context.bound_data != before) throw bound_data_changed();
  return rows;
}

inline std::vector<row> drain(qd::sql_executor::node& node) {
  evaluation_context context;
  return drain(node, context);
}

}  // namespace literal_rows
