#include "sql_executor/nested_loop_inner_join.h"

#include "sql_executor/correlated_sides.h"

namespace qd::sql_executor {

class nlij_enumerator final : public row_source {
 public:
  nlij_enumerator(node& left, node& right, evaluation_context& context)
      : sides(left, right, context) {}

  bool append_next(evaluation_context& context) override {
    while (!sides.right_is_open() || !sides.append_match(context)) {
      if (!sides.move_left(context)) return false;
    }
    return true;
  }

 private:
  correlated_sides sides;
};

nested_loop_inner_join::nested_loop_inner_join(std::unique_ptr<node>&& left_node,
                                               std::unique_ptr<node>&& right_node)
    : left(std::move(left_node)), right(std::move(right_node)) {}

std::unique_ptr<enumerator> nested_loop_inner_join::enumerate(evaluation_context& context) {
  return std::make_unique<nlij_enumerator>(*left, *right, context);
}

}  // namespace qd::sql_executor
