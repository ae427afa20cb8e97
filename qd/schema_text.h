// The schema as the statements that make it.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "sql/connection.h"

namespace qd::program {

// CREATE TABLE and CREATE INDEX statements, bases before what inherits from them, with what a
// derived table inherits left out. Of one table when `only` is not empty.
std::string schema_text(std::span<sql::table_description const> tables, std::string_view only);

// A name as SQL text writes it: in quotes unless it is a plain one. A dotted name has its parts
// quoted.
std::string quoted_name(std::string_view name);

}  // namespace qd::program
