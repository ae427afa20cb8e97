// Three-valued logic and the tests for NULL.
#pragma once

#include "sql_executor/operators/operand.h"

namespace qd::sql_executor::operators {

// AND. The left operand is evaluated first and must be a bool or NULL, else 7020.
//
//     left     right evaluated   result
//     false    no                false
//     true     yes               the right operand's value unchanged, whatever its kind
//     NULL     yes               false when the right is false, else NULL; 7020 unless bool or NULL
class logical_and final : public binary_operator {
 public:
  using binary_operator::binary_operator;
  value eval(evaluation_context const& context) const override;
  std::optional<bool> test(evaluation_context const& context) const override;
};

// OR, as AND with true and false exchanged.
class logical_or final : public binary_operator {
 public:
  using binary_operator::binary_operator;
  value eval(evaluation_context const& context) const override;
  std::optional<bool> test(evaluation_context const& context) const override;
};

// Exclusive or of bools, the left one first; NULL when one is NULL. The right operand is not
// evaluated when the left is NULL. Throws 7020 for other kinds.
class xor_op final : public binary_predicate {
 public:
  using binary_predicate::binary_predicate;
  std::optional<bool> test(evaluation_context const& context) const override;
};

// The negation of a bool; NULL of NULL. Throws 7020 for other kinds.
class logical_not final : public unary_predicate {
 public:
  using unary_predicate::unary_predicate;
  std::optional<bool> test(evaluation_context const& context) const override;
};

// Whether the operand, of any kind, is NULL. Never NULL itself.
class is_null final : public unary_predicate {
 public:
  using unary_predicate::unary_predicate;
  std::optional<bool> test(evaluation_context const& context) const override;
};

// Whether the operand, of any kind, is something else than NULL. Never NULL itself.
class is_not_null final : public unary_predicate {
 public:
  using unary_predicate::unary_predicate;
  std::optional<bool> test(evaluation_context const& context) const override;
};

}  // namespace qd::sql_executor::operators
