// Syntax as compact text, for comparing it.
#pragma once

#include <string>

#include "sql/syntax/statement.h"

namespace qd::sql::test {

// Lisp-like: (+ a (* 1 $2)); what is not given is left out.
std::string dump(syntax::expression const& expression);
std::string dump(syntax::query const& query);
std::string dump(syntax::statement const& statement);

}  // namespace qd::sql::test
