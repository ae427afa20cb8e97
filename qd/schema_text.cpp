#include "qd/schema_text.h"

#include <algorithm>
#include <array>
#include <set>

#include "sql/text/ascii.h"

namespace qd::program {

namespace {

using table_map = std::span<sql::table_description const>;

// Words that are no names without quotes, in order.
constexpr std::array<std::string_view, 99> reserved_words = {"all",
                                                             "analyse",
                                                             "analyze",
                                                             "and",
                                                             "any",
                                                             "array",
                                                             "as",
                                                             "asc",
                                                             "asymmetric",
                                                             "authorization",
                                                             "binary",
                                                             "both",
                                                             "case",
                                                             "cast",
                                                             "check",
                                                             "collate",
                                                             "collation",
                                                             "column",
                                                             "concurrently",
                                                             "constraint",
                                                             "create",
                                                             "cross",
                                                             "current_catalog",
                                                             "current_date",
                                                             "current_role",
                                                             "current_schema",
                                                             "current_time",
                                                             "current_timestamp",
                                                             "current_user",
                                                             "default",
                                                             "deferrable",
                                                             "desc",
                                                             "distinct",
                                                             "do",
                                                             "else",
                                                             "end",
                                                             "except",
                                                             "false",
                                                             "fetch",
                                                             "for",
                                                             "foreign",
                                                             "freeze",
                                                             "from",
                                                             "full",
                                                             "grant",
                                                             "group",
                                                             "having",
                                                             "ilike",
                                                             "in",
                                                             "initially",
                                                             "inner",
                                                             "intersect",
                                                             "into",
                                                             "is",
                                                             "isnull",
                                                             "join",
                                                             "lateral",
                                                             "leading",
                                                             "left",
                                                             "like",
                                                             "limit",
                                                             "localtime",
                                                             "localtimestamp",
                                                             "natural",
                                                             "not",
                                                             "notnull",
                                                             "null",
                                                             "offset",
                                                             "on",
                                                             "only",
                                                             "or",
                                                             "order",
                                                             "outer",
                                                             "overlaps",
                                                             "placing",
                                                             "primary",
                                                             "references",
                                                             "returning",
                                                             "right",
                                                             "select",
                                                             "session_user",
                                                             "similar",
                                                             "some",
                                                             "symmetric",
                                                             "table",
                                                             "tablesample",
                                                             "then",
                                                             "to",
                                                             "trailing",
                                                             "true",
                                                             "union",
                                                             "unique",
                                                             "user",
                                                             "using",
                                                             "variadic",
                                                             "verbose",
                                                             "when",
                                                             "where",
                                                             "window"};

bool is_plain(std::string_view part) {
  auto const begins_name = [](char each) { return ('a' <= each && each <= 'z') || each == '_'; };
  if (part.empty() || !begins_name(part.front())) return false;
  bool const plain = std::all_of(part.begin(), part.end(), [&](char each) {
    return begins_name(each) || sql::ascii::is_digit(each);
  });
  return plain && !std::binary_search(reserved_words.begin(), reserved_words.end(), part);
}

std::string quoted_part(std::string_view part) {
  if (is_plain(part)) return std::string(part);
  std::string quoted = "\"";
  for (char const each : part) {
    quoted += each;
    if (each == '"') quoted += each;
  }
  return quoted + '"';
}

// "a, b DESC" with its names quoted.
std::string quoted_columns(std::string_view columns) {
  constexpr std::string_view separator = ", ";
  constexpr std::string_view descending = " DESC";
  std::string text;
  while (true) {
    std::size_t const end = std::min(columns.find(separator), columns.size());
    std::string_view column = columns.substr(0, end);
    bool const is_descending = column.ends_with(descending);
    if (is_descending) column.remove_suffix(descending.size());
    text += quoted_part(column);
    if (is_descending) text += descending;
    if (end == columns.size()) return text;
    text += separator;
    columns.remove_prefix(end + separator.size());
  }
}

class schema_writer {
 public:
  explicit schema_writer(table_map tables) : tables_(tables) {}

  std::string write_all() {
    // A reference needs its table, too; what refers in circles cannot be written in one go anyway.
    for (sql::table_description const& each : tables_) write_after_needed(each);
    return std::move(text_);
  }

  std::string write_one(sql::table_description const& table) {
    write(table);
    return std::move(text_);
  }

 private:
  sql::table_description const* find(std::string_view name) const {
    auto const found = std::find_if(tables_.begin(), tables_.end(),
                                    [&](auto const& each) { return each.name == name; });
    return found == tables_.end() ? nullptr : &*found;
  }

  void write_after_needed(sql::table_description const& table) {
    if (!written_.insert(table.name).second) return;
    if (auto const* base = find(table.base)) write_after_needed(*base);
    for (sql::table_description::column const& column : table.columns) {
      if (column.references.empty() || column.inherited) continue;
      if (auto const* referenced = find(column.type)) write_after_needed(*referenced);
    }
    write(table);
  }

  void write(sql::table_description const& table) {
    text_ += "CREATE TABLE " + quoted_name(table.name) + " (";
    bool first = true;
    for (sql::table_description::column const& column : table.columns) {
      if (column.inherited) continue;
      text_ += first ? "\n  " : ",\n  ";
      first = false;
      write_column(column);
    }
    text_ += first ? ")" : "\n)";
    if (!table.base.empty()) text_ += " INHERITS (" + quoted_name(table.base) + ')';
    text_ += ";\n";
    for (sql::table_description::index const& index : table.indexes) {
      if (is_inherited(table, index.name)) continue;
      // The grammar takes an index's name in one piece, so dots go inside of quotes.
      text_ += std::string("CREATE ") + (index.unique ? "UNIQUE " : "") + "INDEX " +
               quoted_part(index.name) + " ON " + quoted_name(table.name) + " (" +
               quoted_columns(index.columns) + ");\n";
    }
  }

  void write_column(sql::table_description::column const& column) {
    text_ += quoted_part(column.name) + ' ';
    if (column.references.empty()) {
      text_ += column.type;
    } else {
      text_ += quoted_name(column.type);
      // "table(column)": the column through which values are looked up.
      std::size_t const parenthesis = column.references.rfind('(');
      if (parenthesis != std::string::npos) {
        std::string_view const lookup(column.references);
        text_ += " REFERENCES " + quoted_name(lookup.substr(0, parenthesis)) + '(' +
                 quoted_part(lookup.substr(parenthesis + 1, lookup.size() - parenthesis - 2)) + ')';
      }
    }
    if (!column.nullable) text_ += " NOT NULL";
  }

  bool is_inherited(sql::table_description const& table, std::string_view index) const {
    auto const* const base = find(table.base);
    return base && std::any_of(base->indexes.begin(), base->indexes.end(),
                               [&](auto const& each) { return each.name == index; });
  }

  table_map tables_;
  std::set<std::string_view> written_;
  std::string text_;
};

}  // namespace

std::string quoted_name(std::string_view name) {
  std::string text;
  while (true) {
    std::size_t const end = std::min(name.find('.'), name.size());
    text += quoted_part(name.substr(0, end));
    if (end == name.size()) return text;
    text += '.';
    name.remove_prefix(end + 1);
  }
}

std::string schema_text(std::span<sql::table_description const> tables, std::string_view only) {
  schema_writer writer(tables);
  if (only.empty()) return writer.write_all();
  for (sql::table_description const& each : tables) {
    if (each.name == only) return writer.write_one(each);
  }
  return {};
}

}  // namespace qd::program
