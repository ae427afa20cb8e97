#include "support/query_test.h"

#include <utility>

#include "physical_queryplan/plan_printer.h"

namespace query_test {

evaluation_context context_for(physical_to_exec::ExecutablePlan const& plan,
                               unsigned long kernel_context, std::vector<value> parameters) {
  evaluation_context context;
  context.literals = plan.literals;
  context.parameters = std::move(parameters);
  context.kernel_context = kernel_context;
  return context;
}

std::vector<row> drain(physical_to_exec::ExecutablePlan const& plan, evaluation_context& context) {
  std::size_t const bound = context.bound_data.size();
  std::vector<row> rows;
  auto const enumerator = plan.root->enumerate(context);
  EXPECT_EQ(context.bound_data.size(), bound);
  while (auto next = enumerator->next(context)) {
    EXPECT_EQ(context.bound_data.size(), bound);
    EXPECT_EQ(next->size(), plan.column_types.size());
    rows.push_back(std::move(*next));
  }
  EXPECT_EQ(context.bound_data.size(), bound);
  return rows;
}

std::string text_of(value const& source) {
  return visit(
      [](auto const& content) {
        return physical_queryplan::Print(physical_queryplan::QueryPlan::Constant(content));
      },
      source);
}

std::vector<std::string> lines_of(std::vector<row> const& rows) {
  std::vector<std::string> lines;
  for (row const& each : rows) {
    std::string line;
    for (value const& column : each) {
      if (&column != &each.front()) line += " | ";
      line += text_of(column);
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

void database_test::write(std::function<void(qd::embedded::transaction&)> const& change) {
  binding_.reset();
  snapshot_.reset();
  qd::embedded::transaction transaction = data.begin_write();
  change(transaction);
  transaction.commit();
  snapshot_.emplace(data.begin_snapshot());
  binding_.emplace(snapshot_->bind());
}

std::vector<row> database_test::run(PredicateVariant plan, std::vector<value> parameters) const {
  physical_to_exec::ExecutablePlan const executable = physical_to_exec::Plan(std::move(plan));
  evaluation_context context = context_for(executable, this->context(), std::move(parameters));
  return drain(executable, context);
}

}  // namespace query_test
