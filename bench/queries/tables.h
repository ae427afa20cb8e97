// The rows that every engine answers the same questions over.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace bench {

// A row of table T. Decimals are millionths.
struct t_row {
  std::int64_t id;                  // 0, 1, 2, ...
  std::int64_t k;                   // Random in [0, rows).
  std::int64_t grp;                 // Random in [0, 1000).
  std::int64_t price;               // Up to 1000, six places.
  std::int64_t disc;                // 0.00 to 0.10.
  std::int64_t tax;                 // 0.00 to 0.08.
  std::optional<double> ratio;      // In [0, 1); 5 % NULL.
  std::optional<std::string> name;  // 6 to 20 letters; 5 % NULL.
  std::string note;                 // 20 to 60 characters of words.
  std::int64_t uref;                // Random in [0, 2 * rows of U): half find a row of U.
};

// A row of table U.
struct u_row {
  std::int64_t id;  // 0, 1, 2, ...
  std::string label;
  double weight;
};

struct tables {
  std::vector<t_row> t;
  std::vector<u_row> u;
};

// The same rows for the same sizes, on every machine.
tables make_tables(std::int64_t t_rows, std::int64_t u_rows);

// Writes both as CSV with a header, NULL as an empty field.
void write_csv(tables const& data, std::filesystem::path const& t, std::filesystem::path const& u);

}  // namespace bench
