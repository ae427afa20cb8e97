// Random queries that two engines understand alike.
#pragma once

#include <string>
#include <vector>

#include "sql_random/sample_database.h"

namespace sql_random {

struct generated_query {
  std::string text;
  bool ordered = false;  // By every output, so that the order of the rows is certain.
  std::uint32_t joins = 0;
};

// Uses what both engines mean alike: no division, no overflow, no booleans or texts joined among
// the outputs, no backslash in patterns. $1 stands for a bigint, $2 for a text.
generated_query make_query(choices& draw);

}  // namespace sql_random
