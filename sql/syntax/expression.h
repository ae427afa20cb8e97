// The syntax of scalar expressions: what was written, with nothing resolved.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "sql/syntax/position.h"

namespace qd::sql::syntax {

struct expression;
// Never null in a parsed statement.
using expression_ptr = std::unique_ptr<expression>;

// A type as written: `numeric`, `double precision`, `text`, or a class's possibly dotted name.
// The grammar's own names (int8, float8, ...) have been turned into one spelling per type.
struct type_name {
  enum class kind {
    signed_integer,    // bigint, integer, int, smallint
    unsigned_integer,  // unsigned
    decimal,           // numeric, decimal
    double_float,      // double precision, float
    single_float,      // real
    text,              // text, varchar, character varying
    binary,            // bytea
    boolean,
    class_reference,  // A class's name.
  };
  kind type = kind::text;
  std::vector<std::string> class_name = {};  // Of a class_reference: its parts, outermost first.
  text_position position = no_position;
};

struct null_literal {};
struct boolean_literal {
  bool truth;
};
// A number without exponent or decimal point; its digits, unsigned.
struct integer_literal {
  std::string digits;
};
// A number with a decimal point and without an exponent, as written: digits and one point.
struct decimal_literal {
  std::string digits;
};
// A number with an exponent, as written.
struct floating_literal {
  std::string digits;
};
struct text_literal {
  std::string text;  // UTF-8.
};
// x'0aff': its bytes.
struct binary_literal {
  std::string bytes;
};
// $1 has number 1.
struct parameter {
  std::uint32_t number;
};
// a, t.a, t.reference.name: the parts, as written; what they mean is for names in scope to say.
struct column_path {
  std::vector<std::string> parts;
};
// * or t.*; only as an output of a SELECT.
struct star {
  std::vector<std::string> qualifier;  // Empty: everything.
};

enum class unary_operator { minus, plus, logical_not };
struct unary {
  unary_operator operation;
  expression_ptr operand;
};

enum class binary_operator {
  add,
  subtract,
  multiply,
  divide,
  equal,
  not_equal,
  less,
  less_or_equal,
  greater,
  greater_or_equal,
  concatenate,
  logical_and,
  logical_or,
};
struct binary {
  binary_operator operation;
  expression_ptr left;
  expression_ptr right;
};

enum class test { null, true_value, false_value, unknown };
// operand IS [NOT] NULL, TRUE, FALSE, UNKNOWN.
struct is_test {
  test what;
  bool negated;
  expression_ptr operand;
};

struct in_list {
  expression_ptr operand;
  std::vector<expression_ptr> items;  // At least one.
  bool negated;
};

struct between {
  expression_ptr operand;
  expression_ptr low;
  expression_ptr high;
  bool negated;
};

struct like {
  expression_ptr operand;
  expression_ptr pattern;
  bool negated;
};

struct case_expression {
  struct branch {
    expression_ptr condition;  // With an operand: the value that it is compared with.
    expression_ptr result;
  };
  expression_ptr operand;  // Null in `CASE WHEN condition ...`.
  std::vector<branch> branches;
  expression_ptr otherwise;  // Null without ELSE.
};

struct cast {
  expression_ptr operand;
  type_name target;
};

// Every name with arguments: aggregates, coalesce, nullif, concat, starts_with, xor, oid, is_a.
struct function_call {
  std::string name;  // In lower case.
  std::vector<expression_ptr> arguments;
  bool star = false;      // count(*)
  bool distinct = false;  // count(DISTINCT a)
};

struct expression {
  std::variant<null_literal, boolean_literal, integer_literal, decimal_literal, floating_literal,
               text_literal, binary_literal, parameter, column_path, star, unary, binary, is_test,
               in_list, between, like, case_expression, cast, function_call>
      content;
  text_position position = no_position;
};

}  // namespace qd::sql::syntax
