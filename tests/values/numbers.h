// Numbers of every kind that lie where comparison and conversion go wrong.
#pragma once

#include <ostream>
#include <random>
#include <vector>

#include "sql_executor/value.h"

namespace qd::tests {

// The numeric kinds as `value` numbers them: bool, unsigned, signed, Decimal, double, float.
inline constexpr unsigned numeric_kinds[] = {0, 2, 3, 4, 5, 6};

// How many random cases to try where a plain build tries `cases`; fewer under sanitizers.
constexpr unsigned scaled_down(unsigned cases) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(NDEBUG)
  return cases / 50;
#else
  return cases;
#endif
}

// The limits of the kind, zeros, powers of two and of ten with their neighbours, NaN, infinities.
std::vector<sql_executor::value> boundary_numbers(unsigned kind);

// A seeded source of numbers.
class number_source {
 public:
  explicit number_source(std::uint64_t seed) : random(seed) {}

  // A boundary number, a small number, or any at all.
  sql_executor::value of_kind(unsigned kind);
  // A number of the kind at or next to `other`, a number of any kind.
  sql_executor::value near(sql_executor::value const& other, unsigned kind);

  std::uint64_t below(std::uint64_t limit) { return random() % limit; }

 private:
  std::mt19937_64 random;
  std::vector<sql_executor::value> boundaries[7];  // By kind; filled at first use.
};

}  // namespace qd::tests

namespace qd::sql_executor {
// Prints a number with its kind, for test messages.
std::ostream& operator<<(std::ostream& stream, value const& number);
}  // namespace qd::sql_executor
