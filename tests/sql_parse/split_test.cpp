// Where scripts are cut: a semicolon inside a text, name or comment must not end a statement.
#include <gtest/gtest.h>

#include "sql/error.h"
#include "sql/parse/parse.h"

namespace qd::sql {

namespace {

// The parts, each between brackets; + behind an incomplete script.
std::string split_up(std::string_view script) {
  bool incomplete = false;
  std::string result;
  for (script_part const& each : split(script, &incomplete)) {
    EXPECT_EQ(script.substr(each.begin, each.text.size()), each.text);
    result += "[" + std::string(each.text) + "]";
  }
  return result + (incomplete ? "+" : "");
}

}  // namespace

TEST(Split, CutsAtSemicolonsOnly) {
  struct {
    char const* script;
    char const* expected;
  } const cases[] = {
      {"", ""},
      {" ; ;; -- nothing\n", ""},
      {"a; b ;c", "[a][b][c]+"},
      {"a;\n", "[a]"},
      {"\xEF\xBB\xBF"
       "a;",
       "[a]"},
      {"'a;''b;'; \"c;\"\"d;\";", "['a;''b;'][\"c;\"\"d;\"]"},
      {"E'a\\';b'; 'c\\'; d;", "[E'a\\';b']['c\\'][d]"},
      // A text goes on behind a line end, by the rules of its beginning.
      {"E'a'\n -- x\n '\\';b'; c;", "[E'a'\n -- x\n '\\';b'][c]"},
      {"E'a' '\\'; b;", "[E'a' '\\'][b]"},
      {"type'a\\'; b;", "[type'a\\'][b]"},
      {"u&'a;' U&\"b;\"; x'0;';", "[u&'a;' U&\"b;\"][x'0;']"},
      {"$$a;$$; $x$b;$$;$x$; $1; a$b$; c$b$;", "[$$a;$$][$x$b;$$;$x$][$1][a$b$][c$b$]"},
      {"a -- b;\n c; d /* ; /* ; */ ; */ e;", "[a -- b;\n c][d /* ; /* ; */ ; */ e]"},
      {"a --b;\r c;", "[a --b;\r c]"},
      {"1--2;\n; 3*/*;*/4; a<--b;\n;", "[1][3*/*;*/4][a<]"},
      {"a; 'b;", "[a]['b;]+"},
      {"a; \"b;", "[a][\"b;]+"},
      {"a; $x$b;", "[a][$x$b;]+"},
      {"a; /* b;", "[a][ /* b;]+"},
      {"a; -- b;", "[a]"},
      {"(a; b);", "[(a][b)]"},
  };
  for (auto const& each : cases) EXPECT_EQ(split_up(each.script), each.expected) << each.script;
  EXPECT_THROW(split("a; '\xFF'"), error);
}

}  // namespace qd::sql
