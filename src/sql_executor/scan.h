// The objects of a table, through one index.
#pragma once

#include <memory>
#include <variant>
#include <vector>

#include "sql_executor/node.h"
#include "sql_executor/operators/operator_base.h"

namespace qd::sql_executor {

// Produces one row per object whose index key lies in one contiguous range: a single value, the
// object's reference. Columns are read later, through that reference.
//
// Row order: the index's order, or its opposite. Buffers nothing. The operands of the bounds are
// evaluated once, when the scan is enumerated, column by column and in list order, so they see the
// parameters and the outer rows as they are then. Errors of its own: 7020 for an operand that the
// column cannot be compared with, std::logic_error for an index column of a floating kind (such
// columns have no key) and for a prefix that is a number, any status of the kernel.
class scan : public node {
 public:
  // How a column is compared with an operand.
  enum class op : unsigned int {
    greater = 0,
    less = 1,
    equal = 2,
    greater_or_equal = 3,
    less_or_equal = 4,
    starts_with = 5,  // Strings and set specifiers.
  };

  struct index_column_info {
    value_type type;
    bool ascending;  // The column's direction in the index.
  };

  // One condition on an index column.
  struct interval_endpoint {
    scan::op op;
    bool exclude_null;  // The condition also excludes the NULL keys.
    std::variant<operators::operator_ptr, ContextSlot> operand;
  };

  // `index_id` is the kernel's, `index_columns` are all columns of the index in index order.
  // Element i of `bounds` holds the conditions on index column i; it has at most as many elements
  // as the index has columns. Throws std::invalid_argument for more, and for numbers that are no op
  // and no value_type. With `ascending` false the range is
  // walked from its last key to its first.
  scan(unsigned long index_id, std::vector<index_column_info>&& index_columns,
       std::vector<std::vector<interval_endpoint>>&& bounds, bool ascending);

  // Builds the range's keys and opens one kernel iterator over it.
  std::unique_ptr<enumerator> enumerate(evaluation_context& context) override;

 private:
  friend class scan_enumerator;

  std::vector<std::vector<interval_endpoint>> bounds;
  unsigned long index_id;
  std::vector<index_column_info> index_columns;
  bool ascending;
};

}  // namespace qd::sql_executor
