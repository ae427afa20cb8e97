#include "sql_executor/projection.h"

#include <utility>

#include "sql_executor/exec_utils.h"
#include "sql_executor/row_source.h"

namespace qd::sql_executor {

class projection_enumerator final : public row_source {
 public:
  projection_enumerator(std::vector<operators::operator_ptr> const& node_expressions,
                        std::unique_ptr<enumerator> rows)
      : expressions(node_expressions), child(std::move(rows)) {}

  bool append_next(evaluation_context& context) override {
    if (!evaluate_next(context, results)) return false;
    append_row(context, results);
    return true;
  }

  std::optional<std::vector<value>> next(evaluation_context& context) override {
    std::optional<std::vector<value>> row(std::in_place);
    if (!evaluate_next(context, *row)) row.reset();
    return row;
  }

 private:
  // Replaces `row` by the outputs for the child's next row; false at the end of the child.
  bool evaluate_next(evaluation_context& context, std::vector<value>& row) {
    unsigned long const base = context.bound_data.size();
    if (!child.append_next(context)) return false;
    row = eval_operators(context, expressions, std::move(row));
    erase_new_bound(context, base);
    return true;
  }

  std::vector<operators::operator_ptr> const& expressions;
  row_input child;
  std::vector<value> results;  // Scratch: the row under construction.
};

projection::projection(std::unique_ptr<node>&& child_node,
                       std::vector<operators::operator_ptr>&& outputs)
    : child(std::move(child_node)), expressions(std::move(outputs)) {}

std::unique_ptr<enumerator> projection::enumerate(evaluation_context& context) {
  std::unique_ptr<enumerator> rows = child->enumerate(context);
  return std::make_unique<projection_enumerator>(expressions, std::move(rows));
}

}  // namespace qd::sql_executor
