#include "sql_executor/filter.h"

#include "sql_executor/row_source.h"

namespace qd::sql_executor {

class filter_enumerator final : public row_source {
 public:
  filter_enumerator(operators::operator_base const& node_predicate,
                    std::unique_ptr<enumerator> rows)
      : predicate(node_predicate), child(std::move(rows)) {}

  bool append_next(evaluation_context& context) override {
    unsigned long const base = context.bound_data.size();
    while (child.append_next(context)) {
      if (predicate.test(context) == true) return true;
      erase_new_bound(context, base);
    }
    return false;
  }

 private:
  operators::operator_base const& predicate;
  row_input child;
};

filter::filter(std::unique_ptr<node>&& child_node, operators::operator_ptr&& condition)
    : child(std::move(child_node)), predicate(std::move(condition)) {}

std::unique_ptr<enumerator> filter::enumerate(evaluation_context& context) {
  std::unique_ptr<enumerator> rows = child->enumerate(context);
  return std::make_unique<filter_enumerator>(*predicate, std::move(rows));
}

}  // namespace qd::sql_executor
