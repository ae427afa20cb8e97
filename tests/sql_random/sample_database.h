// Small tables with many equal and NULL values, and indexes chosen at random.
#pragma once

#include <string>
#include <vector>

#include "random/choices.h"

namespace sql_random {

using random_plans::choices;

// The statements that make a database. Tables are t0, t1, t2 with the columns id (bigint, not
// NULL, one row each), a and b (bigint), s (text).
struct sample_database {
  std::vector<std::string> tables;   // CREATE TABLE and INSERT, for both engines.
  std::vector<std::string> indexes;  // CREATE INDEX; for the engine under test alone.
};
sample_database make_database(choices& draw);

inline constexpr std::uint32_t table_count = 3;

std::string integer_literal(choices& draw);
std::string text_literal(choices& draw);

}  // namespace sql_random
