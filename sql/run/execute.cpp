// EXECUTE: a statement prepared by name, run with arguments.
#include "sql/run/operation.h"
#include "sql/run/query.h"

namespace qd::sql {
namespace {

class execute_operation final : public operation {
 public:
  execute_operation(parsed_statement const& statement,
                    std::shared_ptr<parsed_statement const> executed, preparation const& prepare)
      : executed_(std::move(executed)) {
    prepare_executed(prepare, statement.content.position);
    if (statement.arguments) {
      arguments_.emplace(bind(*statement.arguments, prepare.binding()), prepare.planning());
    }
    std::size_t const given = arguments_ ? arguments_->columns().size() : 0;
    if (given != inner_parameters_.size()) {
      throw error(error_code::bad_parameter,
                  "the prepared statement has " + std::to_string(inner_parameters_.size()) +
                      " parameters, and " + std::to_string(given) + " are given",
                  statement.content.position);
    }
  }

  access needs() const override { return operation_->needs(); }
  std::vector<result_column> const& columns() const override { return operation_->columns(); }

  void start(run_context& run) override {
    std::vector<value> arguments;
    if (arguments_) {
      arguments_->start(run.transaction ? run.through_transaction() : run.connection.begin_read(),
                        run.parameters);
      arguments_->next(arguments);
      arguments_->end();
    }
    run.parameters = arguments;
    operation_->start(run);
  }
  bool next(std::vector<value>& row) override { return operation_->next(row); }
  unsigned long reading() const override { return operation_->reading(); }
  void end() noexcept override { operation_->end(); }

 private:
  void prepare_executed(preparation const& prepare, text_position position) {
    preparation const inner{prepare.connection, prepare.from, prepare.tables, inner_parameters_};
    at_place(position, [&] { operation_ = make_operation(*executed_, inner); });
  }

  std::shared_ptr<parsed_statement const> executed_;
  std::vector<kind> inner_parameters_;
  std::unique_ptr<operation> operation_;
  std::optional<query> arguments_;
};

}  // namespace

std::unique_ptr<operation> make_execute(parsed_statement const& statement,
                                        preparation const& prepare) {
  return std::make_unique<execute_operation>(
      statement, prepare.connection.prepared_statement(statement.content), prepare);
}

}  // namespace qd::sql
