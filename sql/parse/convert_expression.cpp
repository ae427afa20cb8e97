#include <algorithm>
#include <array>

#include "sql/parse/converter.h"
#include "sql/text/ascii.h"

namespace qd::sql {

namespace {

template <typename Content>
syntax::expression_ptr make(Content content, text_position position) {
  auto result = std::make_unique<syntax::expression>();
  result->content = std::move(content);
  result->position = position;
  return result;
}

constexpr std::array<std::pair<std::string_view, syntax::binary_operator>, 11> binary_operators{{
    {"=", syntax::binary_operator::equal},
    {"<>", syntax::binary_operator::not_equal},
    {"<", syntax::binary_operator::less},
    {"<=", syntax::binary_operator::less_or_equal},
    {">", syntax::binary_operator::greater},
    {">=", syntax::binary_operator::greater_or_equal},
    {"+", syntax::binary_operator::add},
    {"-", syntax::binary_operator::subtract},
    {"*", syntax::binary_operator::multiply},
    {"/", syntax::binary_operator::divide},
    {"||", syntax::binary_operator::concatenate},
}};

// A function that the grammar puts in place of a construct.
bool stands_for(PgQuery__Node const& node, std::string_view function) {
  if (node.node_case != PG_QUERY__NODE__NODE_FUNC_CALL) return false;
  PgQuery__FuncCall const& call = *node.func_call;
  return call.n_funcname == 2 && std::string_view("pg_catalog") == call.funcname[0]->string->sval &&
         function == call.funcname[1]->string->sval;
}

}  // namespace

text_position converter::place_of(PgQuery__Node const& node) {
  switch (node.node_case) {
    case PG_QUERY__NODE__NODE_A_CONST:
      return place(node.a_const->location);
    case PG_QUERY__NODE__NODE_COLUMN_REF:
      return place(node.column_ref->location);
    case PG_QUERY__NODE__NODE_PARAM_REF:
      return place(node.param_ref->location);
    case PG_QUERY__NODE__NODE_A_EXPR:
      return place(node.a_expr->location);
    case PG_QUERY__NODE__NODE_BOOL_EXPR:
      return place(node.bool_expr->location);
    case PG_QUERY__NODE__NODE_FUNC_CALL:
      return place(node.func_call->location);
    case PG_QUERY__NODE__NODE_TYPE_CAST:
      return place(node.type_cast->location, place(node.type_cast->type_name->location));
    case PG_QUERY__NODE__NODE_CASE_EXPR:
      return place(node.case_expr->location);
    case PG_QUERY__NODE__NODE_COALESCE_EXPR:
      return place(node.coalesce_expr->location);
    case PG_QUERY__NODE__NODE_MIN_MAX_EXPR:
      return place(node.min_max_expr->location);
    case PG_QUERY__NODE__NODE_NULL_TEST:
      return place(node.null_test->location);
    case PG_QUERY__NODE__NODE_BOOLEAN_TEST:
      return place(node.boolean_test->location);
    case PG_QUERY__NODE__NODE_SUB_LINK:
      return place(node.sub_link->location);
    case PG_QUERY__NODE__NODE_COLLATE_CLAUSE:
      return place(node.collate_clause->location);
    case PG_QUERY__NODE__NODE_ROW_EXPR:
      return place(node.row_expr->location);
    case PG_QUERY__NODE__NODE_A_ARRAY_EXPR:
      return place(node.a_array_expr->location);
    case PG_QUERY__NODE__NODE_SQLVALUE_FUNCTION:
      return place(node.sqlvalue_function->location);
    case PG_QUERY__NODE__NODE_XML_EXPR:
      return place(node.xml_expr->location);
    case PG_QUERY__NODE__NODE_XML_SERIALIZE:
      return place(node.xml_serialize->location);
    case PG_QUERY__NODE__NODE_GROUPING_FUNC:
      return place(node.grouping_func->location);
    case PG_QUERY__NODE__NODE_GROUPING_SET:
      return place(node.grouping_set->location);
    case PG_QUERY__NODE__NODE_SET_TO_DEFAULT:
      return place(node.set_to_default->location);
    case PG_QUERY__NODE__NODE_NAMED_ARG_EXPR:
      return place(node.named_arg_expr->location);
    case PG_QUERY__NODE__NODE_A_INDIRECTION:
      return place_of(*node.a_indirection->arg);
    case PG_QUERY__NODE__NODE_RES_TARGET:
      return place(node.res_target->location);
    case PG_QUERY__NODE__NODE_RANGE_VAR:
      return place(node.range_var->location);
    case PG_QUERY__NODE__NODE_LIST:
      return node.list->n_items == 0 ? no_position : place_of(*node.list->items[0]);
    default:
      return no_position;
  }
}

syntax::expression_ptr converter::convert_optional(PgQuery__Node const* node) {
  return node == nullptr ? nullptr : convert_expression(*node);
}

converter::expression_list converter::convert_expressions(node_list nodes) {
  expression_list expressions;
  expressions.reserve(nodes.size());
  for (PgQuery__Node const* const each : nodes) expressions.push_back(convert_expression(*each));
  return expressions;
}

syntax::expression_ptr converter::convert_expression(PgQuery__Node const& node) {
  // Leaves do not count as levels.
  switch (node.node_case) {
    case PG_QUERY__NODE__NODE_A_CONST:
      return convert_constant(*node.a_const);
    case PG_QUERY__NODE__NODE_COLUMN_REF:
      return convert_column(*node.column_ref, false);
    case PG_QUERY__NODE__NODE_PARAM_REF:
      return make(syntax::parameter{static_cast<std::uint32_t>(node.param_ref->number)},
                  place_of(node));
    default:
      break;
  }
  text_position const position = place_of(node);
  if (node.node_case == PG_QUERY__NODE__NODE_BOOL_EXPR) return convert_logic(*node.bool_expr);
  level const deeper(*this, position);
  switch (node.node_case) {
    case PG_QUERY__NODE__NODE_A_EXPR:
      return convert_operation(*node.a_expr);
    case PG_QUERY__NODE__NODE_NULL_TEST:
      return convert_null_test(*node.null_test);
    case PG_QUERY__NODE__NODE_BOOLEAN_TEST:
      return convert_boolean_test(*node.boolean_test);
    case PG_QUERY__NODE__NODE_CASE_EXPR:
      return convert_case(*node.case_expr);
    case PG_QUERY__NODE__NODE_FUNC_CALL:
      return convert_call(*node.func_call);
    case PG_QUERY__NODE__NODE_COALESCE_EXPR:
      return make(syntax::function_call{"coalesce",
                                        convert_expressions(QD_NODES(*node.coalesce_expr, args))},
                  position);
    case PG_QUERY__NODE__NODE_TYPE_CAST: {
      syntax::type_name type = convert_type(*node.type_cast->type_name);
      return make(syntax::cast{convert_expression(*node.type_cast->arg), std::move(type)},
                  position);
    }
    default:
      refuse_expression(node);
  }
}

syntax::expression_ptr converter::convert_constant(PgQuery__AConst const& constant) {
  text_position const position = place(constant.location);
  if (constant.isnull) return make(syntax::null_literal{}, position);
  switch (constant.val_case) {
    case PG_QUERY__A__CONST__VAL_IVAL:
      return convert_number(std::to_string(constant.ival->ival), position);
    case PG_QUERY__A__CONST__VAL_FVAL:
      return convert_number(constant.fval->fval, position);
    case PG_QUERY__A__CONST__VAL_BOOLVAL:
      return make(syntax::boolean_literal{constant.boolval->boolval != 0}, position);
    case PG_QUERY__A__CONST__VAL_SVAL:
      return make(syntax::text_literal{constant.sval->sval}, position);
    case PG_QUERY__A__CONST__VAL_BSVAL:
      return convert_bits(constant.bsval->bsval, position);
    default:
      refuse("this literal is", position);
  }
}

// The grammar has made a negative number of a minus and a number.
syntax::expression_ptr converter::convert_number(std::string_view digits, text_position position) {
  if (digits.starts_with('-')) {
    std::size_t const begin =
        position == no_position ? text_.npos : text_.find_first_of("0123456789.", position);
    auto const digits_place = begin == text_.npos ? position : static_cast<text_position>(begin);
    return make(syntax::unary{syntax::unary_operator::minus,
                              convert_number(digits.substr(1), digits_place)},
                position);
  }
  std::string number(digits);
  if (number.find_first_of("eE") != number.npos) {
    return make(syntax::floating_literal{std::move(number)}, position);
  }
  if (number.find('.') != number.npos) {
    return make(syntax::decimal_literal{std::move(number)}, position);
  }
  return make(syntax::integer_literal{std::move(number)}, position);
}

// x'0aff' arrives as x0aff, b'01' as b01.
syntax::expression_ptr converter::convert_bits(std::string_view bits, text_position position) {
  refuse_if(!bits.starts_with('x'), "bit strings are", position);
  bits.remove_prefix(1);
  std::string bytes;
  bytes.reserve(bits.size() / 2);
  for (std::size_t i = 0; i + 1 < bits.size(); i += 2) {
    int const high = ascii::hexadecimal(bits[i]);
    int const low = ascii::hexadecimal(bits[i + 1]);
    if (high < 0 || low < 0) {
      throw error(error_code::bad_literal, "x'...' takes hexadecimal digits", position);
    }
    bytes.push_back(static_cast<char>(high << 4 | low));
  }
  if (bits.size() % 2 != 0) {
    throw error(error_code::bad_literal, "x'...' takes an even number of digits", position);
  }
  return make(syntax::binary_literal{std::move(bytes)}, position);
}

syntax::expression_ptr converter::convert_column(PgQuery__ColumnRef const& column,
                                                 bool star_allowed) {
  text_position const position = place(column.location);
  node_list fields = QD_NODES(column, fields);
  bool const is_star = fields.back()->node_case == PG_QUERY__NODE__NODE_A_STAR;
  if (!is_star) return make(syntax::column_path{strings_of(fields, position)}, position);
  if (!star_allowed) {
    throw error(error_code::syntax, "* can stand for columns only as an output of a SELECT",
                position);
  }
  return make(syntax::star{strings_of(fields.first(fields.size() - 1), position)}, position);
}

syntax::expression_ptr converter::convert_operation(PgQuery__AExpr const& operation) {
  text_position const position = place(operation.location);
  auto const list_operand = [&]() -> node_list {
    if (operation.rexpr->node_case != PG_QUERY__NODE__NODE_LIST) refuse("this list is", position);
    return QD_NODES(*operation.rexpr->list, items);
  };
  auto const is_negated = [&](std::string_view positive) {
    return operation.name[0]->string->sval != positive;
  };
  switch (operation.kind) {
    case PG_QUERY__A__EXPR__KIND__AEXPR_OP:
      return convert_operator(operation, position);
    case PG_QUERY__A__EXPR__KIND__AEXPR_IN: {
      auto operand = convert_expression(*operation.lexpr);
      return make(
          syntax::in_list{std::move(operand), convert_expressions(list_operand()), is_negated("=")},
          position);
    }
    case PG_QUERY__A__EXPR__KIND__AEXPR_BETWEEN:
    case PG_QUERY__A__EXPR__KIND__AEXPR_NOT_BETWEEN: {
      auto operand = convert_expression(*operation.lexpr);
      expression_list ends = convert_expressions(list_operand());
      return make(syntax::between{std::move(operand), std::move(ends.at(0)), std::move(ends.at(1)),
                                  is_negated("BETWEEN")},
                  position);
    }
    case PG_QUERY__A__EXPR__KIND__AEXPR_LIKE:
      return convert_like(operation, position);
    case PG_QUERY__A__EXPR__KIND__AEXPR_NULLIF: {
      expression_list arguments;
      arguments.push_back(convert_expression(*operation.lexpr));
      arguments.push_back(convert_expression(*operation.rexpr));
      return make(syntax::function_call{"nullif", std::move(arguments)}, position);
    }
    case PG_QUERY__A__EXPR__KIND__AEXPR_OP_ANY:
      refuse("ANY is", position);
    case PG_QUERY__A__EXPR__KIND__AEXPR_OP_ALL:
      refuse("ALL is", position);
    case PG_QUERY__A__EXPR__KIND__AEXPR_DISTINCT:
      refuse("IS DISTINCT FROM is", position);
    case PG_QUERY__A__EXPR__KIND__AEXPR_NOT_DISTINCT:
      refuse("IS NOT DISTINCT FROM is", position);
    case PG_QUERY__A__EXPR__KIND__AEXPR_ILIKE:
      refuse("ILIKE is", position);
    case PG_QUERY__A__EXPR__KIND__AEXPR_SIMILAR:
      refuse("SIMILAR TO is", position);
    case PG_QUERY__A__EXPR__KIND__AEXPR_BETWEEN_SYM:
    case PG_QUERY__A__EXPR__KIND__AEXPR_NOT_BETWEEN_SYM:
      refuse("BETWEEN SYMMETRIC is", position);
    default:
      refuse("this operation is", position);
  }
}

syntax::expression_ptr converter::convert_operator(PgQuery__AExpr const& operation,
                                                   text_position position) {
  refuse_if(operation.n_name != 1, "OPERATOR(...) is", position);
  std::string const name = string_of(*operation.name[0]);
  if (operation.lexpr == nullptr) {
    if (name != "-" && name != "+") refuse("the operator " + name + " is", position);
    auto const sign = name == "-" ? syntax::unary_operator::minus : syntax::unary_operator::plus;
    return make(syntax::unary{sign, convert_expression(*operation.rexpr)}, position);
  }
  auto const known = std::find_if(binary_operators.begin(), binary_operators.end(),
                                  [&](auto const& each) { return each.first == name; });
  if (known == binary_operators.end()) refuse("the operator " + name + " is", position);
  auto left = convert_expression(*operation.lexpr);
  auto right = convert_expression(*operation.rexpr);
  return make(syntax::binary{known->second, std::move(left), std::move(right)}, position);
}

syntax::expression_ptr converter::convert_like(PgQuery__AExpr const& operation,
                                               text_position position) {
  refuse_if(stands_for(*operation.rexpr, "like_escape"), "LIKE ... ESCAPE is", position);
  auto operand = convert_expression(*operation.lexpr);
  auto pattern = convert_expression(*operation.rexpr);
  bool const negated = string_of(*operation.name[0]) == "!~~";
  return make(syntax::like{std::move(operand), std::move(pattern), negated}, position);
}

// A chain of ANDs or ORs arrives as one list; it becomes a tree that leans to the left, like every
// other chain.
syntax::expression_ptr converter::convert_logic(PgQuery__BoolExpr const& logic) {
  text_position const position = place(logic.location);
  node_list const operands = QD_NODES(logic, args);
  if (logic.boolop == PG_QUERY__BOOL_EXPR_TYPE__NOT_EXPR) {
    level const deeper(*this, position);
    return make(
        syntax::unary{syntax::unary_operator::logical_not, convert_expression(*operands[0])},
        position);
  }
  auto const operation = logic.boolop == PG_QUERY__BOOL_EXPR_TYPE__AND_EXPR
                             ? syntax::binary_operator::logical_and
                             : syntax::binary_operator::logical_or;
  syntax::expression_ptr chain;
  for (std::size_t i = 0; i < operands.size(); ++i) {
    level const deeper(*this, position, operands.size() - std::max<std::size_t>(i, 1));
    auto operand = convert_expression(*operands[i]);
    chain = i == 0
                ? std::move(operand)
                : make(syntax::binary{operation, std::move(chain), std::move(operand)}, position);
  }
  return chain;
}

syntax::expression_ptr converter::convert_case(PgQuery__CaseExpr const& cases) {
  syntax::case_expression result;
  result.operand = convert_optional(cases.arg);
  for (PgQuery__Node const* const each : QD_NODES(cases, args)) {
    auto condition = convert_expression(*each->case_when->expr);
    auto value = convert_expression(*each->case_when->result);
    result.branches.push_back({std::move(condition), std::move(value)});
  }
  result.otherwise = convert_optional(cases.defresult);
  return make(std::move(result), place(cases.location));
}

syntax::expression_ptr converter::convert_call(PgQuery__FuncCall const& call) {
  text_position const position = place(call.location);
  // Calls in a syntax of their own: EXTRACT(YEAR FROM a), a AT TIME ZONE b, a IS NORMALIZED.
  if (call.funcformat != PG_QUERY__COERCION_FORM__COERCE_EXPLICIT_CALL) {
    refuse(construct_at(position) + " is", position);
  }
  refuse_if(call.n_funcname != 1, "the schema of a function is", position);
  refuse_if(call.over != nullptr, "window functions are", position);
  refuse_if(call.agg_within_group, "WITHIN GROUP is", position);
  refuse_if(call.n_agg_order > 0, "ORDER BY in an aggregate is", position);
  refuse_if(call.agg_filter != nullptr, "FILTER of an aggregate is", position);
  refuse_if(call.func_variadic, "VARIADIC is", position);
  syntax::function_call result;
  result.name = string_of(*call.funcname[0]);
  result.arguments = convert_expressions(QD_NODES(call, args));
  result.star = call.agg_star;
  result.distinct = call.agg_distinct;
  return make(std::move(result), position);
}

syntax::expression_ptr converter::convert_null_test(PgQuery__NullTest const& test) {
  text_position const position = place(test.location);
  refuse_if(test.argisrow, "IS NULL of rows is", position);
  bool const negated = test.nulltesttype == PG_QUERY__NULL_TEST_TYPE__IS_NOT_NULL;
  return make(syntax::is_test{syntax::test::null, negated, convert_expression(*test.arg)},
              position);
}

syntax::expression_ptr converter::convert_boolean_test(PgQuery__BooleanTest const& test) {
  text_position const position = place(test.location);
  auto const make_test = [&](syntax::test what, bool negated) {
    return make(syntax::is_test{what, negated, convert_expression(*test.arg)}, position);
  };
  switch (test.booltesttype) {
    case PG_QUERY__BOOL_TEST_TYPE__IS_TRUE:
      return make_test(syntax::test::true_value, false);
    case PG_QUERY__BOOL_TEST_TYPE__IS_NOT_TRUE:
      return make_test(syntax::test::true_value, true);
    case PG_QUERY__BOOL_TEST_TYPE__IS_FALSE:
      return make_test(syntax::test::false_value, false);
    case PG_QUERY__BOOL_TEST_TYPE__IS_NOT_FALSE:
      return make_test(syntax::test::false_value, true);
    case PG_QUERY__BOOL_TEST_TYPE__IS_UNKNOWN:
      return make_test(syntax::test::unknown, false);
    case PG_QUERY__BOOL_TEST_TYPE__IS_NOT_UNKNOWN:
      return make_test(syntax::test::unknown, true);
    default:
      refuse("this test is", position);
  }
}

void converter::refuse_subquery(PgQuery__SubLink const& subquery) {
  text_position const position = place(subquery.location);
  switch (subquery.sub_link_type) {
    case PG_QUERY__SUB_LINK_TYPE__EXISTS_SUBLINK:
      refuse("EXISTS is", position);
    case PG_QUERY__SUB_LINK_TYPE__ANY_SUBLINK:
      refuse(subquery.n_oper_name == 0 ? "IN (SELECT ...) is" : "ANY (SELECT ...) is", position);
    case PG_QUERY__SUB_LINK_TYPE__ALL_SUBLINK:
      refuse("ALL (SELECT ...) is", position);
    case PG_QUERY__SUB_LINK_TYPE__ARRAY_SUBLINK:
      refuse("arrays are", position);
    default:
      refuse("scalar subqueries are", position);
  }
}

void converter::refuse_expression(PgQuery__Node const& node) {
  text_position const position = place_of(node);
  switch (node.node_case) {
    case PG_QUERY__NODE__NODE_SUB_LINK:
      refuse_subquery(*node.sub_link);
    case PG_QUERY__NODE__NODE_ROW_EXPR:
      refuse("row constructors are", position);
    case PG_QUERY__NODE__NODE_A_ARRAY_EXPR:
      refuse("arrays are", position);
    case PG_QUERY__NODE__NODE_A_INDIRECTION:
      refuse("a subscript, or a field of an expression, is", position);
    case PG_QUERY__NODE__NODE_COLLATE_CLAUSE:
      refuse("COLLATE is", position);
    case PG_QUERY__NODE__NODE_SET_TO_DEFAULT:
      refuse("DEFAULT is", position);
    case PG_QUERY__NODE__NODE_NAMED_ARG_EXPR:
      refuse("named arguments are", position);
    case PG_QUERY__NODE__NODE_GROUPING_SET:
      refuse("GROUPING SETS, CUBE, ROLLUP and () are", position);
    case PG_QUERY__NODE__NODE_MULTI_ASSIGN_REF:
      refuse("assigning to several columns at once is", position);
    case PG_QUERY__NODE__NODE_CURRENT_OF_EXPR:
      refuse("CURRENT OF is", place_of_name("current", statement_begin()));
    default:
      // What has a syntax of its own: GREATEST, CURRENT_DATE, GROUPING, XMLELEMENT, IS DOCUMENT.
      refuse((position == no_position ? "this expression" : construct_at(position)) + " is",
             position);
  }
}

}  // namespace qd::sql
