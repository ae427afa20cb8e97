// The syntax of queries.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "sql/syntax/expression.h"

namespace qd::sql::syntax {

struct query;
using query_ptr = std::unique_ptr<query>;

// A possibly dotted name of a table, class or index: its parts, outermost first.
struct object_name {
  std::vector<std::string> parts;
  text_position position = no_position;
};

struct from_item;
using from_item_ptr = std::unique_ptr<from_item>;

// A table, or a common table expression of that name.
struct table_item {
  object_name table;
};
// (SELECT ...) AS name (columns)
struct derived_item {
  query_ptr query;
};
enum class join_kind { cross, inner, left, right, full };
struct join_item {
  join_kind kind;
  from_item_ptr left;
  from_item_ptr right;
  expression_ptr condition;                // ON; null without.
  std::vector<std::string> using_columns;  // USING; at most one of both is there.
};
struct from_item {
  std::variant<table_item, derived_item, join_item> content;
  std::string alias;                        // Empty without; never of a join.
  std::vector<std::string> column_aliases;  // Names for its first columns.
  text_position position = no_position;
};

struct output_item {
  expression_ptr value;
  std::string alias;  // Empty without.
};

struct select_core {
  bool distinct = false;
  std::vector<output_item> outputs;
  std::vector<from_item_ptr> from;  // Empty without FROM; several are a cross join.
  expression_ptr where;             // Null without.
  std::vector<expression_ptr> group_by;
  expression_ptr having;  // Null without.
};

// VALUES (...), (...): rows of one length, at least one.
struct values_list {
  std::vector<std::vector<expression_ptr>> rows;
};

// left UNION [ALL] right
struct union_of {
  bool all;
  query_ptr left;
  query_ptr right;
};

struct sort_item {
  enum class nulls { as_they_come, first, last };
  expression_ptr key;  // An integer literal counts output columns from 1.
  bool ascending = true;
  nulls where = nulls::as_they_come;
};

struct common_table {
  std::string name;
  std::vector<std::string> column_aliases;
  query_ptr query;
  text_position position = no_position;
};

struct query {
  std::vector<common_table> with;
  std::variant<select_core, values_list, union_of> body;
  std::vector<sort_item> order_by;
  expression_ptr limit;   // Null without, and for LIMIT ALL.
  expression_ptr offset;  // Null without.
  text_position position = no_position;
};

}  // namespace qd::sql::syntax
