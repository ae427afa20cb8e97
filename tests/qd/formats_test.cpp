// What each format writes of the same results.
#include <gmock/gmock.h>

#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "qd/session.h"

namespace {

using namespace qd::program;  // NOLINT: these tests are about it
using nlohmann::json;
using testing::HasSubstr;

class formats : public testing::Test {
 protected:
  // What statements write in a format; failures go to `messages`.
  std::string written(output_format format, std::vector<std::string> const& statements) {
    std::ostringstream out;
    messages.str({});
    session_settings settings;
    settings.format = format;
    session runs(settings, out, messages);
    for (std::string const& each : statements) runs.run({each.starts_with('.'), each, 1}, {});
    return out.str();
  }
  std::ostringstream messages;
};

std::string const values =
    "SELECT 1 AS n, 'a|\"日\"\n' AS t, NULL AS t, 0.5 AS d, TRUE AS b, x'0aff' AS y, "
    "18446744073709551615 AS u, 1e0 / 0 AS f, '' AS e";

TEST_F(formats, table) {
  EXPECT_EQ(written(output_format::table, {"VALUES (1, '日本'), (-20, 'b'), (NULL, NULL)"}),
            " column1 | column2\n"
            "---------+---------\n"
            "       1 | 日本\n"
            "     -20 | b\n"
            "    NULL | NULL\n"
            "3 rows\n");
  EXPECT_EQ(written(output_format::table, {"SELECT 1 AS a WHERE FALSE"}), " a\n---\n0 rows\n");
  EXPECT_EQ(written(output_format::table,
                    {"CREATE TABLE t (a bigint)", "INSERT INTO t VALUES (1)", "DELETE FROM t"}),
            "CREATE TABLE\nINSERT: 1 row\nDELETE: 1 row\n");
}

// Rows beyond those that the widths come from still arrive, and so do those before a failure.
TEST_F(formats, table_of_many_rows_and_of_some_before_a_failure) {
  std::string insert = "INSERT INTO t VALUES (0)";
  for (int i = 1; i < 1500; ++i) insert += ", (" + std::to_string(i) + ")";
  std::vector<std::string> const filled = {"CREATE TABLE t (a bigint)", insert};
  auto with = [&](std::string const& query) {
    std::vector<std::string> all = filled;
    all.push_back(query);
    std::string const text = written(output_format::table, all);
    return text.substr(text.find("1,500 rows\n") + 11);
  };
  std::string const whole = with("SELECT a FROM t ORDER BY a");
  EXPECT_THAT(whole, HasSubstr("\n 999\n 1000\n"));
  EXPECT_THAT(whole, testing::EndsWith("\n 1499\n1,500 rows\n"));
  EXPECT_THAT(with("SELECT 1 / (3 - a) FROM t"), testing::EndsWith("\n        1\n"));
  EXPECT_THAT(messages.str(), HasSubstr("error 7041"));
}

TEST_F(formats, csv_and_markdown) {
  EXPECT_EQ(written(output_format::csv, {values}),
            "n,t,t,d,b,y,u,f,e\n"
            "1,\"a|\"\"日\"\"\n\",,0.5,true,\\x0aff,18446744073709551615,Infinity,\"\"\n");
  EXPECT_EQ(written(output_format::markdown, {"SELECT 1 AS n, 'a|<b>\n*' AS t, NULL AS z"}),
            "| n | t | z |\n| ---: | --- | --- |\n| 1 | a\\|&lt;b><br>\\* | *NULL* |\n");
  // A schema can be read in again.
  EXPECT_EQ(
      written(output_format::markdown, {"CREATE TABLE t_1 (a bigint)", ".schema", "SELECT b"}),
      "```\nCREATE TABLE t_1 (\n  a bigint\n);\n```\n");
}

TEST_F(formats, json) {
  json const rows = json::parse(written(output_format::json, {values}));
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0]["n"], 1);
  EXPECT_EQ(rows[0]["t"], "a|\"日\"\n");
  EXPECT_TRUE(rows[0]["t_2"].is_null());
  EXPECT_EQ(rows[0]["d"], 0.5);
  EXPECT_EQ(rows[0]["b"], true);
  EXPECT_EQ(rows[0]["u"], std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(rows[0]["f"], "Infinity");
  EXPECT_EQ(json::parse(written(output_format::json, {"SELECT 1 WHERE FALSE"})), json::array());
  // Rows that end in a failure are no whole array.
  std::string const part =
      written(output_format::json, {"SELECT 1 / a FROM (VALUES (1), (0)) AS v(a)"});
  EXPECT_THAT(part, HasSubstr("{\"?column?\":1}"));
  EXPECT_FALSE(json::accept(part));
}

TEST_F(formats, jsonl) {
  std::istringstream lines(
      written(output_format::jsonl,
              {values, "SELECT\n  nothing", "SELECT 1 / a FROM (VALUES (1), (0)) AS v(a)",
               "CREATE TABLE t (a bigint, t t)", "INSERT INTO t VALUES (5, NULL)", ".tables",
               "SELECT '\x01\x1f\x7f\\', 0e0 / 0, 1.5e0", "PREPARE p AS SELECT $1, $2, $3",
               "EXECUTE p ('5', 5, x'0aff')"}));
  std::vector<json> objects;
  for (std::string line; std::getline(lines, line);) objects.push_back(json::parse(line));
  ASSERT_EQ(objects.size(), 9u);
  EXPECT_EQ(objects[0]["command"], "SELECT");
  EXPECT_EQ(objects[0]["columns"][3], json({{"name", "d"}, {"kind", "numeric"}}));
  EXPECT_EQ(objects[0]["rows"], json({{"1", "a|\"日\"\n", nullptr, "0.5", true, "0aff",
                                       "18446744073709551615", "Infinity", ""}}));
  EXPECT_EQ(objects[0]["row_count"], 1);
  EXPECT_EQ(objects[1], json({{"error",
                               {{"code", 9003},
                                {"text", "there is no column nothing"},
                                {"position", 9},
                                {"line", 2},
                                {"column", 3}}}}));
  EXPECT_EQ(objects[2]["rows"], json({{"1"}}));
  EXPECT_EQ(objects[2]["error"]["code"], 7041);
  EXPECT_FALSE(objects[2].contains("row_count"));
  EXPECT_EQ(objects[4]["row_count"], 1);
  EXPECT_EQ(objects[5]["rows"], json({{"t", nullptr, "1"}}));
  EXPECT_EQ(objects[6]["rows"], json({{"\x01\x1f\x7f\\", "NaN", 1.5}}));
  // Nothing told the kinds of these columns, so the values tell theirs.
  EXPECT_EQ(
      objects[8]["rows"],
      json({{"5", {{"kind", "bigint"}, {"value", "5"}}, {{"kind", "bytea"}, {"value", "0aff"}}}}));
  EXPECT_EQ(messages.str(), "");
}

}  // namespace
