// SQLite, in memory.
#include <cmath>
#include <stdexcept>

#include "queries/engine.h"
#include "sqlite_peer.h"

namespace bench {

namespace {

class sqlite_query final : public prepared_query {
 public:
  sqlite_query(sqlite3* database, std::string const& sql)
      : database_(database), sql_(sql), statement_(bench::prepare(database, sql.c_str())) {
    for (int column = 0; column < sqlite3_column_count(statement_.get()); ++column) {
      char const* const type = sqlite3_column_decltype(statement_.get(), column);
      decimal_.push_back(type && std::string(type).starts_with("NUMERIC"));
    }
  }

  std::uint64_t run(parameters const& values) override {
    bind(values);
    sqlite3_stmt* const statement = statement_.get();
    int const columns = sqlite3_column_count(statement);
    std::uint64_t count = 0;
    int status;
    while ((status = sqlite3_step(statement)) == SQLITE_ROW) {
      for (int column = 0; column < columns; ++column) read(column);
      ++count;
    }
    check(status, SQLITE_DONE);
    check(sqlite3_reset(statement));
    return count;
  }

  std::vector<row> rows(parameters const& values) override {
    bind(values);
    sqlite3_stmt* const statement = statement_.get();
    int const columns = sqlite3_column_count(statement);
    std::vector<row> result;
    while (sqlite3_step(statement) == SQLITE_ROW) {
      row& current = result.emplace_back();
      for (int column = 0; column < columns; ++column) current.push_back(content(column));
    }
    check(sqlite3_reset(statement));
    return result;
  }

  std::string plan(parameters const&) override {
    sqlite_statement const explained =
        bench::prepare(database_, ("EXPLAIN QUERY PLAN " + sql_).c_str());
    std::string text;
    while (sqlite3_step(explained.get()) == SQLITE_ROW) {
      if (!text.empty()) text += "; ";
      text += reinterpret_cast<char const*>(sqlite3_column_text(explained.get(), 3));
    }
    return text;
  }

 private:
  void bind(parameters const& values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      int const number = static_cast<int>(i) + 1;
      if (auto const* integer = std::get_if<std::int64_t>(&values[i])) {
        check(sqlite3_bind_int64(statement_.get(), number, *integer));
      } else {
        check(sqlite3_bind_double(statement_.get(), number, std::get<double>(values[i])));
      }
    }
  }

  void read(int column) {
    sqlite3_stmt* const statement = statement_.get();
    switch (sqlite3_column_type(statement, column)) {
      case SQLITE_INTEGER:
        sum_ = sum_ + static_cast<std::uint64_t>(sqlite3_column_int64(statement, column));
        break;
      case SQLITE_FLOAT:
        sum_ = sum_ + static_cast<std::uint64_t>(sqlite3_column_double(statement, column) > 0);
        break;
      case SQLITE_TEXT: {
        unsigned char const* const text = sqlite3_column_text(statement, column);
        int const size = sqlite3_column_bytes(statement, column);
        if (size > 0) sum_ = sum_ + text[size - 1];
        break;
      }
      default:
        break;
    }
  }

  cell content(int column) const {
    sqlite3_stmt* const statement = statement_.get();
    if (sqlite3_column_type(statement, column) != SQLITE_NULL &&
        decimal_[static_cast<std::size_t>(column)]) {
      return decimal_cell{std::llround(sqlite3_column_double(statement, column) * 1e6)};
    }
    switch (sqlite3_column_type(statement, column)) {
      case SQLITE_INTEGER:
        return std::int64_t{sqlite3_column_int64(statement, column)};
      case SQLITE_FLOAT:
        return sqlite3_column_double(statement, column);
      case SQLITE_TEXT:
        return std::string(reinterpret_cast<char const*>(sqlite3_column_text(statement, column)),
                           static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
      default:
        return std::monostate();
    }
  }

  sqlite3* database_;
  std::string sql_;
  sqlite_statement statement_;
  std::vector<bool> decimal_;
  std::uint64_t volatile sum_ = 0;
};

class sqlite_engine final : public engine {
 public:
  std::string name() const override { return "SQLite"; }
  std::string version() const override { return sqlite3_libversion(); }

  void load(tables const& data, std::filesystem::path const&, std::filesystem::path const&,
            std::vector<std::string> const& indexes) override {
    execute("PRAGMA case_sensitive_like = ON");
    execute(
        "CREATE TABLE T (id INTEGER, k INTEGER, grp INTEGER, price NUMERIC, disc NUMERIC, "
        "tax NUMERIC, ratio REAL, name TEXT, note TEXT, uref INTEGER)");
    execute("CREATE TABLE U (id INTEGER, label TEXT, weight REAL)");
    execute("BEGIN");
    sqlite_statement const into_t =
        bench::prepare(database_.get(), "INSERT INTO T VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    for (t_row const& row : data.t) {
      sqlite3_stmt* const insert = into_t.get();
      check(sqlite3_bind_int64(insert, 1, row.id));
      check(sqlite3_bind_int64(insert, 2, row.k));
      check(sqlite3_bind_int64(insert, 3, row.grp));
      check(sqlite3_bind_double(insert, 4, static_cast<double>(row.price) / 1e6));
      check(sqlite3_bind_double(insert, 5, static_cast<double>(row.disc) / 1e6));
      check(sqlite3_bind_double(insert, 6, static_cast<double>(row.tax) / 1e6));
      check(row.ratio ? sqlite3_bind_double(insert, 7, *row.ratio) : sqlite3_bind_null(insert, 7));
      check(row.name ? bind_text(insert, 8, *row.name) : sqlite3_bind_null(insert, 8));
      check(bind_text(insert, 9, row.note));
      check(sqlite3_bind_int64(insert, 10, row.uref));
      check(sqlite3_step(insert), SQLITE_DONE);
      check(sqlite3_reset(insert));
    }
    sqlite_statement const into_u =
        bench::prepare(database_.get(), "INSERT INTO U VALUES (?, ?, ?)");
    for (u_row const& row : data.u) {
      sqlite3_stmt* const insert = into_u.get();
      check(sqlite3_bind_int64(insert, 1, row.id));
      check(bind_text(insert, 2, row.label));
      check(sqlite3_bind_double(insert, 3, row.weight));
      check(sqlite3_step(insert), SQLITE_DONE);
      check(sqlite3_reset(insert));
    }
    execute("COMMIT");
    for (std::string const& index : indexes) execute(create_index(index));
    execute("ANALYZE");
  }

  std::unique_ptr<prepared_query> prepare(std::string const& sql) override {
    return std::make_unique<sqlite_query>(database_.get(), sql);
  }

 private:
  static int bind_text(sqlite3_stmt* statement, int number, std::string const& text) {
    return sqlite3_bind_text(statement, number, text.data(), static_cast<int>(text.size()),
                             SQLITE_STATIC);
  }
  void execute(std::string const& sql) {
    check(sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr));
  }

  sqlite_database database_ = open_in_memory();
};

}  // namespace

std::unique_ptr<engine> make_sqlite_engine() {
  return std::make_unique<sqlite_engine>();
}

}  // namespace bench
