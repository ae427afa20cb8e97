#include "sql_executor/row_source.h"

#include <iterator>

namespace qd::sql_executor {

std::optional<std::vector<value>> row_source::next(evaluation_context& context) {
  unsigned long const base = context.bound_data.size();
  if (!append_next(context)) return std::nullopt;
  return take_row(context, base);
}

row_input::row_input(std::unique_ptr<enumerator> rows)
    : rows_(std::move(rows)), source_(dynamic_cast<row_source*>(rows_.get())) {}

bool row_input::append_from_next(evaluation_context& context) {
  std::optional<std::vector<value>> row = rows_->next(context);
  if (!row) return false;
  append_row(context, *row);
  return true;
}

std::vector<value> take_row(evaluation_context& context, unsigned long base) {
  auto const first = context.bound_data.begin() + static_cast<long>(base);
  std::vector<value> row(std::make_move_iterator(first),
                         std::make_move_iterator(context.bound_data.end()));
  context.bound_data.erase(first, context.bound_data.end());
  return row;
}

}  // namespace qd::sql_executor
