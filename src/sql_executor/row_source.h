// How rows travel inside the engine: at the end of the context's bound data.
#pragma once

#include <iterator>
#include <memory>
#include <typeinfo>

#include "sql_executor/enumerator.h"

namespace qd::sql_executor {

// The base of every enumerator of the engine. Each node's logic stands once, in append_next;
// `next`, the public face, is written here on top of it. A node that makes its rows as vectors may
// hand them out as they are.
//
// The row at hand always stands at the end of `bound_data`, behind the rows of the enclosing nodes,
// which is where the expressions that conversion built look for it. A filter thus advances its
// child, tests, and cuts back; a projection evaluates and replaces; nobody hands vectors up.
class row_source : public enumerator {
 public:
  std::optional<std::vector<value>> next(evaluation_context& context) override;

  // Appends the next row to the end of `context.bound_data` and returns true, or, at the end of the
  // relation, leaves `bound_data` as it was and returns false.
  virtual bool append_next(evaluation_context& context) = 0;
};

// The rows of a child, read by appending whatever class the child's enumerator is of: one that is
// not a row_source (a caller's own node) is adapted through its `next`.
class row_input {
 public:
  // No rows to read; only reset, assignment and the test for emptiness are allowed.
  row_input() = default;
  // Takes over the child's enumerator, which is not null.
  explicit row_input(std::unique_ptr<enumerator> rows);

  // As row_source::append_next.
  bool append_next(evaluation_context& context) {
    return source_ != nullptr ? source_->append_next(context) : append_from_next(context);
  }
  // As enumerator::next.
  std::optional<std::vector<value>> next(evaluation_context& context) {
    return rows_->next(context);
  }

  // Takes over another enumeration of the same side; the former enumerator is destroyed. Cheaper
  // than a new row_input: the class is nearly always the former one's.
  void replace(std::unique_ptr<enumerator> rows);

  // False once released.
  explicit operator bool() const { return rows_ != nullptr; }
  // Destroys the child's enumerator.
  void release() {
    rows_.reset();
    source_ = nullptr;
  }

 private:
  bool append_from_next(evaluation_context& context);

  std::unique_ptr<enumerator> rows_;
  row_source* source_ = nullptr;                  // `rows_` as a row_source; null when it is none.
  std::type_info const* source_class_ = nullptr;  // A class that is known to be a row_source.
};

// Cuts `bound_data` back to its first `size` values.
inline void erase_new_bound(evaluation_context& context, unsigned long size) {
  while (context.bound_data.size() > size) context.bound_data.pop_back();
}

// Moves a row onto the end of `bound_data`; the row keeps its length.
inline void append_row(evaluation_context& context, std::vector<value>& row) {
  context.bound_data.insert(context.bound_data.end(), std::make_move_iterator(row.begin()),
                            std::make_move_iterator(row.end()));
}

// Moves the values of `bound_data` from position `base` on into a row of their own and cuts
// `bound_data` back to `base`.
std::vector<value> take_row(evaluation_context& context, unsigned long base);

}  // namespace qd::sql_executor
