// UPDATE: new values for the rows of a query.
#include "sql/run/operation.h"
#include "sql/run/query.h"
#include "sql/run/row_updater.h"

namespace qd::sql {
namespace {

// The variable that reads a column of a table in a query.
algebra::PhysicalVariable variable_of(column_info const& column,
                                      algebra::TableVariable const& table) {
  namespace model = physical_queryplan::QueryPlan;
  switch (column.kind) {
    case kind::boolean:
      return model::Column<bool>{column.column, table};
    case kind::text:
      return model::Column<db_string::dt_string>{column.column, table};
    case kind::unsigned_integer:
      return model::Column<unsigned long>{column.column, table};
    case kind::signed_integer:
      return model::Column<long>{column.column, table};
    case kind::decimal:
      return model::Column<operator_library::Decimal>{column.column, table};
    case kind::double_float:
      return model::Column<double>{column.column, table};
    case kind::single_float:
      return model::Column<float>{column.column, table};
    case kind::binary:
      return model::Column<operator_library::Binary>{column.column, table};
    case kind::reference:
      return model::Column<QD_OBJ_REF>{column.column, table};
    default:
      throw error(error_code::not_supported, "column " + column.name + " cannot be updated");
  }
}

class update_operation final : public operation {
 public:
  update_operation(syntax::update const& syntax, preparation const& prepare)
      : tables_(prepare.tables) {
    bound_update bound = bind(syntax, prepare.binding());
    table_ = bound.table;
    columns_ = std::move(bound.columns);
    keys_ = unique_keys_with(prepare.from->context(), *table_, columns_);
    auto const object = std::get<algebra::TableVariable>(bound.source.outputs.front().variable);
    for (std::size_t const column : old_columns(columns_, keys_)) {
      bound.source.outputs.push_back({"", variable_of(table_->columns[column], object)});
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
