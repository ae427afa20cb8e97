#include "sql_executor/order_by.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>

#include "sql_executor/operators/value_order.h"
#include "sql_executor/row_buffer.h"
#include "sql_executor/row_source.h"
#include "sql_executor/sort_keys.h"

namespace qd::sql_executor {

// Complete when constructed: the rows, where they were read, and the order in which they go out.
class order_by_enumerator final : public row_source {
 public:
  order_by_enumerator(node& child, std::vector<operators::operator_ptr> const& key_expressions,
                      std::vector<bool> const& ascending, evaluation_context& context)
      : keys(ascending) {
    read(child, key_expressions, context);
    if (keys->order_is_total()) {
      keys->sort();
    } else {
      sort_by_values(ascending, context);
    }
  }

  bool append_next(evaluation_context& context) override {
    if (cursor == rows.size()) return false;
    if (cursor + read_ahead < rows.size()) rows.prefetch(row_at(cursor + read_ahead));
    rows.append_to_bound(context, row_at(cursor));
    ++cursor;
    return true;
  }

 private:
  // Sorted rows are scattered in memory: those that go out next are fetched meanwhile.
  static constexpr unsigned long read_ahead = 8;

  std::uint64_t row_at(std::uint64_t position) const {
    return keys ? keys->row_at(position) : position;
  }

  void read(node& child, std::vector<operators::operator_ptr> const& key_expressions,
            evaluation_context& context) {
    unsigned long const base = context.bound_data.size();
    row_input input(child.enumerate(context));
    while (input.append_next(context)) {
      for (operators::operator_ptr const& expression : key_expressions) {
        keys->add(expression->eval(context));
      }
      keys->end_row();
      rows.take_bound(context, base);
    }
  }

  // Leaves it to the comparator whether NaN and different kinds meet, which is an error.
  void sort_by_values(std::vector<bool> const& ascending, evaluation_context& context) {
    unsigned long const base = context.bound_data.size();
    std::vector<std::pair<row, row>> pairs;
    pairs.reserve(rows.size());
    for (unsigned long index = 0; index < rows.size(); ++index) {
      rows.append_to_bound(context, index);
      row key = keys->decoded(index);
      pairs.emplace_back(std::move(key), take_row(context, base));
    }
    keys.reset();
    sort(pairs, ascending, context.kernel_context);
    rows = row_buffer();
    for (auto& [key, sorted_row] : pairs) {
      append_row(context, sorted_row);
      rows.take_bound(context, base);
    }
  }

  std::optional<sort_keys> keys;  // Empty once the rows themselves are sorted.
  row_buffer rows;
  unsigned long cursor = 0;  // Rows that went out.
};

order_by::order_by(std::unique_ptr<node>&& child_node,
                   std::vector<operators::operator_ptr>&& key_expressions,
                   std::vector<bool>&& key_directions)
    : child(std::move(child_node)),
      keys(std::move(key_expressions)),
      ascending(std::move(key_directions)) {
  if (keys.size() != ascending.size()) {
    throw std::invalid_argument("an order has " + std::to_string(keys.size()) + " keys and " +
                                std::to_string(ascending.size()) + " directions");
  }
}

std::unique_ptr<enumerator> order_by::enumerate(evaluation_context& context) {
  return std::make_unique<order_by_enumerator>(*child, keys, ascending, context);
}

void sort(std::vector<std::pair<std::vector<value>, std::vector<value>>>& rows,
          std::vector<bool> const& ascending, unsigned long kernel_context) {
  utils::three_way_key_comparator const compare(kernel_context);
  std::sort(rows.begin(), rows.end(), [&](auto const& a, auto const& b) {
    for (std::size_t i = 0; i < a.first.size(); ++i) {
      long const order = compare(a.first[i], b.first[i]);
      if (order != 0) return ascending[i] ? order < 0 : order > 0;
    }
    return false;
  });
}

}  // namespace qd::sql_executor
