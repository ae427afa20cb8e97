#include "random/plan_generator.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace random_plans {

namespace plan = physical_queryplan::QueryPlan;
namespace ops = operator_library;
using physical_queryplan::AsExpression;
using reference::kind;

namespace {

struct tree {
  PredicateVariant plan;
  scope variables;  // What its rows hold.
};

scope operator+(scope left, scope const& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

}  // namespace

// The generator of one plan: one function per alternative.
class plan_generator::one_plan {
 public:
  one_plan(plan_generator const& over, choices& pick,
           std::vector<reference::value> const& parameters)
      : over_(over), data_(over.data_), pick_(pick), expressions_(pick, data_, parameters) {}

  PredicateVariant make() {
    tree child = node(4, {}, true);
    return transform(std::move(child)).plan;
  }

 private:
  tree node(int depth, scope const& outer, bool transforms) {
    if (depth == 0) return leaf(outer);
    switch (pick_.below(17)) {
      case 0:
      case 1:
        return leaf(outer);
      case 2:
      case 3:
        return filter(node(depth - 1, outer, transforms), outer);
      case 4:
      case 5:
        return extend(node(depth - 1, outer, transforms), outer);
      case 6:
      case 7:
        return sorted(node(depth - 1, outer, transforms), outer);
      case 8:
        return cut(node(depth - 1, outer, transforms), outer);
      case 9:
      case 10:
        return aggregation(node(depth - 1, outer, transforms), outer);
      case 11:
        return both(node(depth - 1, outer, transforms), outer, transforms);
      case 12:
        return full_join(depth, outer, transforms);
      case 13:
      case 14:
        return join<shared_classes::Inner>(depth, outer, transforms);
      case 15:
        return join<shared_classes::Left>(depth, outer, transforms);
      default: {
        tree child = node(depth - 1, outer, transforms);
        return transforms ? transform(std::move(child)) : child;
      }
    }
  }

  tree leaf(scope const& outer) {
    if (pick_.rarely(6)) return assignment(outer);
    std::size_t const position = pick_.below(static_cast<std::uint32_t>(data_.classes.size()));
    shared_classes::Position const place{next_number(), 1};
    TableVariable const variable{over_.tables_[position], {place, place}};
    return scan(variable, data_.classes[position].name, outer);
  }

  tree scan(TableVariable const& variable, std::u16string const& class_name, scope const& outer) {
    std::vector<reference::index const*> usable;
    for (reference::index const& each : data_.indexes) {
      if (each.class_name == class_name) usable.push_back(&each);
    }
    reference::index const& used = *pick_.one_of(usable);
    plan::Scan result{variable, meta_data::Index{used.record}, {}, !pick_.rarely(3)};
    for (reference::index_column const& column : used.columns) {
      if (pick_.below(3) != 2) break;
      kind const of = data_.class_named(class_name).columns[column.column].of;
      result.bounds.push_back(column_bounds(of, outer));
    }
    return {std::move(result), {{variable, reference::of_object, class_name}}};
  }

  plan::Scan::ColBounds column_bounds(kind of, scope const& outer) {
    plan::Scan::ColBounds result;
    for (std::uint32_t count = pick_.below(3); count > 0; --count) {
      // A number of another kind narrows to the values of the column's own.
      kind const other =
          reference::is_numeric(of) && pick_.rarely(3) ? expressions_.numeric_kind() : of;
      plan::Scan::Bound bound{expressions_.make(other, outer, 1), !pick_.rarely(4)};
      bool const is_text = of == reference::of_string || of == reference::of_set_specifier;
      if ((is_text && pick_.rarely(3)) || pick_.rarely(200)) {
        result.starts_with.insert(std::move(bound));
        continue;
      }
      std::array<std::set<plan::Scan::Bound>*, 5> const sets{&result.greater_or_equal,
                                                             &result.less_or_equal, &result.equal,
                                                             &result.greater, &result.less};
      pick_.one_of(sets)->insert(std::move(bound));
    }
    return result;
  }

  tree assignment(scope const& outer) {
    kind const of = expressions_.any_kind(outer);
    PhysicalVariable const variable = derived_variable(of, next_number());
    return {plan::GenerativeAssignment{expressions_.make(of, outer, 2), variable},
            {{variable, of}}};
  }

  tree filter(tree child, scope const& outer) {
    Expression condition = expressions_.make(reference::of_bool, outer + child.variables, 3);
    return {plan::Filter{std::move(condition), std::move(child.plan)}, std::move(child.variables)};
  }

  // The output variables of a Transform: mostly some of the child's, in any order.
  tree transform(tree child) {
    scope const all = expressions_.readable(child.variables);
    scope outputs;
    for (std::uint32_t count = 1 + pick_.below(4); count > 0 && !all.empty(); --count) {
      scope_variable const& chosen = pick_.one_of(all);
      bool const fits = chosen.of != reference::of_set_specifier && chosen.of != reference::of_null;
      if (fits || pick_.rarely(40)) outputs.push_back(chosen);
    }
    if (pick_.rarely(8)) outputs = child.variables;  // Nothing changes: no node is built.
    plan::Transform result{{}, std::move(child.plan)};
    for (scope_variable const& each : outputs)
      result.outputs.push_back(AsExpression(each.variable));
    if (pick_.rarely(300)) {
      result.outputs.push_back(expressions_.make(reference::of_signed, {}, 1));  // Not a variable.
    }
    return {std::move(result), std::move(outputs)};
  }

  tree extend(tree child, scope const& outer) {
    plan::Extend result{{}, std::move(child.plan)};
    // What an alias adds is not in scope for the next one.
    scope const below = child.variables;
    scope const visible = outer + below;
    for (std::uint32_t count = 1 + pick_.below(2); count > 0; --count) {
      scope_variable added = alias(below);
      std::optional<Expression> expression = materialised(added);
      if (!expression) {
        added.of = pick_.rarely(25) ? reference::of_null : expressions_.any_kind(visible);
        added.variable = derived_variable(added.of, next_number());
        expression = expressions_.make(added.of, visible, 3);
      }
      result.aliases.push_back({std::move(*expression), added.variable});
      child.variables.push_back(std::move(added));
    }
    return {std::move(result), std::move(child.variables)};
  }

  // A stored column under its own name, or an object that a reference column refers to, of a table
  // variable of the child.
  scope_variable alias(scope const& variables) {
    for (scope_variable const& each : variables) {
      auto const* const table = std::get_if<TableVariable>(&each.variable);
      if (!table || !pick_.rarely(3)) continue;
      auto const& columns = data_.class_named(each.class_name).columns;
      std::size_t const position = 3 + pick_.below(static_cast<std::uint32_t>(columns.size() - 3));
      reference::column const& column = columns[position];
      if (column.of != reference::of_object) {
        return expressions_.column(*table, each.class_name, position);
      }
      TableVariable const reached{table_of(column.referenced), table->location,
                                  plan::Path{*table, {meta_data::Column{column.record}}}};
      return {reached, reference::of_object, column.referenced};
    }
    return {derived_variable(reference::of_null, 0), reference::of_null};
  }

  // What such an alias holds; none for a computed value.
  std::optional<Expression> materialised(scope_variable const& of) {
    if (auto const* const reached = std::get_if<TableVariable>(&of.variable)) {
      plan::Path const& path = **reached->path;
      return plan::Column<QD_OBJ_REF>{path.columns.front(), path.source};
    }
    if (of.variable.index() < 10) return AsExpression(of.variable);
    return std::nullopt;
  }

  tree sorted(tree child, scope const& outer) {
    plan::OrderBy result{{}, std::move(child.plan)};
    scope const visible = outer + child.variables;
    for (std::uint32_t count = 1 + pick_.below(3); count > 0; --count) {
      bool const ascending = pick_.below(2) == 0;
      kind const of = expressions_.any_kind(child.variables);
      result.keys.push_back({ascending, expressions_.make(of, visible, 1)});
    }
    return {std::move(result), std::move(child.variables)};
  }

  tree cut(tree child, scope const& outer) {
    plan::LimitOffset result{{}, {}, std::move(child.plan)};
    auto const count = [&](unsigned greatest) -> Expression {
      if (pick_.rarely(8)) return expressions_.make(expressions_.numeric_kind(), outer, 1);
      long const rows = 1 + pick_.below(greatest);
      static std::array<kind, 3> const kinds{reference::of_unsigned, reference::of_signed,
                                             reference::of_decimal};
      switch (pick_.one_of(kinds)) {
        case reference::of_unsigned:
          return to_literal(static_cast<unsigned long>(rows));
        case reference::of_signed:
          return to_literal(rows);
        default:
          return to_literal(reference::decimal{rows * 1'000'000 + 500'000});
      }
    };
    if (pick_.rarely(40)) {
      result.limit = no_count();
      result.offset = no_count();  // The limit's error wins.
    } else {
      if (pick_.below(4) != 0) result.limit = count(8);
      if (pick_.rarely(3)) result.offset = count(3);
    }
    return {std::move(result), std::move(child.variables)};
  }

  // What is refused as a number of rows, each for a reason of its own.
  Expression no_count() {
    static std::array<reference::value, 4> const refused{
        reference::value(-1L), reference::null_value(), std::u16string(u"a"),
        reference::value(std::numeric_limits<double>::quiet_NaN())};
    return to_literal(pick_.one_of(refused));
  }

  // Another way to rows of the same variables behind the first.
  tree both(tree left, scope const& outer, bool transforms) {
    tree right = left;
    auto const* const scanned = std::get_if<plan::Scan>(&left.plan.variant);
    auto const* const assigned = std::get_if<plan::GenerativeAssignment>(&left.plan.variant);
    if (scanned && pick_.below(2) == 0) {
      right = scan(scanned->table_variable, left.variables.front().class_name, outer);
    } else if (assigned && pick_.below(2) == 0) {
      right.plan = plan::GenerativeAssignment{
          expressions_.make(left.variables.front().of, outer, 2), assigned->variable};
    } else {
      switch (pick_.below(4)) {
        case 0:
          right = filter(std::move(right), outer);
          break;
        case 1:
          right = sorted(std::move(right), outer);
          break;
        case 2:
          if (transforms) right = narrowed(extend(right, outer), right.variables);
          break;
        default:
          break;
      }
    }
    if (pick_.rarely(300)) {
      right = leaf(outer);  // Of other variables: refused.
    }
    return {plan::Union{std::move(left.plan), std::move(right.plan)}, std::move(left.variables)};
  }

  static tree narrowed(tree child, scope const& to) {
    plan::Transform result{{}, std::move(child.plan)};
    for (scope_variable const& each : to) result.outputs.push_back(AsExpression(each.variable));
    return {std::move(result), to};
  }

  template <typename Kind>
  tree join(int depth, scope const& outer, bool transforms) {
    tree left = node(depth - 1, outer, transforms);
    tree right = node(narrower(depth), outer + left.variables, false);
    return {plan::Join<Kind>{std::move(left.plan), std::move(right.plan)},
            left.variables + right.variables};
  }

  tree full_join(int depth, scope const& outer, bool transforms) {
    tree left = node(depth - 1, outer, transforms);
    tree right = node(narrower(depth), outer, transforms);
    scope variables = left.variables + right.variables;
    plan::FullJoin result{{}, std::move(left.plan), std::move(right.plan)};
    if (pick_.below(3) != 2) {
      result.condition = expressions_.make(reference::of_bool, outer + variables, 2);
    }
    return {std::move(result), std::move(variables)};
  }

  // Right sides are smaller: they are enumerated once per left row.
  static int narrower(int depth) { return std::max(0, depth - 2); }

  tree aggregation(tree child, scope const& outer) {
    scope const visible = outer + child.variables;
    plan::Aggregation result{{}, {}, std::move(child.plan)};
    scope variables;
    for (std::uint32_t count = 1 + pick_.below(3); count > 0; --count) {
      result.aggregates.push_back(aggregate(visible, child.variables, variables));
    }
    if (pick_.below(3) != 0) {
      for (std::uint32_t count = 1 + pick_.below(2); count > 0; --count) {
        result.group_by.push_back(group_key(visible, child.variables, variables));
      }
    }
    return {std::move(result), std::move(variables)};
  }

  plan::Alias group_key(scope const& visible, scope const& variables, scope& outputs) {
    scope const all = expressions_.readable(variables);
    if (!all.empty() && pick_.below(2) == 0) {
      // A variable under its own name.
      scope_variable const& chosen = pick_.one_of(all);
      outputs.push_back(chosen);
      return {AsExpression(chosen.variable), chosen.variable};
    }
    kind const of = expressions_.any_kind(variables);
    PhysicalVariable const variable = derived_variable(of, next_number());
    outputs.push_back({variable, of});
    return {expressions_.make(of, visible, 2), variable};
  }

  template <typename Tag>
  plan::AggregateVariant described(std::vector<Expression> arguments, kind result, scope& outputs,
                                   typename Tag::signature signature = {}) {
    PhysicalVariable const variable = derived_variable(result, next_number());
    outputs.push_back({variable, result});
    plan::AggregateOperator<Tag> aggregate{signature, std::move(arguments), {}};
    std::visit(
        [&]<typename T>(T const& output) {
          if constexpr (std::is_assignable_v<decltype(aggregate.output)&, T>) {
            aggregate.output = output;
          }
        },
        variable);
    return aggregate;
  }

  plan::AggregateVariant aggregate(scope const& visible, scope const& variables, scope& outputs) {
    kind const any = expressions_.any_kind(variables);
    std::uint32_t const function = pick_.below(10);
    switch (function) {
      case 0:
        return described<ops::CountStar>({}, reference::of_signed, outputs);
      case 1:
        return described<ops::Count>({expressions_.make(any, visible, 1)}, reference::of_signed,
                                     outputs);
      case 2:
      case 3: {
        kind const of = expressions_.numeric_kind();
        kind const result = of == reference::of_unsigned ? reference::of_signed : of;
        return described<ops::Sum>({expressions_.make(of, visible, 2)}, result, outputs);
      }
      case 4:
        return described<ops::Max>({expressions_.make(any, visible, 1)}, any, outputs);
      case 5:
        return described<ops::Min>({expressions_.make(any, visible, 1)}, any, outputs);
      case 6: {
        using signature = ops::Avg::signature;
        bool const of_decimals = pick_.below(2) == 1;
        kind const of = of_decimals ? reference::of_decimal : reference::of_signed;
        return described<ops::Avg>(
            {expressions_.make(of, visible, 1)}, reference::of_decimal, outputs,
            of_decimals ? signature(std::in_place_index<1>) : signature(std::in_place_index<0>));
      }
      case 7: {
        using signature = ops::Avg::signature;
        kind const of = pick_.below(3) == 0 ? expressions_.numeric_kind() : reference::of_double;
        return described<ops::Avg>({expressions_.make(of, visible, 1)}, reference::of_double,
                                   outputs, signature(std::in_place_index<2>));
      }
      case 8:
        return described<ops::CountDistinctSingle>({expressions_.make(any, visible, 1)},
                                                   reference::of_unsigned, outputs);
      default: {
        std::vector<Expression> arguments;
        arguments.push_back(expressions_.make(any, visible, 1));
        arguments.push_back(expressions_.make(expressions_.any_kind(variables), visible, 1));
        return described<ops::CountDistinctVariadric>(std::move(arguments), reference::of_unsigned,
                                                      outputs);
      }
    }
  }

  meta_data::Table const& table_of(std::u16string const& class_name) const {
    for (std::size_t i = 0; i < data_.classes.size(); ++i) {
      if (data_.classes[i].name == class_name) return over_.tables_[i];
    }
    throw std::logic_error("no such class");
  }

  std::int32_t next_number() { return ++numbers_; }

  plan_generator const& over_;
  reference::database const& data_;
  choices& pick_;
  expression_generator expressions_;
  std::int32_t numbers_ = 0;  // Of table variables and derived values.
};

plan_generator::plan_generator(reference::database const& data) : data_(data) {
  for (auto const& each : data.classes) tables_.emplace_back(each.record);
}

generated_plan plan_generator::make(choices& pick) const {
  std::vector<reference::value> parameters;
  static std::array<kind, 6> const kinds{reference::of_signed,   reference::of_string,
                                         reference::of_unsigned, reference::of_decimal,
                                         reference::of_double,   reference::of_bool};
  for (kind const of : kinds) parameters.push_back(random_value(pick, of, data_));
  one_plan maker(*this, pick, parameters);
  PredicateVariant made = maker.make();
  return {std::move(made), std::move(parameters)};
}

}  // namespace random_plans
