// The example over the Unicode Character Database: what the text files say is what SQL answers.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <optional>

#include "sql/connection.h"
#include "support/scratch_directory.h"

namespace {

using strings = std::vector<std::string>;

std::string const source = "/usr/share/unicode";

int run(std::string const& command) {
  return std::system(command.c_str());
}

strings lines_of(std::string const& file) {
  std::ifstream stream(source + '/' + file);
  strings lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

strings fields_of(std::string const& line, char separator) {
  strings fields(1);
  for (char const each : line) {
    if (each == separator) {
      fields.emplace_back();
    } else {
      fields.back() += each;
    }
  }
  return fields;
}

// Loaded once for all tests, as scripts/run does it.
class unicode : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    files = std::make_unique<scratch_directory>();
    std::string const directory = files->path();
    std::string const example = QD_EXAMPLE_DIRECTORY;
    ASSERT_EQ(run(example + "/unicode_csv " + source + " " + directory), 0);
    ASSERT_EQ(run("cd " + directory + " && " QD_PROGRAM " data < " + example + "/load.sql"), 0);
    data.emplace(qd::sql::connection::open(*files / "data"));
  }
  static void TearDownTestSuite() {
    data.reset();
    files.reset();
  }
  static std::vector<strings> answer(std::string const& query) {
    std::vector<strings> rows;
    qd::sql::statement statement = data->prepare(query);
    while (statement.step()) {
      strings& row = rows.emplace_back();
      for (std::size_t i = 0; i < statement.columns().size(); ++i) {
        row.push_back(statement.row()[i].is_null() ? "" : statement.text(i));
      }
    }
    return rows;
  }

  inline static std::unique_ptr<scratch_directory> files;
  inline static std::optional<qd::sql::connection> data;
};

std::string hexadecimal(std::string const& code) {
  if (code.empty()) return "";
  char digits[16];
  std::snprintf(digits, sizeof digits, "%04lX", std::stoul(code));
  return digits;
}

// Every line of UnicodeData.txt comes back, byte for byte, from columns and paths.
TEST_F(unicode, every_line_can_be_written_again) {
  std::map<unsigned long, strings> digits;
  for (strings const& row : answer("SELECT code, decimal_digit, digit FROM number")) {
    digits[std::stoul(row[0])] = {row[1], row[2]};
  }
  strings written;
  for (strings const& row :
       answer("SELECT code, name, category.code, combining_class, bidi_class, decomposition, "
              "numeric_text, mirrored, old_name, comment, uppercase.code, lowercase.code, "
              "titlecase.code FROM code_point ORDER BY code")) {
    strings const of_number =
        digits.contains(std::stoul(row[0])) ? digits.at(std::stoul(row[0])) : strings{"", ""};
    std::string line = hexadecimal(row[0]);
    for (std::string const& field :
         {row[1], row[2], row[3], row[4], row[5], of_number[0], of_number[1], row[6],
          std::string(row[7] == "true" ? "Y" : "N"), row[8], row[9], hexadecimal(row[10]),
          hexadecimal(row[11]), hexadecimal(row[12])}) {
      line += ';' + field;
    }
    written.push_back(line);
  }
  EXPECT_TRUE(written == lines_of("UnicodeData.txt"));
}

// Blocks and scripts that references lead to, against the ranges of the files; characters against
// an encoder of this test's own.
TEST_F(unicode, code_points_refer_to_the_blocks_of_their_ranges) {
  std::map<unsigned long, std::pair<unsigned long, std::string>> blocks;  // By first: last, name.
  for (std::string const& line : lines_of("Blocks.txt")) {
    if (line.empty() || line[0] == '#') continue;
    strings const fields = fields_of(line, ';');
    std::size_t end = 0;
    unsigned long const first = std::stoul(fields[0], &end, 16);
    blocks[first] = {std::stoul(fields[0].substr(end + 2), nullptr, 16), fields[1].substr(1)};
  }
  std::map<std::string, int> counts;
  for (strings const& row : answer("SELECT code, block.name FROM code_point")) {
    unsigned long const code = std::stoul(row[0]);
    auto const& [last, name] = std::prev(blocks.upper_bound(code))->second;
    ASSERT_EQ(row[1], code <= last ? name : "") << code;
    ++counts[row[1]];
  }
  for (strings const& row :
       answer("SELECT b.name, count(p.code) FROM block b LEFT JOIN code_point p "
              "ON p.code BETWEEN b.first AND b.last GROUP BY b.name")) {
    EXPECT_EQ(row[1], std::to_string(counts[row[0]])) << row[0];
  }
  EXPECT_EQ(answer("SELECT character FROM code_point WHERE code IN (65, 228, 8364, 128512) "
                   "ORDER BY code"),
            (std::vector<strings>{{"A"}, {"ä"}, {"€"}, {"😀"}}));
}

TEST_F(unicode, every_example_query_succeeds) {
  std::string const directory = files->path();
  EXPECT_EQ(run(QD_PROGRAM " " + directory +
                "/data --format table < " QD_EXAMPLE_DIRECTORY "/queries.sql > " + directory +
                "/answers"),
            0);
}

TEST(unicode_csv, malformed_lines_are_refused) {
  struct row {
    char const* file;
    char const* line;
  };
  for (row const& each : std::vector<row>{{"Blocks.txt", "0000..007F"},
                                          {"Blocks.txt", "0080..007F; A"},
                                          {"Scripts.txt", "00G0 ; A"},
                                          {"UnicodeData.txt", "0041;A;Lu;0;L;;;;;N;;;;"},
                                          {"UnicodeData.txt", "0041;A;Lu;0;L;;;;;X;;;;;"},
                                          {"UnicodeData.txt", "0041;A;Lu;0;L;;;;1/0;N;;;;;"},
                                          {"UnicodeData.txt", "0000;A;Lu;0;L;;;;;N;;;;;"}}) {
    scratch_directory const files;
    std::string const directory = files.path();
    for (char const* name :
         {"Blocks.txt", "Scripts.txt", "PropertyValueAliases.txt", "UnicodeData.txt"}) {
      std::ofstream file(files / name);
      for (std::string const& line : lines_of(name)) file << line << '\n';
      if (std::string(name) == each.file) file << each.line << '\n';
    }
    std::string const example = QD_EXAMPLE_DIRECTORY;
    EXPECT_NE(run(example + "/unicode_csv " + directory + " " + directory + "/csv 2> /dev/null"), 0)
        << each.line;
  }
}

}  // namespace
