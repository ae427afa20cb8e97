// Names with arguments: functions and aggregates.
#include <algorithm>

#include "db_string/string_encoder.h"
#include "physical_queryplan/query_plan.h"
#include "sql/bind/expression_binder.h"

namespace qd::sql {

using algebra::Expression;
using algebra::kind;
namespace plan = physical_queryplan::QueryPlan;

namespace {

void check_count(syntax::function_call const& call, std::size_t least, std::size_t most,
                 text_position position) {
  if (call.star || call.distinct) {
    refuse_kind(call.name + " takes neither * nor DISTINCT", position);
  }
  if (call.arguments.size() < least || call.arguments.size() > most) {
    std::string count = std::to_string(least);
    if (least != most) count += " to " + std::to_string(most);
    refuse_kind(call.name + " takes " + count + (most == 1 ? " argument" : " arguments"), position);
  }
}

struct named_aggregate {
  char const* name;
  algebra::aggregate_function function;
};
constexpr named_aggregate aggregates[] = {
    {"sum", algebra::aggregate_function::sum}, {"count", algebra::aggregate_function::count},
    {"max", algebra::aggregate_function::max}, {"min", algebra::aggregate_function::min},
    {"avg", algebra::aggregate_function::avg},
};

named_aggregate const* find_aggregate(std::string const& name) {
  auto const* const found =
      std::find_if(std::begin(aggregates), std::end(aggregates),
                   [&](named_aggregate const& candidate) { return candidate.name == name; });
  return found == std::end(aggregates) ? nullptr : found;
}

}  // namespace

Expression expression_binder::bind_content(syntax::function_call const& call,
                                           surroundings const& around, text_position position) {
  if (find_aggregate(call.name)) return bind_aggregate(call, around, position);
  if (call.name == "coalesce") {
    check_count(call, 1, max_list_items, position);
    std::vector<Expression> values = bind_all(call.arguments, around);
    kind const common = unify(values, "the arguments of coalesce", position);
    Expression value = std::move(values.back());
    if (algebra::kind_of(value) != common) value = converted(std::move(value), common);
    for (std::size_t i = values.size() - 1; i-- > 0;) {
      note_copies(values[i], 1, position);
      Expression present = algebra::null_test(true, values[i]);
      value =
          algebra::conditional(common, std::move(present), std::move(values[i]), std::move(value));
    }
    return value;
  }
  if (call.name == "nullif") {
    check_count(call, 2, 2, position);
    Expression value = bind(*call.arguments[0], around);
    Expression other = bind(*call.arguments[1], around);
    value = with_kind(std::move(value), algebra::kind_of(other));
    // Of two parameters nothing tells a kind.
    value = with_kind(std::move(value), kind::text);
    kind const own = algebra::kind_of(value);
    note_copies(value, 1, position);
    Expression same = compared(algebra::comparison::equal, value, std::move(other), position);
    return algebra::conditional(own, std::move(same), algebra::null_literal(), std::move(value));
  }
  if (call.name == "concat") {
    check_count(call, 1, max_list_items, position);
    std::vector<Expression> texts = bind_all(call.arguments, around);
    for (Expression& text : texts) text = as_text(std::move(text), "concat", position);
    return algebra::concatenate(std::move(texts));
  }
  if (call.name == "starts_with") {
    check_count(call, 2, 2, position);
    Expression text = as_text(bind(*call.arguments[0], around), "starts_with", position);
    Expression prefix = as_text(bind(*call.arguments[1], around), "starts_with", position);
    return algebra::starts_with(std::move(text), std::move(prefix));
  }
  if (call.name == "xor") {
    check_count(call, 2, 2, position);
    Expression left = as_boolean(bind(*call.arguments[0], around), "xor", position);
    Expression right = as_boolean(bind(*call.arguments[1], around), "xor", position);
    return algebra::logical_xor(std::move(left), std::move(right));
  }
  if (call.name == "oid" || call.name == "is_a") {
    std::size_t const count = call.name == "oid" ? 1 : 2;
    check_count(call, count, count, position);
    Expression object = with_kind(bind(*call.arguments[0], around), kind::reference);
    kind const own = algebra::kind_of(object);
    if (own != kind::reference && own != kind::null) {
      refuse_kind(call.name + " takes a reference, not " + algebra::kind_name(own), position);
    }
    if (call.name == "oid") return algebra::oid_of(std::move(object));
    syntax::expression const& named = *call.arguments[1];
    auto const* const name = std::get_if<syntax::text_literal>(&named.content);
    if (!name) refuse_kind("is_a takes the name of a class as a text", named.position);
    table_info const* const table =
        context_.catalogue.find(context_.reader, encoder::utf8_to_utf16(name->text));
    if (!table) {
      throw error(error_code::unknown_name, "there is no table " + name->text, named.position);
    }
    operator_library::SetSpecifier specifier{table->table.SetSpecifier()};
    return algebra::is_a(std::move(object), plan::Constant(std::move(specifier)));
  }
  std::vector<std::string> known = {"coalesce", "nullif", "concat", "starts_with",
                                    "xor",      "oid",    "is_a"};
  for (named_aggregate const& aggregate : aggregates) known.emplace_back(aggregate.name);
  throw error(error_code::unknown_name,
              "there is no function " + call.name + suggestion(call.name, known), position);
}

Expression expression_binder::bind_aggregate(syntax::function_call const& call,
                                             surroundings const& around, text_position position) {
  if (!around.aggregates) {
    throw error(error_code::bad_grouping,
                "an aggregate cannot stand in " + std::string(around.place), position);
  }
  // Aggregates of aggregates have no meaning.
  surroundings const inside{around.visible, nullptr, "the argument of an aggregate"};
  algebra::aggregate_function function = find_aggregate(call.name)->function;
  std::string name = call.name;
  if (call.star) {
    if (function != algebra::aggregate_function::count || call.distinct) {
      refuse_kind("only count takes *", position);
    }
    name = "count(*)";
  } else if (call.arguments.empty()) {
    refuse_kind(call.name + " takes an argument", position);
  } else if (call.distinct && function == algebra::aggregate_function::count) {
    function = algebra::aggregate_function::count_distinct;
    name = "count distinct";
  } else if (call.arguments.size() > 1) {
    refuse_kind(call.name + " takes one argument", position);
  } else if (call.distinct && function != algebra::aggregate_function::min &&
             function != algebra::aggregate_function::max) {
    throw error(error_code::not_supported, call.name + "(DISTINCT ...) is not supported", position);
  }
  std::vector<Expression> arguments = bind_all(call.arguments, inside);
  for (Expression& argument : arguments) {
    argument = with_kind(std::move(argument), kind::signed_integer);
    if (algebra::kind_of(argument) == kind::null)
      argument = converted(std::move(argument), kind::signed_integer);
  }

  for (collected_aggregates::origin const& known : around.aggregates->origins) {
    if (known.function == name &&
        std::equal(known.arguments.begin(), known.arguments.end(), arguments.begin(),
                   arguments.end(), [](Expression const& left, Expression const& right) {
                     return algebra::equal(left, right);
                   })) {
      return physical_queryplan::AsExpression(known.output);
    }
  }
  kind result = kind::signed_integer;
  if (!arguments.empty()) {
    result = algebra::aggregate_result(function, algebra::kind_of(arguments[0]));
    if (result == kind::null) {
      refuse_kind(
          "there is no " + call.name + " of " + algebra::kind_name(algebra::kind_of(arguments[0])),
          position);
    }
  }
  algebra::PhysicalVariable const output = new_value(result);
  if (result == kind::reference) {
    note_referenced_class(output, referenced_class(arguments[0]));
  }
  around.aggregates->origins.push_back({name, arguments, output});
  if (arguments.empty()) {
    around.aggregates->aggregates.push_back(algebra::count_rows(output));
  } else if (arguments.size() > 1) {
    around.aggregates->aggregates.push_back(
        algebra::count_distinct_rows(std::move(arguments), output));
  } else {
    around.aggregates->aggregates.push_back(
        algebra::aggregate_of(function, std::move(arguments[0]), output));
  }
  return physical_queryplan::AsExpression(output);
}

}  // namespace qd::sql
