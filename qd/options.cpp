#include "qd/options.h"

#include <CLI/CLI.hpp>
#include <sstream>

namespace qd::program {

namespace {

constexpr int usage_status = 2;

constexpr char const* description =
    "SQL over an object database.\n\n"
    "  qd DATABASE                 a prompt, when standard input is a terminal\n"
    "  qd DATABASE 'SQL' -p VALUE  runs the statements and exits\n"
    "  qd DATABASE < script.sql    runs a script and exits\n\n"
    "The database is created when it does not exist. Without one, a temporary database serves.";

constexpr char const* footer =
    "A parameter's value is a number, NULL, TRUE, FALSE, x'0a' or 'text' as SQL writes them, and "
    "otherwise\ntext as it stands. Exit status: 0 when all statements succeeded, 1 when one "
    "failed, "
    "2 for a wrong command\nline. At the prompt, .help lists the commands.";

}  // namespace

std::string version_text() {
  return "qd " QD_VERSION;
}

options parse_options(int argument_count, char const* const* arguments) {
  options chosen;
  std::string database;
  std::string sql;
  std::string format;
  CLI::App app(description, "qd");
  app.footer(footer);
  app.set_version_flag("--version", version_text());
  app.add_option("DATABASE", database, "The database's path");
  CLI::Option const* const has_sql = app.add_option("SQL", sql, "Statements to run");
  app.add_option("-p,--parameter", chosen.parameters, "The value of $1, then of $2, ...")
      ->type_name("VALUE")
      ->expected(1)
      ->take_all();
  app.add_option("--format", format,
                 format_names() + "; table on a terminal, csv elsewhere, unless given");
  app.add_flag("--continue", chosen.continue_after_errors, "Go on after a statement that failed");
  app.add_flag("--timer", chosen.timer, "Tell how long statements take (at the prompt: always)");
  app.add_flag("--existing", chosen.existing, "Refuse to create the database");
  try {
    app.parse(argument_count, arguments);
  } catch (CLI::Success const& request) {
    std::ostringstream text;
    app.exit(request, text, text);
    throw nothing_to_run(text.str(), 0);
  } catch (CLI::ParseError const& wrong) {
    std::ostringstream text;
    app.exit(wrong, text, text);
    throw nothing_to_run(text.str(), usage_status);
  }
  chosen.database = database;
  if (*has_sql) chosen.sql = sql;
  if (!format.empty()) {
    chosen.format = format_of_name(format);
    if (!chosen.format) {
      throw nothing_to_run("--format: " + format + " is none of " + format_names() + '\n',
                           usage_status);
    }
  }
  if (!chosen.parameters.empty() && !chosen.sql) {
    throw nothing_to_run("-p needs the SQL that it belongs to, on the command line\n",
                         usage_status);
  }
  if (chosen.existing && database.empty()) {
    throw nothing_to_run("--existing needs a database\n", usage_status);
  }
  return chosen;
}

}  // namespace qd::program
