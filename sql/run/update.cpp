// UPDATE: new values for the rows of a query.
#include "sql/algebra/operations.h"
#include "sql/run/operation.h"
#include "sql/run/query.h"
#include "sql/run/row_updater.h"

namespace qd::sql {
namespace {

class update_operation final : public operation {
 public:
  update_operation(syntax::update const& syntax, preparation const& prepare)
      : tables_(prepare.tables) {
    bound_update bound = bind(syntax, prepare.binding());
    table_ = bound.table;
    columns_ = std::move(bound.columns);
    keys_ = unique_keys_with(prepare.from->context(), *table_, columns_);
    auto const object = std::get<algebra::TableVariable>(bound.source.outputs.front().variable);
    for (std::size_t const number : old_columns(columns_, keys_)) {
      column_info const& column = table_->columns[number];
      algebra::Expression const read = algebra::column(column.kind, column.column, object);
      bound.source.outputs.push_back({"", physical_queryplan::AsPhysicalVariable(read)});
    }
    source_.emplace(std::move(bound.source), prepare.planning());
  }

  access needs() const override { return access::write; }

  void start(run_context& run) override {
    std::vector<row_change> rows;
    source_->start(run.through_transaction(), run.parameters);
    for (std::vector<value> row; source_->next(row);) rows.push_back(change_of(row));
    run.outcome.rows = rows.size();
    auto const updater = std::make_shared<row_updater>(run, *table_, columns_, keys_);
    run.undo.emplace_back([updater] { updater->undo(); });
    updater->update(std::move(rows));
  }

  void end() noexcept override { source_->end(); }

 private:
  row_change change_of(std::vector<value>& row) const {
    auto const first_old = row.begin() + 1 + static_cast<std::ptrdiff_t>(columns_.size());
    return {{get<QD_OBJ_REF>(row.front()).oid},
            {std::make_move_iterator(row.begin() + 1), std::make_move_iterator(first_old)},
            {std::make_move_iterator(first_old), std::make_move_iterator(row.end())}};
  }

  std::shared_ptr<sql::catalogue> tables_;
  table_info const* table_;
  std::vector<std::size_t> columns_;
  std::vector<unique_key> keys_;
  std::optional<query> source_;
};

}  // namespace

std::unique_ptr<operation> make_update(syntax::update const& update, preparation const& prepare) {
  return std::make_unique<update_operation>(update, prepare);
}

}  // namespace qd::sql
