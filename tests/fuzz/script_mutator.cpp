// Changes scripts by their tokens, so that more of them stay statements: tokens are dropped, copied,
// exchanged, and taken from a list of words that mean something here.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "sql/parse/token_scanner.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace {

using qd::sql::token;

// Longer ones first grow the script by whole clauses.
constexpr auto words = std::to_array<std::string_view>({
    " UNION ALL SELECT a, b FROM t",
    " LEFT JOIN city y ON y.country = x.country",
    " JOIN t t2 ON t2.a = t.b",
    "CASE WHEN a = 1 THEN b ELSE c END",
    "(SELECT a, c FROM t WHERE b > 1) s",
    " GROUP BY a HAVING count(*) > 1",
    " ORDER BY 1 DESC, 2 NULLS FIRST LIMIT 3 OFFSET 1",
    "; UPDATE t SET a = a + 1, c = c || 'x' WHERE a > 0; ",
    "; DELETE FROM country; ",
    "; CREATE INDEX i ON t (d, c); ",
    "; DROP TABLE city CASCADE; ",
    "INSERT INTO t SELECT * FROM t",
    "SELECT",
    "FROM",
    "WHERE",
    "DISTINCT",
    "count(DISTINCT a, b)",
    "sum(d)",
    "avg(a)",
    "min(c)",
    "max(e)",
    "count(*)",
    "coalesce(a, b)",
    "nullif(a, b)",
    "concat(a, c)",
    "starts_with(c, 'a')",
    "xor(a = 1, b = 2)",
    "oid(t)",
    "is_a(x, 'city')",
    "country.name",
    "x.country.code",
    "t",
    "city",
    "place",
    "country",
    "t.a",
    "a",
    "b",
    "c",
    "d",
    "e",
    "capital",
    "height",
    "number",
    "seal",
    "AND",
    "OR",
    "NOT",
    "IS NULL",
    "IS NOT TRUE",
    "IN (1, 2, NULL)",
    "BETWEEN 1 AND $1",
    "LIKE 'a%'",
    "LIKE c",
    "+",
    "-",
    "*",
    "/",
    "||",
    "=",
    "<>",
    "<",
    ">=",
    "(",
    ")",
    ",",
    "$1",
    "$2",
    "NULL",
    "TRUE",
    "0",
    "1",
    "-1",
    "9223372036854775807",
    "18446744073709551615",
    "0.000001",
    "4398046511103.999999",
    "1e308",
    "'ab'",
    "''",
    "x'00'",
    "::numeric",
    "::double precision",
    "::unsigned",
    "::text",
    "::boolean",
    "FULL JOIN",
    "CROSS JOIN",
    "RIGHT JOIN",
    "USING (a)",
    "ON",
    "AS",
    "WITH w AS (SELECT 1 AS n)",
    "VALUES (1, 'a'), (2, NULL)",
    "EXPLAIN",
    "EXISTS",
});

std::vector<token> tokens_of(std::string_view text) {
  std::vector<token> tokens;
  qd::sql::token_scanner scanner(text);
  for (token each = scanner.next(); each.what != token::kind::end; each = scanner.next()) {
    tokens.push_back(each);
  }
  return tokens;
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t most, unsigned int seed) {
  std::minstd_rand random(seed);
  if (random() % 8 == 0) return LLVMFuzzerMutate(data, size, most);
  std::string text(reinterpret_cast<char const*>(data), size);
  for (auto rounds = 1 + random() % 3; rounds > 0; --rounds) {
    std::vector<token> const tokens = tokens_of(text);
    if (tokens.empty()) break;
    // A run of up to eight tokens.
    auto const some_run = [&] {
      std::size_t const first = random() % tokens.size();
      std::size_t const last = std::min(first + random() % 8, tokens.size() - 1);
      return std::pair(tokens[first].begin, tokens[last].end);
    };
    auto const [begin, end] = some_run();
    auto const [other_begin, other_end] = some_run();
    std::string const other = " " + text.substr(other_begin, other_end - other_begin) + " ";
    std::string const word = " " + std::string(words[random() % words.size()]) + " ";
    std::size_t const one = tokens[random() % tokens.size()].begin;
    switch (random() % 6) {
      case 0:
        text.erase(begin, end - begin);
        break;
      case 1:
        text.insert(one, other);
        break;
      case 2:
        text.replace(begin, end - begin, other);
        break;
      case 3:
        text.replace(begin, end - begin, word);
        break;
      case 4: {  // A chain.
        std::string chain;
        for (auto copies = 1U << random() % 10; copies > 0; --copies) chain += other;
        text.insert(end, chain);
        break;
      }
      default:
        text.insert(one, word);
        break;
    }
    if (text.size() > most) text.resize(most);
  }
  std::memcpy(data, text.data(), text.size());
  return text.size();
}
