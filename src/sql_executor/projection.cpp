#include "sql_executor/projection.h"

#include "sql_executor/row_source.h"

namespace qd::sql_executor {

class projection_enumerator final : public row_source {
 public:
  projection_enumerator(std::vector<operators::operator_ptr> const& node_expressions,
                        std::unique_ptr<enumerator> rows)
      : expressions(node_expressions), child(std::move(rows)) {}

  // The results go behind the child's row, which the expressions read, and then take its place.
  bool append_next(evaluation_context& context) override {
    std::vector<value>& bound = context.bound_data;
    unsigned long const base = bound.size();
    if (!child.append_next(context)) return false;
    unsigned long const end_of_child_row = bound.size();
    for (operators::operator_ptr const& expression : expressions) {
      value result = expression->eval(context);
      bound.push_back(std::move(result));
    }
    bound.erase(bound.begin() + static_cast<long>(base),
                bound.begin() + static_cast<long>(end_of_child_row));
    return true;
  }

 private:
  std::vector<operators::operator_ptr> const& expressions;
  row_input child;
};

projection::projection(std::unique_ptr<node>&& child_node,
                       std::vector<operators::operator_ptr>&& outputs)
    : child(std::move(child_node)), expressions(std::move(outputs)) {}

std::unique_ptr<enumerator> projection::enumerate(evaluation_context& context) {
  std::unique_ptr<enumerator> rows = child->enumerate(context);
  return std::make_unique<projection_enumerator>(expressions, std::move(rows));
}

}  // namespace qd::sql_executor
