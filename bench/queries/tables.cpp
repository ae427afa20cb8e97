#include "queries/tables.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string_view>

namespace bench {

namespace {

// Uniform in [0, bound), the same everywhere: the standard's distributions are not.
std::uint64_t below(std::mt19937_64& random, std::uint64_t bound) {
  return random() % bound;
}

std::string letters(std::mt19937_64& random, std::size_t least, std::size_t most) {
  std::string text(least + below(random, most - least + 1), ' ');
  for (char& letter : text) letter = static_cast<char>('a' + below(random, 26));
  return text;
}

std::string words(std::mt19937_64& random) {
  static constexpr std::array<std::string_view, 24> vocabulary = {
      "river",  "stone",  "cloud",    "harbor", "copper", "meadow", "signal", "engine",
      "paper",  "winter", "garden",   "mirror", "bridge", "candle", "forest", "market",
      "silver", "planet", "dabchick", "rocket", "summer", "valley", "window", "yellow"};
  std::size_t const length = 20 + below(random, 41);
  std::string text;
  while (text.size() < length) {
    if (!text.empty()) text += ' ';
    // The one word with "abc" in it is rarer than the others.
    std::size_t const number = below(random, vocabulary.size());
    bool const rare = vocabulary[number] == "dabchick" && below(random, 4) != 0;
    text += rare ? vocabulary[0] : vocabulary[number];
  }
  text.resize(length);
  return text;
}

void append_decimal(std::string& line, std::int64_t millionths) {
  char digits[32];
  int const size = std::snprintf(digits, sizeof digits, "%lld.%06lld",
                                 static_cast<long long>(millionths / 1'000'000),
                                 static_cast<long long>(millionths % 1'000'000));
  line.append(digits, static_cast<std::size_t>(size));
}

void append_double(std::string& line, double number) {
  char digits[32];
  auto const [end, error] = std::to_chars(digits, digits + sizeof digits, number);
  line.append(digits, end);
}

void write(std::ofstream& file, std::string_view text) {
  if (!file.write(text.data(), static_cast<std::streamsize>(text.size()))) {
    throw std::runtime_error("cannot write the rows to a file");
  }
}

}  // namespace

tables make_tables(std::int64_t t_rows, std::int64_t u_rows) {
  std::mt19937_64 random(20'240'229);
  auto const rows = static_cast<std::uint64_t>(t_rows);
  tables data;
  data.t.reserve(rows);
  for (std::int64_t id = 0; id < t_rows; ++id) {
    t_row row;
    row.id = id;
    row.k = static_cast<std::int64_t>(below(random, rows));
    row.grp = static_cast<std::int64_t>(below(random, 1000));
    row.price = static_cast<std::int64_t>(below(random, 1'000'000'000));
    row.disc = static_cast<std::int64_t>(below(random, 11)) * 10'000;
    row.tax = static_cast<std::int64_t>(below(random, 9)) * 10'000;
    if (below(random, 20) != 0) row.ratio = static_cast<double>(random() >> 11) * 0x1p-53;
    if (below(random, 20) != 0) row.name = letters(random, 6, 20);
    row.note = words(random);
    row.uref = static_cast<std::int64_t>(below(random, 2 * static_cast<std::uint64_t>(u_rows)));
    data.t.push_back(std::move(row));
  }
  data.u.reserve(static_cast<std::size_t>(u_rows));
  for (std::int64_t id = 0; id < u_rows; ++id) {
    data.u.push_back({id, letters(random, 8, 16), static_cast<double>(below(random, 1000)) / 8});
  }
  return data;
}

void write_csv(tables const& data, std::filesystem::path const& t, std::filesystem::path const& u) {
  std::ofstream t_file(t, std::ios::binary);
  write(t_file, "id,k,grp,price,disc,tax,ratio,name,note,uref\n");
  std::string line;
  for (t_row const& row : data.t) {
    line.clear();
    for (std::int64_t const number : {row.id, row.k, row.grp})
      line += std::to_string(number) += ',';
    for (std::int64_t const number : {row.price, row.disc, row.tax}) {
      append_decimal(line, number);
      line += ',';
    }
    if (row.ratio) append_double(line, *row.ratio);
    line += ',';
    if (row.name) line += *row.name;
    line += ',';
    line += row.note;
    line += ',';
    line += std::to_string(row.uref);
    line += '\n';
    write(t_file, line);
  }
  std::ofstream u_file(u, std::ios::binary);
  write(u_file, "id,label,weight\n");
  for (u_row const& row : data.u) {
    line = std::to_string(row.id) + ',' + row.label + ',';
    append_double(line, row.weight);
    line += '\n';
    write(u_file, line);
  }
}

}  // namespace bench
