#include "sql_random/sample_database.h"

#include <array>

namespace sql_random {
namespace {

// Half of the tables are small enough that joins of four of them stay small, too.
constexpr std::array<std::uint32_t, 6> row_counts = {6, 9, 1, 0, 14, 40};
constexpr std::array<char const*, 10> texts = {"'a'", "'ab'", "'abc'", "'b'",  "''",
                                               "'B'", "'ba'", "'abd'", "'aB'", "'c d'"};
constexpr std::array<char const*, 12> index_columns = {
    "a",        "a, b",   "b DESC",  "a DESC, b", "s",  "s, a",
    "b, a, id", "s DESC", "a, s, b", "b, s DESC", "id", "a DESC, id DESC",
};

std::string or_null(choices& draw, std::string content) {
  return draw.rarely(5) ? "NULL" : content;
}

}  // namespace

std::string integer_literal(choices& draw) {
  return std::to_string(static_cast<int>(draw.below(7)) - 1);
}

std::string text_literal(choices& draw) {
  return draw.one_of(texts);
}

sample_database make_database(choices& draw) {
  sample_database made;
  for (std::uint32_t table = 0; table < table_count; ++table) {
    std::string const name = "t" + std::to_string(table);
    made.tables.push_back("CREATE TABLE " + name +
                          " (id bigint NOT NULL, a bigint, b bigint, s text)");
    std::uint32_t const rows = draw.one_of(row_counts);
    for (std::uint32_t row = 0; row < rows; ++row) {
      std::string const a = or_null(draw, integer_literal(draw));
      std::string const b = or_null(draw, integer_literal(draw));
      std::string const s = or_null(draw, text_literal(draw));
      made.tables.push_back("INSERT INTO " + name + " VALUES (" + std::to_string(row) + ", " + a +
                            ", " + b + ", " + s + ")");
    }
    if (draw.below(2) == 1) {
      made.indexes.push_back("CREATE UNIQUE INDEX " + name + "_id ON " + name + " (id)");
    }
    std::uint32_t const count = draw.below(4);
    for (std::uint32_t i = 0; i < count; ++i) {
      made.indexes.push_back("CREATE INDEX " + name + "_" + std::to_string(i) + " ON " + name +
                             " (" + draw.one_of(index_columns) + ")");
    }
  }
  return made;
}

}  // namespace sql_random
