// CASE and CAST.
#include "sql/bind/expression_binder.h"

namespace qd::sql {

using algebra::Expression;
using algebra::kind;

namespace {

kind kind_named(syntax::type_name const& type) {
  using written = syntax::type_name::kind;
  switch (type.type) {
    case written::signed_integer:
      return kind::signed_integer;
    case written::unsigned_integer:
      return kind::unsigned_integer;
    case written::decimal:
      return kind::decimal;
    case written::double_float:
      return kind::double_float;
    case written::single_float:
      return kind::single_float;
    case written::text:
      return kind::text;
    case written::binary:
      return kind::binary;
    case written::boolean:
      return kind::boolean;
    case written::class_reference:
      return kind::reference;
  }
  return kind::null;
}

// Whether a cast between two kinds has a result for some value. The plan model has casts that always
// fail when they run: from text, from the floating kinds to numeric, from double to real, to text.
bool cast_can_succeed(kind target, kind source) {
  if (!algebra::has_cast(target, source)) return false;
  bool const from_floating = source == kind::double_float || source == kind::single_float;
  if (target == kind::text || source == kind::text || source == kind::binary) return false;
  if (target == kind::decimal && from_floating) return false;
  return !(target == kind::single_float && source == kind::double_float);
}

}  // namespace

Expression expression_binder::bind_content(syntax::case_expression const& source,
                                           surroundings const& around, text_position position) {
  check_list(source.branches.size(), "CASE", position);
  std::optional<Expression> operand;
  if (source.operand) {
    operand = bind(*source.operand, around);
    note_copies(*operand, source.branches.size(), position);
  }
  std::vector<Expression> conditions;
  std::vector<Expression> results;
  for (syntax::case_expression::branch const& branch : source.branches) {
    Expression condition = bind(*branch.condition, around);
    conditions.push_back(
        operand ? compared(algebra::comparison::equal, *operand, std::move(condition),
                           branch.condition->position)
                : as_boolean(std::move(condition), "WHEN", branch.condition->position));
    results.push_back(bind(*branch.result, around));
  }
  results.push_back(source.otherwise ? bind(*source.otherwise, around) : algebra::null_literal());
  kind const common = unify(results, "the results of CASE", position);
  Expression value = std::move(results.back());
  for (std::size_t i = conditions.size(); i-- > 0;) {
    value = algebra::conditional(common, std::move(conditions[i]), std::move(results[i]),
                                 std::move(value));
  }
  return value;
}

Expression expression_binder::bind_content(syntax::cast const& cast, surroundings const& around,
                                           text_position position) {
  if (cast.target.type == syntax::type_name::kind::class_reference) {
    syntax::object_name const name{cast.target.class_name, cast.target.position};
    if (!context_.catalogue.find(context_.reader, name)) {
      throw error(error_code::not_supported, "there is no type " + name.parts.back(),
                  cast.target.position);
    }
    throw error(error_code::not_supported, "a cast to a class is not supported",
                cast.target.position);
  }
  kind const target = kind_named(cast.target);
  Expression value = bind(*cast.operand, around);
  kind const own = algebra::kind_of(value);
  if (own == target) return value;
  if (own == kind::null) return enforced(std::move(value), target);
  if (!cast_can_succeed(target, own)) {
    refuse_kind(std::string("there is no cast from ") + algebra::kind_name(own) + " to " +
                    algebra::kind_name(target),
                position);
  }
  return algebra::cast(target, std::move(value));
}

}  // namespace qd::sql
