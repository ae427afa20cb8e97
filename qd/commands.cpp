#include "qd/commands.h"

#include <algorithm>
#include <array>
#include <sstream>

#include "db_string/string_encoder.h"
#include "qd/run_input.h"
#include "qd/schema_text.h"
#include "qd/session.h"

namespace qd::program {

namespace {

using sql::algebra::kind;

struct command {
  std::string_view name;
  std::string_view arguments;
  std::string_view help;
  bool (*run)(session& session, std::string const& argument);
};

std::span<command const> commands();

sql::value text_value(std::string_view utf8) {
  return sql::value(db_string::dt_string(encoder::utf8_to_utf16(utf8), false));
}

sql::value count_value(std::uint64_t count) {
  return sql::value(static_cast<unsigned long>(count));
}

[[noreturn]] void refuse(std::string const& text) {
  throw sql::error(sql::error_code::syntax, text);
}

// The tables that a command is about: that of the name, or all. Refuses a name that none has.
std::vector<sql::table_description> tables_of(session& session, std::string const& name) {
  std::vector<sql::table_description> tables = session.database().tables();
  if (name.empty()) return tables;
  std::erase_if(tables, [&](sql::table_description const& each) { return each.name != name; });
  if (tables.empty()) throw sql::error(sql::error_code::unknown_name, "there is no table " + name);
  return tables;
}

bool show_help(session& session, std::string const&) {
  std::ostringstream text;
  text << "Statements end with a semicolon. Commands stand on lines of their own:\n";
  for (command const& each : commands()) {
    std::string const form = std::string(each.name) + ' ' + std::string(each.arguments);
    text << "  " << form << std::string(20 - std::min<std::size_t>(19, form.size()), ' ')
         << each.help << '\n';
  }
  text << "Ctrl-C stops the running statement; pressed three times, the program.\n";
  session.tell(text.str());
  return true;
}

bool show_tables(session& session, std::string const&) {
  std::vector<std::vector<sql::value>> rows;
  for (sql::table_description const& each : session.database().tables()) {
    rows.push_back(
        {text_value(each.name),
         each.base.empty() ? sql::value(operator_library::NullValue()) : text_value(each.base),
         count_value(each.rows)});
  }
  session.show(".tables",
               {{"table", kind::text, {}},
                {"inherits", kind::text, {}},
                {"rows", kind::unsigned_integer, {}}},
               rows);
  return true;
}

bool show_schema(session& session, std::string const& name) {
  std::vector<std::vector<sql::value>> rows;
  std::istringstream text(schema_text(session.database().tables(), name));
  for (std::string line; std::getline(text, line);) rows.push_back({text_value(line)});
  if (rows.empty() && !name.empty()) tables_of(session, name);
  session.show(".schema", {{"schema", kind::text, {}}}, rows, /*lines=*/true);
  return true;
}

bool show_indexes(session& session, std::string const& name) {
  std::vector<std::vector<sql::value>> rows;
  for (sql::table_description const& table : tables_of(session, name)) {
    for (sql::table_description::index const& each : table.indexes) {
      rows.push_back({text_value(table.name), text_value(each.name), text_value(each.columns),
                      sql::value(each.unique), count_value(each.entries)});
    }
  }
  session.show(".indexes",
               {{"table", kind::text, {}},
                {"index", kind::text, {}},
                {"columns", kind::text, {}},
                {"unique", kind::boolean, {}},
                {"entries", kind::unsigned_integer, {}}},
               rows);
  return true;
}

bool set_mode(session& session, std::string const& name) {
  if (name.empty()) {
    session.tell("The mode is " + std::string(name_of(session.format())) + "; there are " +
                 format_names() + ".\n");
    return true;
  }
  auto const format = format_of_name(name);
  if (!format) refuse("there is no mode " + name + ", but " + format_names());
  session.set_format(*format);
  return true;
}

bool is_on(std::string const& command, std::string const& state) {
  if (state != "on" && state != "off") refuse(command + " takes on or off");
  return state == "on";
}

bool set_timer(session& session, std::string const& state) {
  session.set_timer(is_on(".timer", state));
  return true;
}

bool set_plans(session& session, std::string const& state) {
  session.set_plans(is_on(".plan", state));
  return true;
}

bool set_echo(session& session, std::string const& state) {
  session.set_echo(is_on(".echo", state));
  return true;
}

bool print(session& session, std::string const& text) {
  session.print(text);
  return true;
}

bool read_script(session& session, std::string const& file) {
  if (file.empty()) refuse(".read takes the name of a file");
  return run_script_file(session, file);
}

bool check(session& session, std::string const&) {
  std::vector<std::string> const faults = session.database().check();
  std::vector<std::vector<sql::value>> rows;
  for (std::string const& each : faults) rows.push_back({text_value(each)});
  if (faults.empty()) {
    session.tell("Every index agrees with the records.\n");
  } else {
    session.show(".check", {{"fault", kind::text, {}}}, rows);
  }
  return faults.empty();
}

bool quit(session& session, std::string const&) {
  session.quit();
  return true;
}

constexpr std::array<command, 12> all_commands = {{
    {".help", "", "this list", show_help},
    {".tables", "", "the tables, and how many rows they have", show_tables},
    {".schema", "[TABLE]", "the statements that make the tables", show_schema},
    {".indexes", "[TABLE]", "the indexes, and how many entries they have", show_indexes},
    {".mode", "[FORMAT]", "how results are written", set_mode},
    {".timer", "on|off", "whether times are told", set_timer},
    {".plan", "on|off", "whether plans are shown before rows", set_plans},
    {".echo", "on|off", "whether statements are written before they run", set_echo},
    {".print", "[TEXT]", "writes a line", print},
    {".read", "FILE", "runs a script", read_script},
    {".check", "", "compares every index with the records", check},
    {".quit", "", "ends the program, as Ctrl-D does", quit},
}};

std::span<command const> commands() {
  return all_commands;
}

std::string trimmed(std::string_view text) {
  std::size_t const begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, text.find_last_not_of(" \t") - begin + 1));
}

}  // namespace

bool run_command(session& session, std::string_view line) {
  std::size_t const name_end = std::min(line.find_first_of(" \t"), line.size());
  std::string_view const name = line.substr(0, name_end);
  std::string const argument = trimmed(line.substr(name_end));
  auto const found = std::find_if(all_commands.begin(), all_commands.end(),
                                  [&](command const& each) { return each.name == name; });
  if (found == all_commands.end()) {
    refuse("there is no command " + std::string(name) + "; .help lists them");
  }
  if (found->arguments.empty() && !argument.empty()) {
    refuse(std::string(name) + " takes nothing behind it");
  }
  return found->run(session, argument);
}

}  // namespace qd::program
