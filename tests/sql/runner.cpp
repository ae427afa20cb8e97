// Runs a .test file against a fresh temporary database. Fails with every record that differs.
//
//   sql_test_runner FILE [--show]     --show prints what the queries give instead, to look at
#include <algorithm>
#include <iostream>
#include <regex>

#include "records.h"
#include "sql/connection.h"

namespace qd::sql_test {

namespace {

class runner {
 public:
  explicit runner(std::string file, bool show) : file_(std::move(file)), show_(show) {}

  int run() {
    std::size_t records = 0;
    for (block const& one : read_test(file_)) {
      if (one.indexes.empty()) {
        records += run_records(one);
        continue;
      }
      for (std::string const& index : one.indexes) {
        place_ = " with " + index;
        bool const exists = index != "none";
        if (exists) database_.execute(index);
        records += run_records(one);
        if (exists) database_.execute("DROP INDEX probe");
        place_.clear();
      }
    }
    if (records == 0) {
      std::cerr << file_ << " has no records\n";
      return 1;
    }
    std::vector<std::string> const faults = database_.check();
    for (std::string const& fault : faults) std::cerr << "check: " << fault << '\n';
    std::cout << records << " records, " << failures_ << " failures\n";
    return failures_ > 0 || !faults.empty();
  }

 private:
  std::size_t run_records(block const& records) {
    for (record const& one : records.records) run_record(one);
    return records.records.size();
  }

  void run_record(record const& one) {
    std::vector<std::vector<std::string>> rows;
    try {
      sql::statement statement = database_.prepare(one.sql);
      while (statement.step()) {
        std::vector<std::string>& row = rows.emplace_back();
        for (std::size_t i = 0; i < statement.columns().size(); ++i) {
          row.push_back(shown(statement.text(i)));
        }
      }
      if (one.kind == record::what::query && statement.columns().size() != one.columns) {
        return fail(one, std::to_string(statement.columns().size()) + " columns");
      }
    } catch (sql::error const& failure) {
      std::string const text = std::to_string(failure.code()) + ": " + failure.what();
      if (one.kind != record::what::statement_error) return fail(one, "error " + text);
      if (show_) std::cout << one.sql << "-> " << text << '\n';
      if (!std::regex_search(text, std::regex(one.error))) {
        fail(one, "error " + text + "\n  expected " + one.error);
      }
      return;
    }
    if (one.kind == record::what::statement_error) return fail(one, "no error");
    if (one.kind == record::what::query) compare(one, rows);
  }

  // A value as an expected line has it: an empty text is written (empty).
  static std::string shown(std::string text) {
    if (text.empty()) return "(empty)";
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
  }

  void compare(record const& one, std::vector<std::vector<std::string>> const& rows) {
    std::vector<std::string> found;
    for (std::vector<std::string> const& row : rows) {
      std::string line;
      for (std::size_t i = 0; i < row.size(); ++i) {
        if (one.sort == sort_mode::values) {
          found.push_back(row[i]);
        } else {
          line += (i == 0 ? "" : "\t") + row[i];
        }
      }
      if (one.sort != sort_mode::values) found.push_back(line);
    }
    std::vector<std::string> expected = one.expected;
    if (one.sort != sort_mode::none) {
      std::sort(found.begin(), found.end());
      std::sort(expected.begin(), expected.end());
    }
    if (show_) {
      std::cout << one.sql << "----\n";
      for (std::string const& line : found) std::cout << line << '\n';
      std::cout << '\n';
      return;
    }
    if (found == expected) return;
    std::string difference = "rows\n";
    for (std::string const& line : found) difference += "    " + line + '\n';
    difference += "  expected\n";
    for (std::string const& line : expected) difference += "    " + line + '\n';
    fail(one, difference);
  }

  void fail(record const& one, std::string const& what) {
    ++failures_;
    std::cerr << file_ << ':' << one.line << place_ << '\n' << one.sql << "  gave " << what << '\n';
  }

  std::string file_;
  bool show_;
  std::string place_;
  std::size_t failures_ = 0;
  sql::connection database_ = sql::connection::open_temporary();
};

}  // namespace

}  // namespace qd::sql_test

int main(int argument_count, char** arguments) {
  try {
    std::vector<std::string> const given(arguments + 1, arguments + argument_count);
    if (given.empty()) throw std::runtime_error("which file?");
    return qd::sql_test::runner(given[0], given.size() > 1 && given[1] == "--show").run();
  } catch (std::exception const& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
