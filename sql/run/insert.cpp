// INSERT: rows of VALUES or of a query.
#include "sql/run/operation.h"
#include "sql/run/query.h"
#include "sql/run/row_inserter.h"

namespace qd::sql {
namespace {

// INSERT ... DEFAULT VALUES: a row of NULLs.
bool is_default_row(syntax::insert const& insert) {
  return insert.source == nullptr;
}

class insert_operation final : public operation {
 public:
  insert_operation(parsed_statement const& statement, preparation const& prepare)
      : statement_(statement),
        syntax_(std::get<syntax::insert>(statement.content.content)),
        tables_(prepare.tables) {
    bound_insert bound = bind(syntax_, prepare.binding());
    table_ = bound.table;
    columns_ = std::move(bound.columns);
    if (!is_default_row(syntax_)) {
      source_.emplace(std::move(bound.source), prepare.planning());
    }
    // Their parameters count, and their faults are to be found now. Plans are made when they run.
    for (syntax::insert const& piece : statement.later_pieces) {
      if (bind(piece, prepare.binding()).columns != columns_) {
        throw error(error_code::syntax, "the rows of VALUES have different numbers of values",
                    piece.source->position);
      }
    }
  }

  access needs() const override { return access::write; }

  void start(run_context& run) override {
    row_inserter inserter(run, *table_, columns_);
    if (!source_) {
      inserter.insert(std::vector<value>(columns_.size(), operator_library::NullValue()));
      run.outcome.rows = 1;
    } else {
      insert_rows(*source_, run, inserter);
    }
    for (syntax::insert const& piece : statement_.later_pieces) {
      run.connection.stop.check();
      reader from = run.through_transaction();
      std::vector<kind> parameters;
      preparation const prepare{run.connection, &from, tables_, parameters};
      query source(bind(piece, prepare.binding()).source, prepare.planning());
      insert_rows(source, run, inserter);
    }
    inserter.finish();
  }

  void end() noexcept override {
    if (source_) source_->end();
  }

 private:
  // All rows are there before the first is written: the query may read what is written.
  static void insert_rows(query& source, run_context& run, row_inserter& inserter) {
    std::vector<std::vector<value>> rows;
    source.start(run.through_transaction(), run.parameters);
    for (std::vector<value> row; source.next(row);) rows.push_back(std::move(row));
    for (std::vector<value> const& row : rows) {
      run.connection.stop.check();
      inserter.insert(row);
      ++run.outcome.rows;
    }
  }

  parsed_statement const& statement_;
  syntax::insert const& syntax_;
  std::shared_ptr<sql::catalogue> tables_;
  table_info const* table_;
  std::vector<std::size_t> columns_;
  std::optional<query> source_;  // Empty for DEFAULT VALUES.
};

}  // namespace

std::unique_ptr<operation> make_insert(parsed_statement const& statement,
                                       preparation const& prepare) {
  return std::make_unique<insert_operation>(statement, prepare);
}

}  // namespace qd::sql
