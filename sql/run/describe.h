// The tables of a database, for people.
#pragma once

#include <vector>

#include "dbmetalayer/database.h"
#include "sql/connection.h"

namespace qd::sql {

std::vector<table_description> describe_tables(embedded::read_context const& context);

// A column type as CREATE TABLE writes it; of a reference the referenced class.
std::string type_text(embedded::column_description const& column);

}  // namespace qd::sql
