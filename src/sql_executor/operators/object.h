// Operators on object references.
#pragma once

#include "sql_executor/operators/operand.h"

namespace qd::sql_executor::operators {

// Yields whether an object is an instance of a class or of one derived from it: whether the
// object's own set specifier, which the kernel gives, begins with the class's. NULL when either is
// NULL.
//
// The class operand is evaluated first; when it is NULL, the object is not evaluated. Throws
// db_exception 7020 unless they are a set specifier and a reference; a kernel status unchanged.
class is final : public predicate<operator_base> {
 public:
  is(operator_ptr&& object_expression, operator_ptr&& class_expression);
  std::optional<bool> test(evaluation_context const& context) const override;

 private:
  operand object;
  operand object_class;
};

// Yields the object identifier of a reference as an unsigned number; NULL of NULL. Throws 7020 for
// other kinds.
class oid final : public unary_operator {
 public:
  using unary_operator::unary_operator;
  value eval(evaluation_context const& context) const override;
};

// A constant of the plan that refers to an object: yields the reference with the address that the
// object has at present. Never NULL. Throws db_exception with the kernel's status, also for an
// object that does not exist.
class object_cast final : public operator_base {
 public:
  explicit object_cast(QD_OBJ_REF constant_reference);
  value eval(evaluation_context const& context) const override;

 private:
  QD_OBJ_REF reference;
};

}  // namespace qd::sql_executor::operators
