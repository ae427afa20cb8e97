#include "sql_executor/left_join.h"

#include "sql_executor/correlated_sides.h"
#include "sql_executor/null_litteral.h"

namespace qd::sql_executor {

class left_join_enumerator final : public row_source {
 public:
  left_join_enumerator(node& left, node& right, unsigned long width, evaluation_context& context)
      : sides(left, right, context), right_width(width) {}

  bool append_next(evaluation_context& context) override {
    while (true) {
      if (sides.right_is_open()) {
        if (sides.append_match(context)) {
          matched = true;
          return true;
        }
        if (!matched) {
          matched = true;
          sides.append_left(context);
          context.bound_data.insert(context.bound_data.end(), right_width, null_litteral);
          return true;
        }
      }
      if (!sides.move_left(context)) return false;
      matched = false;
    }
  }

 private:
  correlated_sides sides;
  unsigned long right_width;
  bool matched = false;  // Whether the present left row has gone out, joined or padded.
};

left_join::left_join(std::unique_ptr<node>&& left_node, std::unique_ptr<node>&& right_node,
                     unsigned long width)
    : left(std::move(left_node)), right(std::move(right_node)), right_width(width) {}

std::unique_ptr<enumerator> left_join::enumerate(evaluation_context& context) {
  return std::make_unique<left_join_enumerator>(*left, *right, right_width, context);
}

}  // namespace qd::sql_executor
