#include "sql/bind/scope.h"

#include <algorithm>
#include <numeric>

#include "db_string/string_encoder.h"
#include "physical_queryplan/query_plan.h"
#include "sql/algebra/operations.h"

namespace qd::sql {

namespace {

namespace plan = physical_queryplan::QueryPlan;

// Longer names are compared with none: the time grows with the square.
constexpr std::size_t max_near_name = 63;

std::string joined(std::vector<std::string> const& parts) {
  std::string text;
  for (std::string const& part : parts) {
    if (!text.empty()) text += '.';
    text += part;
  }
  return text;
}

// The column of that name; null when there is none. Throws when a derived table has several.
source_column const* column_named(source const& from, std::string const& name,
                                  text_position position) {
  source_column const* found = nullptr;
  for (source_column const& column : from.columns) {
    if (column.name != name) continue;
    if (found && !algebra::equal(found->value, column.value)) {
      throw error(error_code::ambiguous_name, "column " + name + " is ambiguous", position);
    }
    found = &column;
    if (from.table) break;
  }
  return found;
}

bool stands_for(merged_column const& merged, source const* from) {
  return std::find(merged.from.begin(), merged.from.end(), from) != merged.from.end();
}

std::vector<std::string> all_column_names(scope const& names) {
  std::vector<std::string> result;
  for (source const* from : names.sources) {
    for (source_column const& column : from->columns) {
      if (!column.hidden) result.push_back(column.name);
    }
  }
  return result;
}

// Insertions, deletions and replacements that make one name of the other.
std::size_t distance(std::string const& left, std::string const& right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < left.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < right.size(); ++j) {
      std::size_t const replaced = diagonal + (left[i] == right[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j + 1] + 1, row[j] + 1});
    }
  }
  return row.back();
}

// Whether the source's name is, or ends in, the first `count` parts.
bool is_named(source const& from, std::vector<std::string> const& parts, std::size_t count) {
  return count <= from.name.size() &&
         std::equal(parts.begin(), parts.begin() + static_cast<std::ptrdiff_t>(count),
                    from.name.end() - static_cast<std::ptrdiff_t>(count));
}

}  // namespace

std::string suggestion(std::string const& name, std::vector<std::string> const& candidates) {
  std::string nearest;
  std::size_t least = name.size() > 4 ? 3 : 2;
  for (std::string const& candidate : candidates) {
    if (candidate.size() > 2 * max_near_name || name.size() > max_near_name) continue;
    std::size_t const steps = distance(name, candidate);
    if (steps < least) {
      least = steps;
      nearest = candidate;
    }
  }
  return nearest.empty() ? "" : " (did you mean " + nearest + "?)";
}

algebra::TableVariable name_resolver::new_variable(table_info const& table,
                                                   text_position position) {
  if (static_cast<std::size_t>(occurrences_) >= max_statement_tables) {
    throw error(error_code::limit_exceeded,
                "a statement reads at most " + std::to_string(max_statement_tables) + " tables",
                position);
  }
  shared_classes::Position const place{++occurrences_, static_cast<std::int32_t>(position)};
  return {table.table, {place, place}, {}};
}

std::optional<named_value> name_resolver::find_column(scope const& names, std::string const& name,
                                                      text_position position) const {
  std::optional<named_value> found;
  auto const add = [&](algebra::Expression const& value, std::u16string const& referenced_class) {
    if (found) {
      throw error(error_code::ambiguous_name, "column " + name + " is ambiguous", position);
    }
    found = named_value{value, referenced_class};
  };
  for (merged_column const& merged : names.merged) {
    if (merged.name == name) add(merged.value, merged.referenced_class);
  }
  for (source const* from : names.sources) {
    source_column const* const column = column_named(*from, name, position);
    if (!column) continue;
    bool const merged =
        std::any_of(names.merged.begin(), names.merged.end(), [&](merged_column const& candidate) {
          return candidate.name == name && stands_for(candidate, from);
        });
    if (!merged) add(column->value, column->referenced_class);
  }
  return found;
}

source* name_resolver::find_source(scope const& names, std::vector<std::string> const& parts,
                                   std::size_t& used, text_position position) const {
  for (std::size_t count = parts.size(); count > 0; --count) {
    source* found = nullptr;
    for (source* from : names.sources) {
      if (!is_named(*from, parts, count)) continue;
      if (found) {
        throw error(error_code::ambiguous_name, "table " + joined(from->name) + " is ambiguous",
                    position);
      }
      found = from;
    }
    if (found) {
      used = count;
      return found;
    }
  }
  return nullptr;
}

named_value name_resolver::follow(source& from, named_value value,
                                  std::vector<std::string> const& parts, std::size_t next,
                                  text_position position) {
  for (; next < parts.size(); ++next) {
    if (algebra::kind_of(value.value) != algebra::kind::reference) {
      throw error(error_code::wrong_type,
                  parts[next - 1] + " is no reference: it has no column " + parts[next], position);
    }
    auto known = std::find_if(from.followed.begin(), from.followed.end(),
                              [&](followed_reference const& candidate) {
                                return algebra::equal(candidate.reference, value.value);
                              });
    if (known == from.followed.end()) {
      table_info const* const table =
          value.referenced_class.empty()
              ? nullptr
              : context_.catalogue.find(context_.reader, value.referenced_class);
      if (!table) {
        throw error(error_code::unknown_name,
                    "the table that " + parts[next - 1] + " refers to is not known", position);
      }
      algebra::TableVariable variable = new_variable(*table, position);
      if (auto const* column = std::get_if<plan::Column<QD_OBJ_REF>>(&value.value.variant)) {
        variable.path = plan::Path{column->table_variable, {column->column}};
      }
      from.followed.push_back({std::move(value.value), std::move(variable), table});
      known = from.followed.end() - 1;
    }
    auto const column =
        std::find_if(known->table->columns.begin(), known->table->columns.end(),
                     [&](column_info const& candidate) { return candidate.name == parts[next]; });
    if (column == known->table->columns.end()) {
      std::vector<std::string> candidates;
      for (column_info const& candidate : known->table->columns) {
        candidates.push_back(candidate.name);
      }
      throw error(error_code::unknown_name,
                  "table " + known->table->name + " has no column " + parts[next] +
                      suggestion(parts[next], candidates),
                  position);
    }
    value = {algebra::column(column->kind, column->column, known->variable),
             column->referenced_class};
  }
  return value;
}

named_value name_resolver::resolve(scope const& names, std::vector<std::string> const& parts,
                                   text_position position) {
  if (parts.size() == 1) {
    if (std::optional<named_value> column = find_column(names, parts[0], position)) return *column;
  }
  std::size_t used = 0;
  if (source* const from = find_source(names, parts, used, position)) {
    if (used == parts.size()) {
      // A table's name alone is the reference to its row.
      if (!from->table) {
        throw error(error_code::wrong_type,
                    joined(parts) + " is a derived table: its rows have no reference", position);
      }
      return {*from->variable, from->table->class_name};
    }
    source_column const* const column = column_named(*from, parts[used], position);
    if (column) {
      return follow(*from, {column->value, column->referenced_class}, parts, used + 1, position);
    }
    std::vector<std::string> candidates;
    for (source_column const& candidate : from->columns) candidates.push_back(candidate.name);
    throw error(
        error_code::unknown_name,
        joined(from->name) + " has no column " + parts[used] + suggestion(parts[used], candidates),
        position);
  }
  if (parts.size() > 1) {
    if (std::optional<named_value> column = find_column(names, parts[0], position)) {
      // A column that USING merged has the value of one of its sides' columns.
      auto const owner =
          std::find_if(names.sources.begin(), names.sources.end(), [&](source const* from) {
            source_column const* const own = column_named(*from, parts[0], position);
            return own && algebra::equal(own->value, column->value);
          });
      if (owner == names.sources.end()) {
        throw error(error_code::not_supported,
                    "a path from " + parts[0] + ", which a FULL JOIN merged, is not supported",
                    position);
      }
      return follow(**owner, std::move(*column), parts, 1, position);
    }
    throw error(error_code::unknown_name, "there is no table or column " + parts[0], position);
  }
  throw error(error_code::unknown_name,
              "there is no column " + parts[0] + suggestion(parts[0], all_column_names(names)),
              position);
}

void compute_followed(source& from) {
  for (followed_reference& step : from.followed) {
    algebra::relation_ptr below = std::make_unique<algebra::relation>(std::move(*from.relation));
    algebra::compute computed{{}, std::move(below)};
    computed.aliases.push_back({std::move(step.reference), std::move(step.variable)});
    from.relation->content = std::move(computed);
  }
  from.followed.clear();
}

}  // namespace qd::sql
