#include "faults/sample_plans.h"

#include <utility>

#include "physical_queryplan/build.h"
#include "support/kinds_database.h"

namespace sample_plans {

namespace build = physical_queryplan::build;
namespace ops = operator_library;
using namespace physical_queryplan::QueryPlan;
using db_string::dt_string;
using kinds_database::other;
using kinds_database::special;
using kinds_database::thing;
using ops::Binary;
using ops::Decimal;
using ops::NullValue;
using qd::embedded::null;
using qd::embedded::object_id;

namespace {

// Longer than what a string holds without memory of its own.
constexpr char16_t const* long_name =
    u"a name that is longer than the shortest texts, \u00e9\u20ac";

Expression as_set_specifier(std::u16string const& class_name) {
  return build::cast<ops::SetSpecifier, dt_string>(build::text(class_name));
}

// Computes values behind the child's rows, and leaves only them.
struct computed_columns {
  std::vector<Alias> aliases;
  std::vector<Expression> outputs;

  template <typename T>
  void add(Expression expression) {
    Derived<T> const variable = build::derived<T>(static_cast<std::int32_t>(outputs.size()));
    aliases.push_back({std::move(expression), variable});
    outputs.push_back(variable);
  }
  PredicateVariant over(PredicateVariant child) {
    return build::transform(std::move(outputs),
                            build::extend(std::move(aliases), std::move(child)));
  }
};

PredicateVariant scan_things(TableVariable const& things) {
  return build::scan(things, build::index(things, u"kinds.Thing.by_level"));
}

PredicateVariant every_column() {
  TableVariable const things = build::table(thing);
  std::vector<Expression> outputs{things, build::column(things, u"$set_specifier"),
                                  build::column(things, u"$self"),
                                  build::column(things, u"$class")};
  // Not the set specifier: no result column may hold one.
  outputs.erase(outputs.begin() + 1);
  for (auto const& column : kinds_database::classes()[0].columns) {
    outputs.push_back(build::column(things, column.name));
  }
  return build::transform(outputs, scan_things(things));
}

PredicateVariant logic_and_comparison() {
  TableVariable const things = build::table(thing);
  Expression const level = build::column(things, u"level");
  Expression const flag = build::column(things, u"flag");
  computed_columns columns;
  columns.add<bool>(build::operation<ops::Equal, long>(level, build::column(things, u"count")));
  columns.add<bool>(
      build::operation<ops::NotEqual, double>(build::column(things, u"weight"), level));
  columns.add<bool>(build::operation<ops::LessThan, Decimal>(build::column(things, u"price"),
                                                             build::column(things, u"ratio")));
  columns.add<bool>(build::operation<ops::LessThanOrEqual, dt_string>(
      build::column(things, u"name"), build::parameter<dt_string>(1)));
  columns.add<bool>(build::operation<ops::GreaterThan, Binary>(
      build::column(things, u"blob"), build::literal(Binary{{1, 2, 3, 4}})));
  columns.add<bool>(build::operation<ops::GreaterThanOrEqual, QD_OBJ_REF>(
      build::column(things, u"link"), things));
  columns.add<bool>(
      build::operation<ops::AndOperator>(flag, build::operation<ops::IsNullOperator, long>(level)));
  columns.add<bool>(build::operation<ops::OrOperator>(
      flag, build::operation<ops::IsNotNullOperator, dt_string>(build::column(things, u"name"))));
  columns.add<bool>(
      build::operation<ops::XorOperator>(flag, build::operation<ops::NotOperator>(flag)));
  return columns.over(scan_things(things));
}

PredicateVariant arithmetic_and_casts() {
  TableVariable const things = build::table(thing);
  Expression const level = build::column(things, u"level");
  Expression const count = build::column(things, u"count");
  Expression const price = build::column(things, u"price");
  Expression const flag = build::column(things, u"flag");
  computed_columns columns;
  columns.add<long>(build::operation<ops::PlusOperator, long>(level, count));
  columns.add<Decimal>(build::operation<ops::MinusOperator, Decimal>(price, level));
  columns.add<double>(
      build::operation<ops::MultiplyOperator, double>(build::column(things, u"weight"), price));
  columns.add<Decimal>(
      build::operation<ops::DivideOperator, Decimal>(price, build::literal(Decimal{3'000'000})));
  columns.add<float>(build::operation<ops::Negate, float>(build::column(things, u"ratio")));
  columns.add<bool>(build::cast<bool, long>(level));
  columns.add<unsigned long>(build::cast<unsigned long, bool>(flag));
  columns.add<long>(build::cast<long, Decimal>(price));
  columns.add<Decimal>(build::cast<Decimal, long>(level));
  columns.add<float>(build::cast<float, unsigned long>(count));
  columns.add<double>(build::cast<double, float>(build::column(things, u"ratio")));
  columns.add<dt_string>(build::cast<dt_string, dt_string>(build::column(things, u"name")));
  columns.add<long>(
      build::operation<ops::IfOperator, long>(flag, level, build::parameter<long>(0)));
  columns.add<dt_string>(build::operation<ops::IfOperator, dt_string>(
      flag, build::column(things, u"name"), build::text(long_name)));
  return columns.over(scan_things(things));
}

PredicateVariant texts_and_objects(QD_OBJ_REF const& an_object) {
  TableVariable const things = build::table(thing);
  TableVariable const linked = build::through(things, u"link");
  Expression const name = build::column(things, u"name");
  computed_columns columns;
  columns.add<bool>(build::operation<ops::Like>(name, build::text(u"%n_m%")));
  columns.add<bool>(build::operation<ops::StartsWith>(name, build::parameter<dt_string>(1)));
  columns.add<dt_string>(build::operation<ops::LikeStartsWith>(build::text(u"prefix%")));
  columns.add<dt_string>(build::operation<ops::Concat>(name, build::text(u", "), name));
  columns.add<bool>(build::operation<ops::Is>(things, as_set_specifier(std::u16string(special))));
  columns.add<unsigned long>(build::operation<ops::Oid>(build::literal(an_object)));
  columns.add<dt_string>(build::column(linked, u"name"));
  columns.add<unsigned long>(build::operation<ops::Oid>(linked));
  return columns.over(
      build::extend({{build::column(things, u"link"), linked}}, scan_things(things)));
}

PredicateVariant bounded_scans() {
  TableVariable const things = build::table(thing);
  Scan::ColBounds name_bounds;
  name_bounds.starts_with = {build::bound(build::parameter<dt_string>(1))};
  Scan::ColBounds level_bounds;
  level_bounds.greater_or_equal = {build::bound(build::literal(-1e6))};
  level_bounds.less = {build::bound(build::literal(1000UL))};
  return build::transform({things, build::column(things, u"name")},
                          build::scan(things, build::index(things, u"kinds.Thing.by_name"),
                                      {name_bounds, level_bounds}, false));
}

PredicateVariant filtered() {
  TableVariable const specials = build::table(special);
  return build::transform(
      {build::column(specials, u"note"), build::column(specials, u"name")},
      build::filter(
          build::operation<ops::Is>(specials, build::column(specials, u"$set_specifier")),
          build::scan(specials, build::index(specials, u"kinds.Special.by_note"), {}, false)));
}

// Others with the things of their level, whose scan takes its bound from the left row.
template <typename Kind>
PredicateVariant correlated_join() {
  TableVariable const others = build::table(other);
  TableVariable const things = build::table(thing, 2);
  Scan::ColBounds level_bounds;
  level_bounds.equal = {build::bound(build::column(others, u"level"))};
  return build::transform(
      {build::column(others, u"name"), build::column(things, u"name")},
      Join<Kind>{build::scan(others, build::index(others, u"kinds.Other.by_level")),
                 build::filter(build::operation<ops::LessThan, dt_string>(
                                   build::column(others, u"name"), build::column(things, u"name")),
                               build::scan(things, build::index(things, u"kinds.Thing.by_level"),
                                           {level_bounds}))});
}

PredicateVariant full_join(bool with_condition) {
  TableVariable const others = build::table(other);
  TableVariable const specials = build::table(special, 2);
  FullJoin join{{},
                build::scan(others, build::index(others, u"kinds.Other.by_level")),
                build::scan(specials, build::index(specials, u"kinds.Special.extent"))};
  if (with_condition) {
    join.condition = build::operation<ops::Equal, QD_OBJ_REF>(build::column(others, u"target"),
                                                              build::column(specials, u"link"));
  }
  return build::transform({build::column(others, u"name"), build::column(specials, u"note")},
                          std::move(join));
}

template <typename Tag>
AggregateOperator<Tag> aggregate(std::vector<Expression> arguments,
                                 decltype(AggregateOperator<Tag>::output) output) {
  return {{}, std::move(arguments), std::move(output)};
}

PredicateVariant aggregated(bool grouped) {
  TableVariable const things = build::table(thing);
  Expression const level = build::column(things, u"level");
  Expression const name = build::column(things, u"name");
  auto exact_average = aggregate<ops::Avg>({level}, build::derived<Decimal>(6));
  auto average = aggregate<ops::Avg>({build::column(things, u"weight")}, build::derived<double>(7));
  average.signature.emplace<2>();
  Aggregation groups{
      {aggregate<ops::Sum>({build::column(things, u"price")}, build::derived<Decimal>(1)),
       aggregate<ops::Count>({level}, build::derived<long>(2)),
       aggregate<ops::CountStar>({}, build::derived<long>(3)),
       aggregate<ops::Max>({name}, build::derived<dt_string>(4)),
       aggregate<ops::Min>({name}, build::derived<dt_string>(5)), std::move(exact_average),
       std::move(average),
       aggregate<ops::CountDistinctSingle>({name}, build::derived<unsigned long>(8)),
       aggregate<ops::CountDistinctVariadric>({name, level}, build::derived<unsigned long>(9))},
      {},
      scan_things(things)};
  std::vector<Expression> outputs;
  for (auto const& each : groups.aggregates) {
    std::visit(
        [&](auto const& described) {
          std::visit([&](auto const& variable) { outputs.push_back(variable); }, described.output);
        },
        each);
  }
  if (grouped) {
    auto const key = build::derived<bool>(10);
    groups.group_by = {{build::column(things, u"flag"), key},
                       {build::column(things, u"blob"), build::derived<Binary>(11)}};
    outputs.push_back(key);
  }
  return build::transform(std::move(outputs), std::move(groups));
}

PredicateVariant sorted_union_with_limit() {
  TableVariable const things = build::table(thing);
  Expression const name = build::column(things, u"name");
  PredicateVariant const by_price =
      build::scan(things, build::index(things, u"kinds.Thing.by_price"));
  PredicateVariant sorted =
      OrderBy{{{false, name}, {true, build::operation<ops::Concat>(name, name)}},
              PredicateVariant(Union{scan_things(things), by_price})};
  return build::transform(
      {name}, LimitOffset{build::literal(10L), build::parameter<long>(0), std::move(sorted)});
}

PredicateVariant skipped_rows() {
  TableVariable const things = build::table(thing);
  return build::transform(
      {build::column(things, u"name")},
      LimitOffset{build::literal(2L), build::literal(3UL), scan_things(things)});
}

PredicateVariant one_row() {
  auto const text = build::derived<dt_string>(1);
  return build::transform(
      {text}, GenerativeAssignment{build::operation<ops::Concat>(build::text(long_name),
                                                                 build::parameter<dt_string>(1)),
                                   text});
}

PredicateVariant cross_product(Expression const& condition) {
  auto const scan_others = [](int occurrence) {
    TableVariable const others = build::table(other, occurrence);
    return build::scan(others, build::index(others, u"kinds.Other.extent"));
  };
  PredicateVariant right = Join<shared_classes::Inner>{scan_others(2), scan_others(3)};
  return build::filter(condition, Join<shared_classes::Inner>{scan_others(1), std::move(right)});
}

}  // namespace

sample_database make_database() {
  auto database = qd::embedded::database::open_temporary({.capacity_bytes = 1UL << 28});
  auto write = database.begin_write();
  kinds_database::define(write);
  unsigned char const bytes[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17};
  std::vector<object_id> things;
  for (int i = 0; i < 9; ++i) {
    std::vector<qd::embedded::column_value> columns{
        {u"flag", i % 2 == 0},
        {u"name", i < 3        ? long_name
                  : i % 2 == 0 ? u"a name"
                               : u"another name"},
        {u"count", i},
        {u"level", i - 3},
        {u"price", qd::embedded::decimal{i * 1'500'000L}},
        {u"weight", i / 4.0},
        {u"ratio", static_cast<float>(i) / 2},
        {u"blob", qd::embedded::binary_view(bytes, static_cast<std::size_t>(i) * 2)}};
    if (!things.empty()) columns.push_back({u"link", things[things.size() / 2]});
    if (i % 3 == 2) columns.push_back({u"extra", i});
    if (i == 5) columns.push_back({u"note", long_name});
    things.push_back(write.insert(i % 3 == 2 ? special : thing, columns));
  }
  write.insert(thing, {});  // Nothing but NULLs.
  for (int i = 0; i < 5; ++i) {
    write.insert(other, {{u"level", i},
                         {u"name", i == 0 ? u"a" : long_name},
                         {u"target", things[static_cast<std::size_t>(i)]}});
  }
  write.insert(other, {});
  write.commit();
  return {std::move(database), things[4]};
}

void add_many_objects(qd::embedded::database& database) {
  auto write = database.begin_write();
  auto insert = write.prepare_insert(other, {u"level", u"name"});
  for (long i = 0; i < 3000; ++i) insert.insert({i, long_name});
  write.commit();
}

std::vector<sample> all(object_id an_object) {
  // By its id alone: the address is looked up when the literal is evaluated.
  QD_OBJ_REF const reference{an_object.oid, 0};
  return {{"every column", every_column()},
          {"logic and comparison", logic_and_comparison()},
          {"arithmetic and casts", arithmetic_and_casts()},
          {"texts and objects", texts_and_objects(reference)},
          {"bounded scan", bounded_scans()},
          {"filter", filtered()},
          {"inner join", correlated_join<shared_classes::Inner>()},
          {"left join", correlated_join<shared_classes::Left>()},
          {"full join on a condition", full_join(true)},
          {"full join without a condition", full_join(false)},
          {"aggregates", aggregated(false)},
          {"groups", aggregated(true)},
          {"sorted union with a limit", sorted_union_with_limit()},
          {"skipped rows", skipped_rows()},
          {"one row", one_row()}};
}

std::vector<sample> long_running() {
  Expression const name = build::column(build::table(other, 1), u"name");
  Expression const never = build::operation<ops::NotEqual, dt_string>(name, name);
  PredicateVariant const nothing = cross_product(never);
  auto const count = build::derived<long>(1);
  PredicateVariant counted = Aggregation{{aggregate<ops::CountStar>({}, count)}, {}, nothing};
  return {{"filter", build::transform({name}, nothing)},
          {"sort", build::transform({name}, OrderBy{{{true, name}}, nothing})},
          {"aggregate", build::transform({count}, std::move(counted))}};
}

std::vector<qd::sql_executor::value> parameters() {
  return {1L, dt_string(std::u16string(u"a"), false)};
}

}  // namespace sample_plans
