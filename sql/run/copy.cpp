// COPY: CSV files into tables, and tables and queries into CSV files.
#include <chrono>

#include "sql/copy/csv_reader.h"
#include "sql/copy/csv_writer.h"
#include "sql/run/file_streams.h"
#include "sql/run/operation.h"
#include "sql/run/query.h"
#include "sql/run/table_load.h"
#include "sql/run/texts.h"

namespace qd::sql {
namespace {

csv_format format_of(syntax::copy const& copy) {
  return {copy.delimiter, copy.quote, copy.null_text};
}

std::string where(syntax::copy const& copy) {
  if (!copy.file.empty()) return "\"" + copy.file + "\"";
  return copy.from ? "the input" : "the output";
}

table_info const& table_of(syntax::copy const& copy, preparation const& prepare) {
  table_info const* const table = prepare.tables->find(prepare.from->context(), copy.table);
  if (table) return *table;
  throw error(error_code::unknown_name, "there is no table " + to_utf8(class_name_of(copy.table)),
              copy.table.position);
}

// The columns that the statement names, by number; all of the user's where it names none.
std::vector<std::size_t> columns_of(syntax::copy const& copy, table_info const& table) {
  std::vector<std::size_t> numbers;
  auto const number_of = [&](std::string const& name) {
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      if (!table.columns[i].system && table.columns[i].name == name) return i;
    }
    throw error(error_code::unknown_name, table.name + " has no column " + name,
                copy.table.position);
  };
  for (std::string const& name : copy.columns) {
    std::size_t const number = number_of(name);
    if (std::find(numbers.begin(), numbers.end(), number) != numbers.end()) {
      throw error(error_code::bad_definition, "column " + name + " is named twice",
                  copy.table.position);
    }
    numbers.push_back(number);
  }
  for (std::size_t i = 0; copy.columns.empty() && i < table.columns.size(); ++i) {
    if (!table.columns[i].system) numbers.push_back(i);
  }
  return numbers;
}

// Tells the program how far a load is, a few times a second.
class progress_reports {
 public:
  progress_reports(std::function<void(copy_progress const&)> const& listener,
                   std::uint64_t bytes_total)
      : listener_(listener), bytes_total_(bytes_total) {}

  void after_record(csv_reader const& reader, std::uint64_t rows) {
    // The clock is not looked at for every row.
    if (!listener_ || ++records_ % 1024 != 0) return;
    auto const now = std::chrono::steady_clock::now();
    if (now - last_ < std::chrono::milliseconds(250)) return;
    last_ = now;
    report(reader, rows);
  }
  void report(csv_reader const& reader, std::uint64_t rows) const {
    if (listener_) listener_({reader.bytes_done(), bytes_total_, rows});
  }

 private:
  std::function<void(copy_progress const&)> const& listener_;
  std::uint64_t bytes_total_;
  std::uint64_t records_ = 0;
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

class copy_from_operation final : public operation {
 public:
  copy_from_operation(syntax::copy const& copy, preparation const& prepare)
      : copy_(copy),
        tables_(prepare.tables),
        table_(table_of(copy, prepare)),
        columns_(columns_of(copy, table_)) {
    if (copy.file.empty() && !prepare.connection.options.copy_input) {
      throw error(error_code::not_supported, "COPY FROM STDIN is not supported here: name a file");
    }
  }

  access needs() const override { return access::write; }

  void start(run_context& run) override {
    std::optional<input_file> file;
    byte_source source;
    if (copy_.file.empty()) {
      source = [stream = run.connection.options.copy_input](std::span<char> buffer) {
        return read_stream(*stream, buffer);
      };
    } else {
      file.emplace(copy_.file);
      source = [&file](std::span<char> buffer) { return file->read(buffer); };
    }
    csv_format const format = format_of(copy_);
    csv_reader reader(std::move(source), format, columns_.size());
    progress_reports progress(run.connection.options.on_copy_progress, file ? file->size() : 0);
    refusals refused(copy_.skip_refused);
    table_load load(run, table_, columns_, format, refused);
    read(run, reader, load, refused, progress);
    if (refused.count() == 0 || copy_.skip_refused) load.finish();
    progress.report(reader, load.rows());
    if (refused.count() != 0 && !copy_.skip_refused) throw_refused(refused);
    run.outcome.rows = load.rows();
    run.outcome.refused = refused.take();
  }

 private:
  void read(run_context& run, csv_reader& reader, table_load& load, refusals& refused,
            progress_reports& progress) const {
    bool header = copy_.header;
    for (auto got = reader.next(); got != csv_reader::outcome::end; got = reader.next()) {
      run.connection.stop.check();
      if (got == csv_reader::outcome::refused) {
        refused.add(reader.line(), {}, reader.refused_text(), reader.reason());
      } else if (!header) {
        load.add(reader.fields(), reader.line());
      }
      header = false;
      if (refused.count() != 0 && !copy_.skip_refused) load.stop_inserting();
      progress.after_record(reader, load.rows());
    }
  }

  [[noreturn]] void throw_refused(refusals& refused) const {
    std::uint64_t const count = refused.count();
    std::vector<refused_line> lines = refused.take();
    refused_line const& first = lines.front();
    std::string text = where(copy_) + ": " + std::to_string(count) +
                       (count == 1 ? " line is refused" : " lines are refused") +
                       ", and nothing is loaded; line " + std::to_string(first.line);
    if (!first.column.empty()) text += ", column " + first.column;
    if (!first.value.empty()) text += ", value '" + first.value + "'";
    throw copy_refused(text + ": " + first.reason, std::move(lines));
  }

  syntax::copy const& copy_;
  std::shared_ptr<sql::catalogue> tables_;
  table_info const& table_;
  std::vector<std::size_t> columns_;
};

// What COPY table TO selects: its columns, references as the values that they are looked up by, so
// that COPY FROM reads them.
syntax::query select_of(syntax::copy const& copy, table_info const& table) {
  syntax::select_core core;
  auto from = std::make_unique<syntax::from_item>();
  from->content = syntax::table_item{copy.table};
  from->alias = "row";
  core.from.push_back(std::move(from));
  for (std::size_t const number : columns_of(copy, table)) {
    column_info const& column = table.columns[number];
    syntax::column_path path{{"row", column.name}};
    if (!column.lookup_column.empty()) path.parts.push_back(column.lookup_column);
    core.outputs.push_back(
        {std::make_unique<syntax::expression>(syntax::expression{std::move(path)}), column.name});
  }
  syntax::query query;
  query.body = std::move(core);
  return query;
}

class copy_to_operation final : public operation {
 public:
  copy_to_operation(syntax::copy const& copy, preparation const& prepare) : copy_(copy) {
    if (copy.file.empty() && !prepare.connection.options.copy_output) {
      throw error(error_code::not_supported, "COPY TO STDOUT is not supported here: name a file");
    }
    if (copy.query) {
      query_.emplace(bind(*copy.query, prepare.binding()), prepare.planning());
    } else {
      syntax::query const rows = select_of(copy, table_of(copy, prepare));
      query_.emplace(bind(rows, prepare.binding()), prepare.planning());
    }
  }

  access needs() const override { return access::read; }

  void start(run_context& run) override {
    std::optional<output_file> file;
    std::function<void(std::string_view)> sink;
    if (copy_.file.empty()) {
      sink = [stream = run.connection.options.copy_output](std::string_view bytes) {
        write_stream(*stream, bytes);
      };
    } else {
      file.emplace(copy_.file);
      sink = [&file](std::string_view bytes) { file->write(bytes); };
    }
    csv_writer writer(std::move(sink), format_of(copy_));
    if (copy_.header) {
      for (result_column const& column : query_->columns()) writer.field(column.name);
      writer.end_record();
    }
    query_->start(std::move(*run.from), run.parameters);
    for (std::vector<value> row; query_->next(row);) {
      for (value const& each : row) {
        each.is_null() ? writer.null() : writer.field(display_text(each));
      }
      writer.end_record();
      run.connection.stop.check();
      ++run.outcome.rows;
    }
    writer.flush();
    if (file) file->finish();
  }

  void end() noexcept override { query_->end(); }

 private:
  syntax::copy const& copy_;
  std::optional<query> query_;
};

}  // namespace

std::unique_ptr<operation> make_copy(syntax::copy const& copy, preparation const& prepare) {
  if (copy.from) return std::make_unique<copy_from_operation>(copy, prepare);
  return std::make_unique<copy_to_operation>(copy, prepare);
}

}  // namespace qd::sql
