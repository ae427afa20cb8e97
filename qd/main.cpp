// qd: SQL from a prompt, from a script or from the command line.
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <sstream>

#include "qd/interrupts.h"
#include "qd/line_editor.h"
#include "qd/options.h"
#include "qd/run_input.h"
#include "qd/session.h"

namespace {

using namespace qd::program;  // NOLINT: this is its main

constexpr int failure_status = 1;
// What shells give a program that Ctrl-C ended.
constexpr int interrupted_status = 130;

session_settings settings_of(options const& chosen, bool prompt, bool sql_given) {
  session_settings settings;
  settings.database = chosen.database;
  settings.existing = chosen.existing;
  bool const to_terminal = isatty(STDOUT_FILENO) == 1;
  settings.format = chosen.format.value_or(to_terminal ? output_format::table : output_format::csv);
  settings.timer = chosen.timer || prompt;
  if (sql_given) settings.copy_input = &std::cin;
  return settings;
}

// A statement hears that it is to stop when it reads the database. One that computes for long over
// rows that it holds goes on, and those who insist end the program.
void insist(int times_asked) {
  if (times_asked == 2) std::cerr << "Ctrl-C once more ends the program.\n";
  if (times_asked > 2) std::_Exit(interrupted_status);
}

// A prompt, over a terminal.
int run_interactively(session& session, options const& chosen) {
  line_editor editor(default_history_file());
  interrupt_watcher const watcher([&] {
    int const times_asked = session.interrupt();
    times_asked == 0 ? editor.interrupt() : insist(times_asked);
  });
  std::cout << version_text() << ", "
            << (chosen.database.empty() ? "a temporary database" : chosen.database.string())
            << ". Statements end with a semicolon; .help lists the commands." << std::endl;
  run_prompt(session, editor);
  return 0;
}

int run_to_the_end(session& session, options const& chosen) {
  // The program waits for input, or for its output to be taken, when no statement runs.
  interrupt_watcher const watcher([&] {
    int const times_asked = session.interrupt();
    if (times_asked == 0) std::_Exit(interrupted_status);
    insist(times_asked);
  });
  auto const then = chosen.continue_after_errors ? after_failure::go_on : after_failure::stop;
  bool good = false;
  if (chosen.sql) {
    session.set_parameters(chosen.parameters);
    std::istringstream script(*chosen.sql);
    good = run_script(session, script, {}, then);
    if (good && !session.wants_to_quit()) good = session.used_all_parameters();
  } else {
    good = run_script(session, std::cin, "standard input", then);
  }
  if (session.database().in_transaction()) {
    session.tell("The transaction was not committed, and is rolled back.\n");
    good = false;
  }
  if (session.was_interrupted()) return interrupted_status;
  return good ? 0 : failure_status;
}

int run(options const& chosen) {
  bool const prompt = !chosen.sql && isatty(STDIN_FILENO) == 1;
  session session(settings_of(chosen, prompt, chosen.sql.has_value()), std::cout, std::cerr);
  return prompt ? run_interactively(session, chosen) : run_to_the_end(session, chosen);
}

}  // namespace

int main(int argument_count, char** arguments) {
  std::ios::sync_with_stdio(false);
  std::cin.tie(nullptr);
  try {
    return run(parse_options(argument_count, arguments));
  } catch (nothing_to_run const& request) {
    (request.status() == 0 ? std::cout : std::cerr) << request.what();
    return request.status();
  } catch (qd::sql::error const& error) {
    std::cerr << "qd: error " << error.code() << ": " << error.what() << '\n';
  } catch (std::exception const& error) {
    std::cerr << "qd: " << error.what() << '\n';
  }
  return failure_status;
}
