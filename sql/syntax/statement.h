// The syntax of statements.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "sql/syntax/query.h"

namespace qd::sql::syntax {

struct column_definition {
  std::string name;
  type_name type;
  bool not_null = false;
  bool unique = false;             // UNIQUE or PRIMARY KEY, which says NOT NULL too.
  std::string lookup_column = {};  // REFERENCES other(column): `column`; empty without.
  object_name references = {};     // REFERENCES other: `other`; no parts without.
  text_position position = no_position;
};
// UNIQUE (a, b) or PRIMARY KEY (a, b) behind the columns.
struct unique_constraint {
  std::vector<std::string> columns;
  bool primary_key = false;
  text_position position = no_position;
};
struct create_table {
  object_name table;
  bool if_not_exists = false;
  std::vector<column_definition> columns;
  std::vector<unique_constraint> constraints;
  object_name base;  // INHERITS; no parts without.
};

struct create_index {
  struct column {
    std::string name;
    bool ascending = true;
    text_position position = no_position;
  };
  object_name index;
  bool if_not_exists = false;
  object_name table;
  std::vector<column> columns;
  bool unique = false;
};

struct drop {
  enum class what { table, index };
  what kind;
  std::vector<object_name> names;
  bool if_exists = false;
  bool cascade = false;
};

struct insert {
  object_name table;
  std::vector<std::string> columns;             // Empty: all, in order.
  std::vector<text_position> column_positions;  // As many.
  query_ptr source;                             // VALUES or a SELECT; null for DEFAULT VALUES.
};

struct assignment {
  std::string column;
  expression_ptr value;
  text_position position = no_position;
};
struct update {
  object_name table;
  std::string alias;  // Empty without.
  std::vector<assignment> assignments;
  expression_ptr where;  // Null without.
};
struct delete_rows {
  object_name table;
  std::string alias;
  expression_ptr where;  // Null without.
};

struct begin {};
struct commit {};
struct roll_back {};

struct copy {
  object_name table;
  std::vector<std::string> columns;  // Empty: all.
  query_ptr query;                   // COPY (SELECT ...) TO; null for a table.
  bool from = true;                  // Or TO.
  std::string file;                  // Empty for STDIN and STDOUT.
  bool header = false;
  char delimiter = ',';
  char quote = '"';
  std::string null_text = {};  // What stands, unquoted, for NULL.
  bool skip_refused = false;   // ON_ERROR skip
};

struct statement;
struct explain {
  std::unique_ptr<statement> explained;  // A query, INSERT, UPDATE, DELETE or EXECUTE.
};
struct prepare {
  std::string name;
  std::unique_ptr<statement> prepared;
};
struct execute {
  std::string name;
  std::vector<expression_ptr> arguments;  // Constants.
};
struct deallocate {
  std::string name;  // Empty: ALL.
};

struct statement {
  std::variant<query, create_table, create_index, drop, insert, update, delete_rows, begin, commit,
               roll_back, copy, explain, prepare, execute, deallocate>
      content;
  text_position position = no_position;
};

}  // namespace qd::sql::syntax
