// SQL over an object database: open one, prepare statements, bind parameters, step through rows.
//
//     auto data = qd::sql::connection::open("world.qdb");
//     data.execute("CREATE TABLE city (name text, inhabitants bigint)");
//     data.execute("INSERT INTO city VALUES ('Bern', 134591)");
//     auto query = data.prepare("SELECT name FROM city WHERE inhabitants > $1");
//     query.bind(1, 100000L);
//     while (query.step()) std::cout << query.text(0) << '\n';
//
// Errors are sql::error, and std::bad_alloc. A statement that fails changes nothing: outside a
// transaction it is rolled back whole, inside one its own changes are undone or, where that is not
// possible, the transaction can only be rolled back, which the error's text says.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sql/algebra/expressions.h"
#include "sql/error.h"
#include "sql_executor/value.h"

namespace qd::sql {

using value = sql_executor::value;
using algebra::kind;

struct result_column {
  std::string name;   // UTF-8.
  sql::kind kind;     // What its values are, NULLs aside.
  std::string table;  // Of references: the table that they refer to, when it is known.
};

// A line that COPY FROM refuses.
struct refused_line {
  std::uint64_t line;  // From 1, the header included.
  std::string column;  // Empty when the line as a whole is refused.
  std::string value;   // The field's text, cut after 80 bytes; empty for a whole line.
  std::string reason;
};

// What COPY says of its progress.
struct copy_progress {
  std::uint64_t bytes_done;
  std::uint64_t bytes_total;  // 0 when it is not known.
  std::uint64_t rows;
};

// A COPY that refused lines: the first 20 of them.
class copy_refused : public error {
 public:
  copy_refused(std::string const& text, std::vector<refused_line> lines)
      : error(error_code::bad_input, text), lines_(std::move(lines)) {}
  std::vector<refused_line> const& lines() const { return lines_; }

 private:
  std::vector<refused_line> lines_;
};

struct connection_state;
struct statement_state;

// One statement, ready to run, any number of times. It keeps its connection's database open. One
// thread at a time uses a connection and its statements; interrupt alone may come from another.
class statement {
 public:
  statement(statement&&) noexcept;
  statement& operator=(statement&&) noexcept;
  ~statement();

  // The greatest parameter number.
  std::size_t parameter_count() const;
  // Parameter $number, from 1. Stays bound over resets. Parameters that are not bound are NULL.
  void bind(std::size_t number, value content);
  // A text in UTF-8.
  void bind_text(std::size_t number, std::string_view text);

  // Empty for statements without rows.
  std::vector<result_column> const& columns() const;

  // Runs the statement up to its next row: true when there is one. Statements without rows do all
  // their work at the first call and return false. After false or an error, reset comes first.
  bool step();
  // The current row, until the next step or reset.
  std::span<value const> row() const;
  // A value of the current row as text in UTF-8, as display_text writes it.
  std::string text(std::size_t column) const;

  // Ends the run; the next step begins a new one. Releases what the run held.
  void reset() noexcept;

  // Of the finished run: rows inserted, updated, deleted, copied or returned.
  std::uint64_t rows_affected() const;
  // What the statement is: "SELECT", "INSERT", "CREATE TABLE", "COPY", ...
  std::string const& command() const;
  // Of a COPY ... ON_ERROR skip that ended: the lines it left out.
  std::vector<refused_line> const& refused_lines() const;

  // The plan as an indented tree, for statements that have one; empty for others.
  std::string plan_text() const;

 private:
  friend class connection;
  explicit statement(std::unique_ptr<statement_state> state);
  std::unique_ptr<statement_state> state_;
};

struct connection_options {
  bool create = true;  // When nothing is at the path.
  std::uint64_t capacity_bytes = std::uint64_t{32} << 30;
  std::function<void(copy_progress const&)> on_copy_progress = {};  // At most a few times a second.
  // What COPY FROM STDIN reads and COPY TO STDOUT writes; null: both are refused. They outlive the
  // connection.
  std::istream* copy_input = nullptr;
  std::ostream* copy_output = nullptr;
};

// What the database's tables look like, for people.
struct table_description {
  struct column {
    std::string name;
    std::string type;  // As CREATE TABLE writes it.
    bool nullable;
    bool inherited;
    std::string references;  // "table(column)", "table" or empty.
  };
  struct index {
    std::string name;
    std::string columns;  // "a, b DESC"
    bool unique;
    std::uint64_t entries;
  };
  std::string name;
  std::string base;  // Empty without.
  std::vector<column> columns;
  std::vector<index> indexes;
  std::uint64_t rows;
};

class connection {
 public:
  static connection open(std::filesystem::path const& path, connection_options options = {});
  // A database of this process alone, removed when it closes.
  static connection open_temporary(connection_options options = {});
  connection(connection&&) noexcept;
  connection& operator=(connection&&) noexcept;
  ~connection();

  // One statement. Tables are looked up now; when the schema has changed by the time it steps, it is
  // prepared anew, silently.
  statement prepare(std::string_view text);
  // Prepares and runs every statement of a script to its end, rows discarded. Returns the last
  // one's rows_affected.
  std::uint64_t execute(std::string_view script);

  bool in_transaction() const;

  // From any thread: stops the running step, of whatever statement of this connection, with
  // error_code::interrupted. Without one running, nothing happens.
  void interrupt() noexcept;

  std::vector<table_description> tables();
  // Compares every index with the records. Empty when all is sound.
  std::vector<std::string> check();

 private:
  connection();
  std::shared_ptr<connection_state> state_;
};

// A value as text in UTF-8: NULL as "NULL", true and false, Decimals with six places less trailing
// zeros, floats in their shortest form that reads back, NaN, Infinity, -Infinity, binary as
// \x and hex digits, references as @ and their oid. Text stands as it is, a lone surrogate as
// U+FFFD.
std::string display_text(value const& content);
// The UTF-8 of a text value.
std::string utf8_text(value const& content);

}  // namespace qd::sql
