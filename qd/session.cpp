#include "qd/session.h"

#include <algorithm>
#include <ostream>

#include "qd/commands.h"
#include "qd/error_report.h"
#include "qd/parameters.h"

namespace qd::program {

namespace {

using clock = std::chrono::steady_clock;

// While it lives, a flag is set. They may stand inside one another.
class flag_scope {
 public:
  explicit flag_scope(std::atomic<bool>& flag) : flag_(flag), before_(flag.exchange(true)) {}
  ~flag_scope() { flag_ = before_; }
  flag_scope(flag_scope const&) = delete;
  flag_scope& operator=(flag_scope const&) = delete;

 private:
  std::atomic<bool>& flag_;
  bool before_;
};

// Fails when nothing can be written any more: a full disk.
void require_good(std::ostream const& out) {
  if (!out) throw std::runtime_error("the output cannot be written");
}

}  // namespace

session::session(session_settings const& settings, std::ostream& out, std::ostream& messages)
    : out_(out),
      messages_(messages),
      database_(open(settings)),
      format_(settings.format),
      timer_(settings.timer),
      result_(make_format(format_, out_, timer_)) {}

sql::connection session::open(session_settings const& settings) {
  sql::connection_options options;
  options.create = !settings.existing;
  options.on_copy_progress = [this](sql::copy_progress const& progress) {
    progress_.show(progress);
  };
  options.copy_input = settings.copy_input;
  // The lines of COPY TO STDOUT would stand between those of a format for programs.
  bool const for_programs =
      settings.format == output_format::json || settings.format == output_format::jsonl;
  if (!for_programs) options.copy_output = &out_;
  if (settings.database.empty()) return sql::connection::open_temporary(options);
  return sql::connection::open(settings.database, options);
}

void session::set_parameters(std::vector<std::string> const& arguments) {
  for (std::string const& each : arguments) {
    parameters_.push_back(parameter_value(database_, each));
  }
}

void session::set_format(output_format format) {
  format_ = format;
  result_ = make_format(format_, out_, timer_);
}

void session::set_timer(bool on) {
  timer_ = on;
  result_ = make_format(format_, out_, timer_);
}

int session::interrupt() {
  if (!running_) return 0;
  int const asked = ++interrupts_;
  database_.interrupt();
  return asked;
}

bool session::run(input_piece const& piece, std::string_view script_name) {
  interrupts_ = 0;
  try {
    flag_scope const running(running_);
    if (piece.is_command) return run_command(*this, piece.text);
    run_statement(piece);
    return true;
  } catch (sql::error const& error) {
    progress_.clear();
    tell_failure(error, piece, script_name);
    return false;
  }
}

void session::run_statement(input_piece const& piece) {
  if (echo_) print(piece.text + ";\n");
  progress_.restart();
  auto const start = clock::now();
  sql::statement statement = database_.prepare(piece.text);
  bind_parameters(statement);
  milliseconds const prepared = clock::now() - start;
  if (plans_) {
    std::string const plan = statement.plan_text();
    if (!plan.empty()) print(plan);
  }
  milliseconds run{0};
  auto running_since = clock::now();
  result_->begin({statement.command(), statement.columns(), statement.command() == "EXPLAIN"});
  std::uint64_t rows = 0;
  while (statement.step()) {
    // Writing the row is no time of the statement's.
    auto const row_ready = clock::now();
    run += row_ready - running_since;
    result_->row(statement.row());
    require_good(out_);
    ++rows;
    // A statement that waits for its output to be taken is not running itself.
    if (was_interrupted())
      throw sql::error(sql::error_code::interrupted, "the statement was stopped");
    running_since = clock::now();
  }
  run += clock::now() - running_since;
  progress_.clear();
  if (statement.columns().empty()) rows = statement.rows_affected();
  result_end const outcome{rows, statement.refused_lines(), prepared, run};
  result_->end(outcome);
  require_good(out_);
  if (result_->tells_everything()) return;
  tell(refused_lines_text(statement.refused_lines()));
  // Formats that other programs read have no place for times.
  if (timer_ && format_ != output_format::table) {
    tell(std::string(statement.command()) + " in " + time_text(outcome) + '\n');
  }
}

void session::bind_parameters(sql::statement& statement) {
  std::size_t const wanted = statement.parameter_count();
  most_wanted_ = std::max(most_wanted_, wanted);
  // A plan shows parameters as they are.
  bool const needs_values = statement.command() != "EXPLAIN";
  if (needs_values && wanted > parameters_.size()) {
    throw sql::error(sql::error_code::bad_parameter,
                     "the statement has a parameter $" + std::to_string(wanted) + ", and " +
                         count_text(parameters_.size(), "value") +
                         (parameters_.size() == 1 ? " is" : " are") + " given with -p");
  }
  std::size_t const bound = std::min(wanted, parameters_.size());
  for (std::size_t i = 0; i < bound; ++i) statement.bind(i + 1, parameters_[i]);
}

bool session::used_all_parameters() {
  if (most_wanted_ >= parameters_.size()) return true;
  std::size_t const first_unused = most_wanted_ + 1;
  tell_failure(sql::error(sql::error_code::bad_parameter, "no statement has a parameter $" +
                                                              std::to_string(first_unused) +
                                                              ", to which -p gives a value"),
               {false, {}, 0}, {});
  return false;
}

void session::tell_failure(sql::error const& error, input_piece const& piece,
                           std::string_view script_name) {
  failure const why = failure_of(error, piece.text, piece.line);
  result_->fail(why);
  require_good(out_);
  if (!result_->tells_everything()) tell(report(why, piece.text, script_name));
}

void session::show(std::string_view command, std::vector<sql::result_column> const& columns,
                   std::vector<std::vector<sql::value>> const& rows, bool lines) {
  result_->begin({command, columns, lines});
  for (std::vector<sql::value> const& row : rows) result_->row(row);
  result_->end({rows.size(), {}, milliseconds(0), milliseconds(0), false});
  require_good(out_);
}

void session::print(std::string_view text) {
  out_ << text << '\n';
  require_good(out_);
}

void session::tell(std::string_view text) {
  if (text.empty()) return;
  out_ << std::flush;
  messages_ << text << std::flush;
}

}  // namespace qd::program
