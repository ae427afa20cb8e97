// Scalar expressions: names become variables, operators the overloads that fit their operands.
#pragma once

#include <map>
#include <vector>

#include "sql/algebra/operations.h"
#include "sql/bind/scope.h"

namespace qd::sql {

// Items of a CASE, COALESCE or concat; expressions of GROUP BY and ORDER BY. Each item of the first
// two is one level of the plan.
inline constexpr std::size_t max_list_items = 1000;
// Parts of expressions that one statement may have copied, by operations that use an operand twice.
// Such operations inside one another double their copies at every level.
inline constexpr std::size_t max_copied_parts = 500000;

// Throws wrong_type.
[[noreturn]] void refuse_kind(std::string const& text, text_position position);

// Throws limit_exceeded for longer lists.
void check_list(std::size_t items, char const* what, text_position position);

// The aggregates of one SELECT, in the order in which they were met; equal ones stand once.
struct collected_aggregates {
  std::vector<algebra::AggregateVariant> aggregates;
  // What each was made of, to find it again: function, arguments.
  struct origin {
    std::string function;
    std::vector<algebra::Expression> arguments;
    algebra::PhysicalVariable output;
  };
  std::vector<origin> origins;
};

// Binds the expressions of one statement.
//
// A parameter whose kind nothing tells yet, and NULL, have kind::null; where an operation needs a
// kind they take that of the operand beside them.
class expression_binder {
 public:
  expression_binder(binding_context const& context, name_resolver& names)
      : context_(context), names_(names) {}

  // In a place without aggregates, which `place` names for the error: "WHERE".
  algebra::Expression bind(syntax::expression const& source, scope const& visible,
                           char const* place);
  // Where aggregates may stand; each becomes the variable of its result.
  algebra::Expression bind(syntax::expression const& source, scope const& visible,
                           collected_aggregates& aggregates);
  // A condition: boolean, or refused.
  algebra::Expression bind_condition(syntax::expression const& source, scope const& visible,
                                     char const* place);
  algebra::Expression as_condition(algebra::Expression condition, text_position position,
                                   char const* place);

  // left = right, and the first of both that is not NULL; as USING needs them. The sides of
  // first_present are variables.
  algebra::Expression equality(algebra::Expression left, algebra::Expression right,
                               text_position position);
  algebra::Expression first_present(algebra::Expression left, algebra::Expression right,
                                    text_position position);

  // Gives an expression of kind::null the kind `wanted`, as far as nothing else did.
  algebra::Expression with_kind(algebra::Expression value, algebra::kind wanted);
  // Converts a value to a kind that common_kind gave for it.
  algebra::Expression converted(algebra::Expression value, algebra::kind target);
  // The same, also of a parameter of no kind, whose value may be anything.
  algebra::Expression enforced(algebra::Expression value, algebra::kind target);
  // The kind that values of both kinds convert to. Throws wrong_type, naming `what`.
  static algebra::kind common_kind(algebra::kind left, algebra::kind right, char const* what,
                                   text_position position);

  // A variable for a computed value.
  algebra::PhysicalVariable new_value(algebra::kind kind);
  // The table that the objects of a reference are of; empty when it is not known.
  std::u16string referenced_class(algebra::Expression const& reference) const;
  void note_referenced_class(algebra::PhysicalVariable const& value, std::u16string class_name);

 private:
  // What may stand where the expression at hand is bound.
  struct surroundings {
    scope const& visible;
    collected_aggregates* aggregates;  // Null where there are none.
    char const* place;
  };

  algebra::Expression bind(syntax::expression const& source, surroundings const& around);
  std::vector<algebra::Expression> bind_all(std::vector<syntax::expression_ptr> const& sources,
                                            surroundings const& around);

  algebra::Expression bind_content(syntax::null_literal const&, surroundings const&, text_position);
  algebra::Expression bind_content(syntax::boolean_literal const&, surroundings const&,
                                   text_position);
  algebra::Expression bind_content(syntax::integer_literal const&, surroundings const&,
                                   text_position);
  algebra::Expression bind_content(syntax::decimal_literal const&, surroundings const&,
                                   text_position);
  algebra::Expression bind_content(syntax::floating_literal const&, surroundings const&,
                                   text_position);
  algebra::Expression bind_content(syntax::text_literal const&, surroundings const&, text_position);
  algebra::Expression bind_content(syntax::binary_literal const&, surroundings const&,
                                   text_position);
  algebra::Expression bind_content(syntax::parameter const&, surroundings const&, text_position);
  algebra::Expression bind_content(syntax::column_path const&, surroundings const&, text_position);
  algebra::Expression bind_content(syntax::star const&, surroundings const&, text_position);
  algebra::Expression bind_content(syntax::unary const&, surroundings const&, text_position);
  algebra::Expression bind_content(syntax::binary const&, surroundings const&, text_position);
  algebra::Expression bind_content(syntax::is_test const&, surroundings const&, text_position);
  algebra::Expression bind_content(syntax::in_list const&, surroundings const&, text_position);
  algebra::Expression bind_content(syntax::between const&, surroundings const&, text_position);
  algebra::Expression bind_content(syntax::like const&, surroundings const&, text_position);
  algebra::Expression bind_content(syntax::case_expression const&, surroundings const&,
                                   text_position);
  algebra::Expression bind_content(syntax::cast const&, surroundings const&, text_position);
  algebra::Expression bind_content(syntax::function_call const&, surroundings const&,
                                   text_position);

  algebra::Expression bind_negative(syntax::expression const& operand, surroundings const& around,
                                    text_position position);
  algebra::Expression bind_aggregate(syntax::function_call const& call, surroundings const& around,
                                     text_position position);
  algebra::Expression compared(algebra::comparison operation, algebra::Expression left,
                               algebra::Expression right, text_position position);
  algebra::Expression calculated(algebra::arithmetic operation, algebra::Expression left,
                                 algebra::Expression right, text_position position);
  // Counts copies of an expression that is used several times.
  void note_copies(algebra::Expression const& copied, std::size_t copies, text_position position);
  // The value as a text; refused when it is of another kind.
  algebra::Expression as_text(algebra::Expression value, char const* what, text_position position);
  algebra::Expression as_boolean(algebra::Expression value, char const* what,
                                 text_position position);
  // Values of one kind: conditional branches, COALESCE. Returns that kind.
  algebra::kind unify(std::vector<algebra::Expression>& values, char const* what,
                      text_position position);

  binding_context const& context_;
  name_resolver& names_;
  std::int32_t values_ = 0;
  std::size_t copied_parts_ = 0;
  std::map<std::int32_t, std::u16string> referenced_classes_;  // By the number of a new value.
};

}  // namespace qd::sql
