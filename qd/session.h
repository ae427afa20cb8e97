// One run of the program: a database, and how what is asked of it is answered.
#pragma once

#include <atomic>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "qd/formats/result_format.h"
#include "qd/input_splitter.h"
#include "qd/progress_bar.h"
#include "sql/connection.h"

namespace qd::program {

struct session_settings {
  std::filesystem::path database;  // Empty: a temporary one.
  bool existing = false;           // The database must exist.
  output_format format = output_format::table;
  bool timer = false;
  // What COPY FROM STDIN reads; null when standard input is the script.
  std::istream* copy_input = nullptr;
};

class session {
 public:
  // Opens the database. Results go to `out`, failures and what is beside results to `messages`.
  session(session_settings const& settings, std::ostream& out, std::ostream& messages);

  // Values of $1, $2, ... for the statements that have such.
  void set_parameters(std::vector<std::string> const& arguments);
  // When all statements have run: whether each value had a parameter. Tells of one that had none.
  bool used_all_parameters();

  // Runs a statement or command and tells the outcome. Returns whether it succeeded.
  bool run(input_piece const& piece, std::string_view script_name);

  // Shows rows that a command has gathered, as those of a statement. A cell is a text or a number.
  void show(std::string_view command, std::vector<sql::result_column> const& columns,
            std::vector<std::vector<sql::value>> const& rows, bool lines = false);
  // Says something beside the results.
  void tell(std::string_view text);

  sql::connection& database() { return database_; }

  output_format format() const { return format_; }
  void set_format(output_format format);
  bool timer() const { return timer_; }
  void set_timer(bool on);

  // Whether statements are written before they run, and whether their plans are.
  void set_echo(bool on) { echo_ = on; }
  void set_plans(bool on) { plans_ = on; }

  // Writes a line between results.
  void print(std::string_view text);

  // Asks for the end of the program.
  void quit() { quit_ = true; }
  bool wants_to_quit() const { return quit_; }

  // From another thread: asks the statement or command that runs to stop. Returns how often it has
  // been asked, 0 when none runs.
  int interrupt();
  // Whether the latest statement or command was stopped so.
  bool was_interrupted() const { return interrupts_ > 0; }

 private:
  sql::connection open(session_settings const& settings);
  void run_statement(input_piece const& piece);
  void bind_parameters(sql::statement& statement);
  void tell_failure(sql::error const& error, input_piece const& piece,
                    std::string_view script_name);

  std::ostream& out_;
  std::ostream& messages_;
  progress_bar progress_;
  sql::connection database_;
  output_format format_;
  bool timer_;
  bool echo_ = false;
  bool plans_ = false;
  std::unique_ptr<result_format> result_;
  std::vector<sql::value> parameters_;
  std::size_t most_wanted_ = 0;  // The greatest parameter number of a statement that has run.
  bool quit_ = false;
  std::atomic<bool> running_ = false;
  std::atomic<int> interrupts_ = 0;  // Of the latest statement or command.
};

}  // namespace qd::program
