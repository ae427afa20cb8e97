#include "records.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace qd::sql_test {

namespace {

class test_reader {
 public:
  explicit test_reader(std::filesystem::path const& file) : input_(file), name_(file.string()) {
    if (!input_) throw std::runtime_error("cannot read " + name_);
  }

  std::vector<block> read() {
    std::vector<block> blocks(1);
    bool repeated = false;
    std::string line;
    while (next(line)) {
      std::istringstream words(line);
      std::string first;
      words >> first;
      if (first.empty() || first[0] == '#') continue;
      if (first == "halt") break;
      if (first == "foreach") {
        if (repeated) fail("foreach inside foreach");
        repeated = true;
        blocks.push_back({lines_to_blank(), {}});
      } else if (first == "end") {
        if (!repeated) fail("end without foreach");
        repeated = false;
        blocks.emplace_back();
      } else {
        blocks.back().records.push_back(read_record(first, words));
      }
    }
    if (repeated) fail("foreach without end");
    return blocks;
  }

 private:
  record read_record(std::string const& first, std::istringstream& words) {
    record result{record::what::statement_ok, line_, "", ""};
    std::string second;
    words >> second;
    if (first == "statement" && second == "ok") {
      result.sql = text_to_blank();
    } else if (first == "statement" && second == "error") {
      result.kind = record::what::statement_error;
      std::getline(words >> std::ws, result.error);
      result.sql = text_to_blank();
    } else if (first == "query") {
      result.kind = record::what::query;
      result.columns = second.size();
      read_sort(words, result);
      read_query(result);
    } else {
      fail("neither statement nor query: " + first);
    }
    if (result.sql.empty()) fail("a record without SQL");
    return result;
  }

  void read_sort(std::istringstream& words, record& result) {
    std::string sort;
    words >> sort;
    if (sort == "rowsort") {
      result.sort = sort_mode::rows;
    } else if (sort == "valuesort") {
      result.sort = sort_mode::values;
    } else if (!sort.empty() && sort != "nosort") {
      fail("an unknown sort " + sort);
    }
  }

  void read_query(record& result) {
    std::string line;
    while (true) {
      if (!next(line) || line.empty()) fail("a query without ----");
      if (line == "----") break;
      result.sql += line + '\n';
    }
    result.expected = lines_to_blank();
  }

  std::vector<std::string> lines_to_blank() {
    std::vector<std::string> lines;
    std::string line;
    while (next(line) && !line.empty()) lines.push_back(line);
    return lines;
  }

  std::string text_to_blank() {
    std::string text;
    for (std::string const& line : lines_to_blank()) text += line + '\n';
    return text;
  }

  bool next(std::string& line) {
    ++line_;
    return static_cast<bool>(std::getline(input_, line));
  }

  [[noreturn]] void fail(std::string const& why) const {
    throw std::runtime_error(name_ + ':' + std::to_string(line_) + ": " + why);
  }

  std::ifstream input_;
  std::string name_;
  std::size_t line_ = 0;
};

}  // namespace

std::vector<block> read_test(std::filesystem::path const& file) {
  return test_reader(file).read();
}

}  // namespace qd::sql_test
