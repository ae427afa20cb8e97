// Comparisons and what is made of them, LIKE, and the tests that are never NULL.
#include "db_string/string_encoder.h"
#include "like/like.h"
#include "sql/bind/expression_binder.h"

namespace qd::sql {

using algebra::Expression;
using algebra::kind;

namespace {

// A pattern that is written out fails for every text when its escapes do.
void check_pattern(syntax::expression const& pattern) {
  auto const* const literal = std::get_if<syntax::text_literal>(&pattern.content);
  if (!literal) return;
  try {
    ::like::ValidateWildcard(encoder::utf8_to_utf16(literal->text),
                             error_handling::invalid_location);
  } catch (error_handling::QDException const& fault) {
    throw error(fault.code, fault.utf8, pattern.position);
  }
}

}  // namespace

Expression expression_binder::compared(algebra::comparison operation, Expression left,
                                       Expression right, text_position position) {
  left = with_kind(std::move(left), algebra::kind_of(right));
  right = with_kind(std::move(right), algebra::kind_of(left));
  kind const left_kind = algebra::kind_of(left);
  kind const right_kind = algebra::kind_of(right);
  bool const comparable = left_kind == right_kind || left_kind == kind::null ||
                          right_kind == kind::null ||
                          (algebra::is_numeric(left_kind) && algebra::is_numeric(right_kind));
  if (!comparable) {
    refuse_kind(std::string(algebra::kind_name(left_kind)) + " and " +
                    algebra::kind_name(right_kind) + " do not compare",
                position);
  }
  kind const overload = left_kind == kind::null ? right_kind : left_kind;
  return algebra::compare(operation, overload, std::move(left), std::move(right));
}

Expression expression_binder::bind_content(syntax::is_test const& test, surroundings const& around,
                                           text_position position) {
  Expression value = bind(*test.operand, around);
  if (test.what == syntax::test::null) {
    return algebra::null_test(test.negated, with_kind(std::move(value), kind::text));
  }
  value = as_boolean(std::move(value), "IS", position);
  if (test.what == syntax::test::unknown) return algebra::null_test(test.negated, std::move(value));
  if (test.what == syntax::test::false_value) value = algebra::logical_not(std::move(value));
  // A condition that is NULL takes the second branch.
  return algebra::conditional(kind::boolean, std::move(value),
                              algebra::boolean_literal(!test.negated),
                              algebra::boolean_literal(test.negated));
}

Expression expression_binder::bind_content(syntax::in_list const& list, surroundings const& around,
                                           text_position position) {
  Expression const operand = bind(*list.operand, around);
  note_copies(operand, list.items.size(), position);
  std::vector<Expression> alternatives;
  alternatives.reserve(list.items.size());
  for (syntax::expression_ptr const& item : list.items) {
    alternatives.push_back(
        compared(algebra::comparison::equal, operand, bind(*item, around), item->position));
  }
  Expression any = algebra::disjunction(std::move(alternatives));
  return list.negated ? algebra::logical_not(std::move(any)) : any;
}

Expression expression_binder::bind_content(syntax::between const& between,
                                           surroundings const& around, text_position position) {
  Expression operand = bind(*between.operand, around);
  Expression low = bind(*between.low, around);
  Expression high = bind(*between.high, around);
  note_copies(operand, 1, position);
  Expression from =
      compared(algebra::comparison::greater_or_equal, operand, std::move(low), position);
  Expression to =
      compared(algebra::comparison::less_or_equal, std::move(operand), std::move(high), position);
  Expression both = algebra::logical_and(std::move(from), std::move(to));
  return between.negated ? algebra::logical_not(std::move(both)) : both;
}

Expression expression_binder::bind_content(syntax::like const& like, surroundings const& around,
                                           text_position position) {
  Expression text = as_text(bind(*like.operand, around), "LIKE", position);
  Expression pattern = as_text(bind(*like.pattern, around), "LIKE", position);
  check_pattern(*like.pattern);
  Expression match = algebra::like(std::move(text), std::move(pattern));
  return like.negated ? algebra::logical_not(std::move(match)) : match;
}

}  // namespace qd::sql
