#include "physical_queryplan/build.h"

#include <algorithm>

#include "error_handling/qd_exception.h"

namespace physical_queryplan::build {

using namespace QueryPlan;  // NOLINT: the functions name most of it

namespace {

std::u16string_view last_part(std::u16string_view full_name) {
  return full_name.substr(full_name.rfind(u'.') + 1);
}

meta_data::Column find_column(meta_data::Table const& table, std::u16string_view name) {
  for (meta_data::Column const& column : table.GetColumns()) {
    std::u16string const full_name = column.FullName();
    if (last_part(full_name) == name) return column;
  }
  error_handling::ThrowUnknownIdentifier(error_handling::invalid_location, name);
}

}  // namespace

TableVariable table(std::u16string_view full_name, std::int32_t occurrence) {
  std::vector<std::u16string> parts;
  for (std::size_t begin = 0; begin <= full_name.size();) {
    std::size_t const end = std::min(full_name.find(u'.', begin), full_name.size());
    parts.emplace_back(full_name.substr(begin, end - begin));
    begin = end + 1;
  }
  shared_classes::Position const place{occurrence, 1};
  return {meta_data::Table::IdentifyTable(parts, error_handling::invalid_location), {place, place}};
}

TableVariable through(TableVariable const& source, std::u16string_view column_name) {
  meta_data::Column const column = find_column(source.table, column_name);
  return {column.ReferencedTable(), source.location, Path{source, {column}}};
}

Expression column(TableVariable const& variable, std::u16string_view name) {
  meta_data::Column const found = find_column(variable.table, name);
  return std::visit(
      [&]<typename T>(meta_support::TypeIdentity<T>) -> Expression {
        return Column<T>{found, variable};
      },
      found.Type());
}

meta_data::Index index(TableVariable const& variable, std::u16string_view full_name) {
  std::vector<meta_data::Index> const indexes = variable.table.GetIndices();
  auto const found = std::find_if(indexes.begin(), indexes.end(), [&](auto const& candidate) {
    return candidate.FullName() == full_name;
  });
  if (found == indexes.end()) {
    error_handling::ThrowUnknownIdentifier(error_handling::invalid_location, full_name);
  }
  return *found;
}

PredicateVariant scan(TableVariable variable, meta_data::Index index,
                      std::vector<Scan::ColBounds> bounds, bool ascending) {
  return Scan{std::move(variable), index, std::move(bounds), ascending};
}

PredicateVariant filter(Expression condition, PredicateVariant child) {
  return Filter{std::move(condition), std::move(child)};
}

PredicateVariant extend(std::vector<Alias> aliases, PredicateVariant child) {
  return Extend{std::move(aliases), std::move(child)};
}

PredicateVariant transform(std::vector<Expression> outputs, PredicateVariant child) {
  return Transform{std::move(outputs), std::move(child)};
}

PredicateVariant inner_join(PredicateVariant left, PredicateVariant right) {
  return QueryPlan::Join<shared_classes::Inner>{std::move(left), std::move(right)};
}

PredicateVariant left_join(PredicateVariant left, PredicateVariant right) {
  return QueryPlan::Join<shared_classes::Left>{std::move(left), std::move(right)};
}

PredicateVariant full_join(std::optional<Expression> condition, PredicateVariant left,
                           PredicateVariant right) {
  return QueryPlan::FullJoin{std::move(condition), std::move(left), std::move(right)};
}

PredicateVariant union_all(PredicateVariant left, PredicateVariant right) {
  return QueryPlan::Union{std::move(left), std::move(right)};
}

PredicateVariant order_by(std::vector<QueryPlan::OrderBy::Key> keys, PredicateVariant child) {
  return QueryPlan::OrderBy{std::move(keys), std::move(child)};
}

PredicateVariant limit(std::optional<Expression> row_limit, std::optional<Expression> row_offset,
                       PredicateVariant child) {
  return QueryPlan::LimitOffset{std::move(row_limit), std::move(row_offset), std::move(child)};
}

PredicateVariant aggregation(std::vector<QueryPlan::AggregateVariant> aggregates,
                             std::vector<QueryPlan::Alias> group_by, PredicateVariant child) {
  return QueryPlan::Aggregation{std::move(aggregates), std::move(group_by), std::move(child)};
}

}  // namespace physical_queryplan::build
