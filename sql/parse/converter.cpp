#include "sql/parse/converter.h"

#include <map>

#include "sql/parse/token_scanner.h"
#include "sql/text/ascii.h"

namespace qd::sql {

converter::level::level(converter& owner, text_position position, std::size_t count)
    : owner_(owner), count_(count) {
  if (owner.depth_ + count > max_statement_nesting) {
    throw error(error_code::limit_exceeded,
                "the statement has more than " + std::to_string(max_statement_nesting) +
                    " operations or queries inside one another",
                position);
  }
  owner.depth_ += count;
}

void converter::refuse(std::string const& construct, text_position position) {
  throw error(error_code::not_supported, construct + " not supported", position);
}

text_position converter::place_of_name(std::string_view name, text_position from) const {
  token_scanner scanner(text_, from == no_position ? 0 : from);
  while (true) {
    token const each = scanner.next();
    if (each.what == token::kind::end) return from;
    if (names(each, text_, name)) return static_cast<text_position>(each.begin);
  }
}

text_position converter::place_of_last_name(std::string_view name, text_position end) const {
  text_position found = end;
  token_scanner scanner(text_);
  for (token each = scanner.next(); each.what != token::kind::end && each.begin < end;
       each = scanner.next()) {
    if (names(each, text_, name)) found = static_cast<text_position>(each.begin);
  }
  return found;
}

std::string converter::words_at(text_position position, int count) const {
  token_scanner scanner(text_, position == no_position ? 0 : position);
  std::string words;
  for (int i = 0; i < count; ++i) {
    token const each = scanner.next();
    if (each.what != token::kind::word && each.what != token::kind::symbol) break;
    if (i > 0) words.push_back(' ');
    for (char const byte : each.in(text_)) {
      words.push_back(ascii::upper(byte));
    }
  }
  return words.empty() ? "this" : words;
}

std::string converter::construct_at(text_position position) const {
  std::string const first = words_at(position);
  if (first == "AT") return words_at(position, 3);
  if (first == "IS") return words_at(position, words_at(position, 2) == "IS NOT" ? 3 : 2);
  return first;
}

text_position converter::statement_begin() const {
  return static_cast<text_position>(token_scanner(text_).next().begin);
}

std::string converter::string_of(PgQuery__Node const& node) {
  if (node.node_case != PG_QUERY__NODE__NODE_STRING) refuse("this name is", place_of(node));
  return node.string->sval;
}

std::vector<std::string> converter::strings_of(node_list names, text_position position) const {
  std::vector<std::string> strings;
  strings.reserve(names.size());
  for (PgQuery__Node const* const each : names) {
    if (each->node_case != PG_QUERY__NODE__NODE_STRING) refuse("this name is", position);
    strings.emplace_back(each->string->sval);
  }
  return strings;
}

syntax::object_name converter::table_name(PgQuery__RangeVar const& table) {
  text_position const position = place(table.location);
  refuse_if(table.relpersistence[0] == 't', "temporary tables are", position);
  refuse_if(table.relpersistence[0] == 'u', "unlogged tables are", position);
  refuse_if(!table.inh, "ONLY is", position);
  syntax::object_name name;
  name.position = position;
  for (char const* const part : {table.catalogname, table.schemaname, table.relname}) {
    if (part[0] != '\0') name.parts.emplace_back(part);
  }
  return name;
}

syntax::object_name converter::plain_table(PgQuery__RangeVar const& table,
                                           char const* statement) const {
  if (table.alias != nullptr) {
    refuse(std::string("an alias of the table of ") + statement + " is",
           place_of_name(table.alias->aliasname, place(table.location) + 1));
  }
  return table_name(table);
}

syntax::type_name converter::convert_type(PgQuery__TypeName const& type) {
  using kind = syntax::type_name::kind;
  // The names that the grammar gives types with keywords of their own, and those without.
  static std::map<std::string_view, kind> const known_types = {
      {"int2", kind::signed_integer}, {"int4", kind::signed_integer},
      {"int8", kind::signed_integer}, {"unsigned", kind::unsigned_integer},
      {"numeric", kind::decimal},     {"float8", kind::double_float},
      {"float4", kind::single_float}, {"text", kind::text},
      {"varchar", kind::text},        {"bytea", kind::binary},
      {"bool", kind::boolean},
  };
  text_position const position = place(type.location);
  refuse_if(type.setof, "SETOF is", position);
  refuse_if(type.pct_type, "%TYPE is", position);
  refuse_if(type.n_array_bounds > 0, "arrays are", position);
  syntax::type_name result;
  result.position = position;
  std::vector<std::string> names = strings_of(QD_NODES(type, names), position);
  bool const by_keyword = names.size() == 2 && names[0] == "pg_catalog";
  if (by_keyword) names.erase(names.begin());
  auto const known = known_types.find(names[0]);
  if (names.size() == 1 && known != known_types.end()) {
    result.type = known->second;
  } else if (by_keyword) {
    // N'x' is written without the type's name.
    std::string const written = words_at(position);
    refuse("the type " + (written == "this" ? names[0] : written) + " is", position);
  } else {
    result.type = kind::class_reference;
    result.class_name = std::move(names);
  }
  // A length or precision would not be enforced. The grammar gives interval and bit types theirs.
  refuse_if(type.n_typmods > 0 || type.typemod != -1, "a length or precision of a type is",
            position);
  return result;
}

}  // namespace qd::sql
