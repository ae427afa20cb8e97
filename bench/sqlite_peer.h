// SQLite in memory, as the peer of whole queries, and the size of their tables.
#pragma once

#include <sqlite3.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

namespace bench {

// QD_BENCH_ROWS, or 1,000,000.
inline long row_count() {
  char const* const text = std::getenv("QD_BENCH_ROWS");
  return text ? std::stol(text) : 1'000'000;
}

struct close_sqlite {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using sqlite_statement = std::unique_ptr<sqlite3_stmt, close_sqlite>;

inline void check(int status, int expected = SQLITE_OK) {
  if (status != expected) throw std::runtime_error(sqlite3_errstr(status));
}

inline sqlite_statement prepare(sqlite3* database, char const* text) {
  sqlite3_stmt* statement = nullptr;
  check(sqlite3_prepare_v2(database, text, -1, &statement, nullptr));
  return sqlite_statement(statement);
}

using sqlite_database = std::unique_ptr<sqlite3, close_sqlite>;

inline sqlite_database open_in_memory() {
  sqlite3* opened = nullptr;
  check(sqlite3_open(":memory:", &opened));
  return sqlite_database(opened);
}

}  // namespace bench
