#include "sql/connection.h"

#include <utility>

#include "db_string/string_encoder.h"
#include "sql/parse/parse.h"
#include "sql/run/describe.h"
#include "sql/run/error_translation.h"
#include "sql/run/statement_state.h"

namespace qd::sql {
namespace {

embedded::open_options kernel_options(connection_options const& options) {
  embedded::open_options chosen;
  chosen.create = options.create;
  chosen.capacity_bytes = options.capacity_bytes;
  // begin_write of connection_state waits in slices.
  chosen.writer_wait = writer_wait_slice;
  return chosen;
}

// Moves the places of errors from a statement's text to the script's.
template <typename Action>
decltype(auto) at_offset(text_position offset, Action&& action) {
  try {
    return action();
  } catch (copy_refused const&) {
    throw;
  } catch (error const& failed) {
    if (failed.position() == no_position) throw;
    throw error(failed.code(), failed.what(), failed.position() + offset);
  }
}

}  // namespace

statement::statement(std::unique_ptr<statement_state> state) : state_(std::move(state)) {}
statement::statement(statement&&) noexcept = default;
statement& statement::operator=(statement&&) noexcept = default;
statement::~statement() = default;

std::size_t statement::parameter_count() const {
  return state_->parameters.size();
}

void statement::bind(std::size_t number, value content) {
  if (number == 0 || number > state_->parameters.size()) {
    throw error(error_code::bad_parameter, "the statement has no parameter $" +
                                               std::to_string(number) + ", but " +
                                               std::to_string(state_->parameters.size()));
  }
  state_->parameters[number - 1] = std::move(content);
}

void statement::bind_text(std::size_t number, std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {
    throw error(error_code::bad_parameter,
                "parameter $" + std::to_string(number) + ": a text cannot have U+0000");
  }
  std::u16string units;
  try {
    units = encoder::utf8_to_utf16(text);
  } catch (std::range_error const&) {
    throw error(error_code::bad_parameter,
                "parameter $" + std::to_string(number) + ": the text is not valid UTF-8");
  }
  bind(number, value(db_string::dt_string(units, false)));
}

std::vector<result_column> const& statement::columns() const {
  return state_->columns();
}

bool statement::step() {
  return translated([&] { return state_->step(); });
}

std::span<value const> statement::row() const {
  return state_->row;
}

std::string statement::text(std::size_t column) const {
  if (column >= state_->row.size()) {
    throw error(error_code::wrong_row, "there is no row, or no column " + std::to_string(column));
  }
  return display_text(state_->row[column]);
}

void statement::reset() noexcept {
  state_->reset();
}

std::uint64_t statement::rows_affected() const {
  return state_->outcome.rows;
}

std::string const& statement::command() const {
  return state_->parsed->command;
}

std::vector<refused_line> const& statement::refused_lines() const {
  return state_->outcome.refused;
}

std::string statement::plan_text() const {
  return translated([&] { return state_->plan_text(); });
}

connection connection::open(std::filesystem::path const& path, connection_options options) {
  return translated([&] {
    connection opened;
    auto data = embedded::database::open(path, kernel_options(options));
    opened.state_ = std::make_shared<connection_state>(std::move(data), std::move(options));
    return opened;
  });
}

connection connection::open_temporary(connection_options options) {
  return translated([&] {
    connection opened;
    auto data = embedded::database::open_temporary(kernel_options(options));
    opened.state_ = std::make_shared<connection_state>(std::move(data), std::move(options));
    return opened;
  });
}

connection::connection() = default;
connection::connection(connection&&) noexcept = default;
connection& connection::operator=(connection&&) noexcept = default;
connection::~connection() = default;

statement connection::prepare(std::string_view text) {
  return translated([&] { return statement(std::make_unique<statement_state>(state_, text)); });
}

std::uint64_t connection::execute(std::string_view script) {
  return translated([&] {
    std::uint64_t rows = 0;
    for (script_part const& part : split(script)) {
      at_offset(part.begin, [&] {
        statement next = prepare(part.text);
        while (next.step()) {
        }
        rows = next.rows_affected();
      });
    }
    return rows;
  });
}

bool connection::in_transaction() const {
  return state_->transaction != nullptr;
}

void connection::interrupt() noexcept {
  state_->stop.request();
}

std::vector<table_description> connection::tables() {
  return translated([&] {
    reader from = state_->begin_read();
    return describe_tables(from.context());
  });
}

std::vector<std::string> connection::check() {
  return translated([&] {
    stop_scope const running(state_->stop);
    embedded::snapshot const snapshot = state_->data.begin_snapshot();
    state_->stop.watch(snapshot.context());
    return snapshot.check();
  });
}

}  // namespace qd::sql
