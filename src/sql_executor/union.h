// Two inputs, one behind the other.
#pragma once

#include "sql_executor/node.h"

namespace qd::sql_executor {

// Produces the left input's rows in their order, then the right input's; duplicates stay. Buffers
// nothing. No errors of its own. (`union` is a keyword.)
class uniond : public node {
 public:
  uniond(std::unique_ptr<node>&& left, std::unique_ptr<node>&& right);

  // Enumerates the left input, then the right.
  std::unique_ptr<enumerator> enumerate(evaluation_context& context) override;

 private:
  std::unique_ptr<node> left;
  std::unique_ptr<node> right;
};

}  // namespace qd::sql_executor
