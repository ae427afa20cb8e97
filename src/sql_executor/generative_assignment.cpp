#include "sql_executor/generative_assignment.h"

#include "sql_executor/row_source.h"

namespace qd::sql_executor {

class generative_assignment_enumerator final : public row_source {
 public:
  explicit generative_assignment_enumerator(generative_assignment const& node)
      : expression(*node.expression) {}

  bool append_next(evaluation_context& context) override {
    if (done) return false;
    done = true;
    value result = expression.eval(context);
    context.bound_data.push_back(std::move(result));
    return true;
  }

 private:
  bool done = false;  // The row has been asked for.
  operators::operator_base const& expression;
};

generative_assignment::generative_assignment(operators::operator_ptr&& assigned)
    : expression(std::move(assigned)) {}

std::unique_ptr<enumerator> generative_assignment::enumerate(evaluation_context&) {
  return std::make_unique<generative_assignment_enumerator>(*this);
}

}  // namespace qd::sql_executor
