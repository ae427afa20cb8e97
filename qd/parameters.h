// Values for the parameters of statements, as given on the command line.
#pragma once

#include <string>
#include <string_view>

#include "sql/connection.h"

namespace qd::program {

// What an argument stands for: a number, NULL, TRUE, FALSE, x'0a' and 'text' as SQL reads them;
// everything else is text as it stands. Throws sql::error for a number that is none of SQL's.
sql::value parameter_value(sql::connection& database, std::string_view argument);

// Whether SQL reads the argument as a constant.
bool is_sql_constant(std::string_view argument);

}  // namespace qd::program
