// The example over the Unicode Character Database: what is stored and what every query answers,
// against the text files as this test reads them.
#include <gmock/gmock.h>

#include "db_string/string_encoder.h"
#include "field_reader.h"
#include "loader.h"
#include "physical_queryplan/build.h"
#include "queries.h"
#include "query_run.h"
#include "schema.h"
#include "support/query_test.h"
#include "support/scratch_directory.h"
#include "unicode_files.h"

namespace {

namespace build = physical_queryplan::build;
using namespace unicode_files;  // NOLINT: these tests are about them
using testing::ElementsAreArray;

TEST_F(unicode_test, large_numbers) {
  EXPECT_THAT(answer(1),
              ElementsAreArray(expected_lines(
                  [](point const& p) { return scaled_number(p) >= 1'000'000'000'000; }, by_number,
                  [](point const& p) {
                    return line({code(p), character(p.code), number(p), text(p.name())});
                  })));
}

TEST_F(unicode_test, capitals_beyond_the_basic_plane) {
  EXPECT_THAT(answer(2), ElementsAreArray(expected_lines(
                             [](point const& p) { return p.category() == "Lu" && p.code > 0xFFFF; },
                             by_code_backwards,
                             [](point const& p) {
                               return line({code(p), character(p.code), text(p.name())});
                             })));
}

TEST_F(unicode_test, names_with_a_prefix) {
  EXPECT_THAT(
      answer(3),
      ElementsAreArray(expected_lines(
          [](point const& p) { return p.name().starts_with("GREEK SMALL LETTER ALPHA"); }, by_name,
          [](point const& p) {
            return line({code(p), character(p.code), text(p.name()), text(p.fields[5])});
          })));
}

TEST_F(unicode_test, one_character_of_two_units) {
  // The extent has an order of its own.
  EXPECT_THAT(answer(4),
              testing::UnorderedElementsAreArray(expected_lines(
                  [](point const& p) { return p.category()[0] == 'N' && p.code > 0xFFFF; }, by_code,
                  [](point const& p) {
                    return line({code(p), character(p.code), integer(p.fields[7]), text(p.name())});
                  })));
}

TEST_F(unicode_test, paths_through_references) {
  EXPECT_THAT(
      answer(5),
      ElementsAreArray(expected_lines(
          [](point const& p) { return p.name().starts_with("LATIN SMALL LETTER Y"); }, by_name,
          [](point const& p) {
            std::string capital = "NULL";
            std::string block_of_capital = "NULL";
            if (!p.fields[12].empty()) {
              unsigned long const partner = std::stoul(p.fields[12], nullptr, 16);
              capital = character(partner);
              block_of_capital = text(text_files::find(files().blocks, partner));
            }
            return line(
                {code(p), character(p.code), text(text_files::find(files().scripts, p.code)),
                 text(text_files::find(files().blocks, p.code)), capital, block_of_capital});
          })));
}

TEST_F(unicode_test, numbers_of_a_range) {
  EXPECT_THAT(answer(6),
              ElementsAreArray(expected_lines(
                  [](point const& p) {
                    return 0x2460 <= p.code && p.code <= 0x24FF && p.category()[0] == 'N';
                  },
                  by_code,
                  [](point const& p) {
                    return line({code(p), character(p.code), text(p.category()), number(p)});
                  })));
}

TEST_F(unicode_test, objects_of_a_derived_class) {
  EXPECT_THAT(answer(7),
              ElementsAreArray(expected_lines(
                  [](point const& p) { return p.category() == "Lt"; }, by_code,
                  [](point const& p) {
                    return line({code(p), character(p.code), text(p.fields[5]), text(p.name())});
                  })));
}

TEST_F(unicode_test, last_code_points) {
  EXPECT_THAT(answer(8), ElementsAreArray(expected_lines(
                             [](point const& p) { return p.code > 0xE0000; }, by_code_backwards,
                             [](point const& p) {
                               return line({code(p), text(p.category()), text(p.name())});
                             })));
}

TEST_F(unicode_test, inexact_fractions) {
  EXPECT_THAT(answer(9),
              ElementsAreArray(expected_lines(
                  [](point const& p) { return !p.number().empty() && !scaled_number(p); }, by_code,
                  [](point const& p) {
                    return line({code(p), character(p.code), text(p.number()), text(p.name())});
                  })));
}

TEST_F(unicode_test, arithmetic_on_fractions) {
  EXPECT_THAT(
      answer(10),
      ElementsAreArray(expected_lines(
          [](point const& p) { return scaled_number(p) > 0 && scaled_number(p) < 1'000'000; },
          by_number,
          [](point const& p) {
            long const scaled = *scaled_number(p);
            return line({code(p), character(p.code), decimal(scaled), decimal(100 * scaled),
                         decimal(1'000'000 - scaled), decimal(rounded(1'000'000'000'000, scaled))});
          })));
}

TEST_F(unicode_test, every_query_is_checked_here) {
  EXPECT_EQ(unicode_demo::object_queries().size(), 10u);
}

// Every column of every code point, through the index on the code.
TEST_F(unicode_test, every_line_is_stored_whole) {
  auto snapshot = data->begin_snapshot();
  auto const binding = snapshot.bind();
  auto const point_table = build::table(u"unicode.code_point");
  std::vector<physical_queryplan::QueryPlan::Expression> outputs;
  for (char16_t const* column :
       {u"code", u"name", u"category", u"combining_class", u"bidi_class", u"decomposition",
        u"numeric_value", u"numeric_text", u"mirrored", u"old_name", u"comment"}) {
    outputs.push_back(build::column(point_table, column));
  }
  std::vector<physical_queryplan::QueryPlan::Alias> partners;
  for (char16_t const* column : {u"block", u"script"}) {
    auto const partner = build::through(point_table, column);
    partners.push_back({build::column(point_table, column), partner});
    outputs.push_back(build::column(partner, u"name"));
  }
  for (char16_t const* column : {u"uppercase", u"lowercase", u"titlecase"}) {
    auto const partner = build::through(point_table, column);
    partners.push_back({build::column(point_table, column), partner});
    outputs.push_back(build::column(partner, u"code"));
  }
  auto const result = unicode_demo::run_query(
      build::transform(
          outputs,
          build::extend(
              partners,
              build::scan(point_table, build::index(point_table, u"unicode.code_point.by_code")))),
      {}, snapshot.context(), 100'000);
  std::vector<std::string> const lines = query_test::lines_of(result.rows);
  ASSERT_EQ(lines.size(), files().points.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    point const& p = files().points[i];
    auto const partner = [&](std::size_t field) {
      return p.fields[field].empty()
                 ? std::string("NULL")
                 : std::to_string(std::stoul(p.fields[field], nullptr, 16)) + 'u';
    };
    std::vector<std::string> columns = {code(p),
                                        text(p.name()),
                                        text(p.category()),
                                        integer(p.fields[3]),
                                        text(p.fields[4]),
                                        text(p.fields[5]),
                                        number(p),
                                        text(p.number()),
                                        p.fields[9] == "Y" ? "TRUE" : "FALSE",
                                        text(p.fields[10]),
                                        text(p.fields[11]),
                                        text(text_files::find(files().blocks, p.code)),
                                        text(text_files::find(files().scripts, p.code)),
                                        partner(12),
                                        partner(13),
                                        partner(14)};
    ASSERT_EQ(lines[i], line(columns));
  }
}

TEST_F(unicode_test, classes_hold_the_code_points_of_their_categories) {
  auto snapshot = data->begin_snapshot();
  auto const binding = snapshot.bind();
  auto const objects_of = [&](std::u16string_view name) {
    auto const table = build::table(name);
    auto const extent = build::index(table, std::u16string(name) + u".extent");
    return unicode_demo::run_query(build::transform({table}, build::scan(table, extent)), {},
                                   snapshot.context(), 0)
        .row_count;
  };
  EXPECT_EQ(objects_of(unicode_demo::code_point_class), files().points.size());
  for (unicode_demo::category const& each : unicode_demo::categories()) {
    auto const count = [&](auto matches) {
      return static_cast<std::size_t>(
          std::count_if(files().points.begin(), files().points.end(), matches));
    };
    EXPECT_EQ(objects_of(each.class_name),
              count([&](point const& p) { return p.category() == each.code; }));
    EXPECT_EQ(objects_of(each.group),
              count([&](point const& p) { return p.category()[0] == each.code[0]; }));
  }
}

class unicode_input_test : public testing::Test {
 protected:
  void write_file(char const* name, std::string const& content) {
    std::ofstream(directory / name) << content;
  }
  // The files with good content but for the one given.
  void write_files(char const* name, std::string const& content) {
    write_file("Blocks.txt", "# blocks\n\n0000..007F; Basic Latin\n");
    write_file("Scripts.txt", "0041..005A ; Latin # letters\n0061 ; Latin\n");
    write_file("UnicodeData.txt", good_lines);
    write_file(name, content);
  }
  void load() { unicode_demo::load(data, directory.path(), ignore); }
  std::size_t code_points() {
    auto snapshot = data.begin_snapshot();
    auto const binding = snapshot.bind();
    auto const table = build::table(unicode_demo::code_point_class);
    auto const index = build::index(table, u"unicode.code_point.by_code");
    return unicode_demo::run_query(build::transform({table}, build::scan(table, index)), {},
                                   snapshot.context(), 0)
        .row_count;
  }

  static constexpr char const* good_lines =
      "0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;;0061;\n"
      "0061;LATIN SMALL LETTER A;Ll;0;L;;;;;N;;;0041;;0041\n";

  scratch_directory directory;
  qd::embedded::database data = qd::embedded::database::open_temporary();
  unicode_demo::progress_report const ignore = [](std::string_view, std::size_t, std::size_t) {};
};

TEST_F(unicode_input_test, malformed_lines_are_refused_with_their_place) {
  struct row {
    char const* file;
    std::string content;
    char const* error;
  };
  std::string const good = good_lines;
  std::vector<row> const rows = {
      {"Blocks.txt", "0000..007F\n", "Blocks.txt:1:1: 1 fields instead of 2"},
      {"Blocks.txt", "0080..007F; A\n", "Blocks.txt:1:7: the range ends before it begins"},
      {"Blocks.txt", "0000..007F;  \n", "Blocks.txt:1:14: the field is empty"},
      {"Blocks.txt", "# a\n0000..007F; A\n 0070..0080; B\n",
       "Blocks.txt:3:2: the block overlaps another one"},
      {"Blocks.txt", "0000..007F; A\xff\n", "Blocks.txt:1:13: the text is not UTF-8"},
      {"Scripts.txt", "0041 ; A\n0041 ; B\n",
       "Scripts.txt:2:1: the range overlaps that of another line"},
      {"UnicodeData.txt", good + "0062;B;Ll;0;L;;;;;N;;;;\n",
       "UnicodeData.txt:3:24: 14 fields instead of 15"},
      {"UnicodeData.txt", "41;A;Lu;0;L;;;;;N;;;;;\n", "UnicodeData.txt:1:1: '41' is no code point"},
      {"UnicodeData.txt", "110000;A;Lu;0;L;;;;;N;;;;;\n",
       "UnicodeData.txt:1:1: '110000' is no code point"},
      {"UnicodeData.txt", good + good, "UnicodeData.txt:3:1: the code points do not ascend"},
      {"UnicodeData.txt", "0041;A;Xx;0;L;;;;;N;;;;;\n",
       "UnicodeData.txt:1:8: 'Xx' is no general category"},
      {"UnicodeData.txt", "0041;A;Lu;255;L;;;;;N;;;;;\n",
       "UnicodeData.txt:1:11: '255' is no number from 0 to 254"},
      {"UnicodeData.txt", "0041;A;Lu;0;L;;;;1/0;N;;;;;\n",
       "UnicodeData.txt:1:18: the denominator is not positive"},
      {"UnicodeData.txt", "0041;A;Lu;0;L;;;;1x;N;;;;;\n",
       "UnicodeData.txt:1:18: '1x' is no number"},
      {"UnicodeData.txt", "0041;A;Lu;0;L;;;;;?;;;;;\n",
       "UnicodeData.txt:1:19: '?' is neither Y nor N"},
      {"UnicodeData.txt", good + "0062;B;Ll;0;L;;;;;N;;;;0063;\n",
       "UnicodeData.txt:3:24: no line has this code point"},
  };
  for (row const& each : rows) {
    write_files(each.file, each.content);
    try {
      load();
      ADD_FAILURE() << each.error;
    } catch (unicode_demo::input_error const& raised) {
      EXPECT_THAT(raised.what(), testing::EndsWith(each.error));
    }
    EXPECT_FALSE(unicode_demo::is_loaded(data.begin_snapshot()));
  }
  std::filesystem::remove(directory / "Scripts.txt");
  EXPECT_THROW(load(), unicode_demo::input_error);
}

// A load that ends in the middle leaves nothing behind, and the one before as it was.
TEST_F(unicode_input_test, a_load_is_all_or_nothing) {
  struct interruption {};
  auto const interrupted = [&] {
    unicode_demo::load(data, directory.path(),
                       [](std::string_view stage, std::size_t done, std::size_t) {
                         if (stage == "Storing code points" && done > 0) throw interruption();
                       });
  };
  write_files("UnicodeData.txt", good_lines);
  EXPECT_THROW(interrupted(), interruption);
  EXPECT_FALSE(unicode_demo::is_loaded(data.begin_snapshot()));
  load();
  EXPECT_TRUE(unicode_demo::is_loaded(data.begin_snapshot()));
  EXPECT_EQ(code_points(), 2u);

  write_file("UnicodeData.txt", std::string(good_lines) + "0062;B;Ll;0;L;;;;;N;;;;;\n");
  EXPECT_THROW(interrupted(), interruption);
  EXPECT_EQ(code_points(), 2u);
  load();
  EXPECT_EQ(code_points(), 3u);
}

}  // namespace
