#include "sql_executor/union.h"

#include "sql_executor/row_source.h"

namespace qd::sql_executor {

class uniond_enumerator final : public row_source {
 public:
  uniond_enumerator(node& left_node, node& right_node, evaluation_context& context)
      : left(left_node.enumerate(context)), right(right_node.enumerate(context)) {}

  bool append_next(evaluation_context& context) override {
    if (on_left) {
      if (left.append_next(context)) return true;
      on_left = false;
      left.release();
    }
    return right.append_next(context);
  }

 private:
  bool on_left = true;  // Rows still come from the left input.
  row_input left;       // Released when it has ended.
  row_input right;
};

uniond::uniond(std::unique_ptr<node>&& left_node, std::unique_ptr<node>&& right_node)
    : left(std::move(left_node)), right(std::move(right_node)) {}

std::unique_ptr<enumerator> uniond::enumerate(evaluation_context& context) {
  return std::make_unique<uniond_enumerator>(*left, *right, context);
}

}  // namespace qd::sql_executor
