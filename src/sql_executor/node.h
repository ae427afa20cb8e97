// A node of an executable plan: a relation that can be enumerated.
#pragma once

#include <memory>

#include "sql_executor/enumerator.h"

namespace qd::sql_executor {

// Immutable once built; owns its child nodes and its operators. It may be enumerated any number of
// times, also while other enumerations of it are running, and must outlive every enumerator made of
// it.
class node {
 public:
  node() = default;
  node(node const&) = delete;
  node& operator=(node const&) = delete;

  // Starts an enumeration; the caller owns the enumerator. Throws as enumerator::next does.
  virtual std::unique_ptr<enumerator> enumerate(evaluation_context& context) = 0;

  virtual ~node() = default;
};

}  // namespace qd::sql_executor
