// Column reads.
#pragma once

#include "sql_executor/operators/operand.h"

namespace qd::sql_executor::operators {

// Yields a column of the object that `address` refers to.
//
// NULL when the reference is NULL, without a kernel call, and when the column is. The column is
// looked up in the plan's layout for the table, whatever layout the reference came with; column
// kind set_specifier yields the specifier of the object's own class and ignores the column.
//
// Throws bad_value_access when the operand is neither a reference nor NULL; a kernel status
// unchanged.
class property_read final : public operator_base {
 public:
  // Throws std::invalid_argument for a `type` that is no value_type.
  property_read(value_type type, unsigned int column, unsigned short layout,
                operator_ptr&& address);

  value eval(evaluation_context const& context) const override;

 private:
  using getter = value (*)(unsigned long kernel_context, unsigned long oid, unsigned long address,
                           unsigned int column);
  static getter getter_of(value_type type);

  // Reads the column of the object that `address`, a reference or NULL, refers to.
  value read(evaluation_context const& context, value const& address) const;

  value_type type;
  unsigned int column;
  unsigned short layout;
  operand address;
  getter get_column;  // Reads a column of kind `type`.
};

}  // namespace qd::sql_executor::operators
