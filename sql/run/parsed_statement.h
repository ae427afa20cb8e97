// A parsed statement in the form that it is run from.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sql/syntax/statement.h"

namespace qd::sql {

struct parsed_statement {
  syntax::statement content;
  std::string command;  // "SELECT", "CREATE TABLE", ...
  // INSERT ... VALUES of many rows: those after the first piece, which stays in `content`. A plan
  // holds 32767 literals at most, and a short one is quicker to make.
  std::vector<syntax::insert> later_pieces;
  std::optional<syntax::query> arguments;         // Of EXECUTE, as SELECT of them; empty: none.
  std::shared_ptr<parsed_statement const> inner;  // Of EXPLAIN and PREPARE.
};

std::shared_ptr<parsed_statement const> parse_statement(std::string_view text);

}  // namespace qd::sql
