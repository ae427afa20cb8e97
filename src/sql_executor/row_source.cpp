#include "sql_executor/row_source.h"

#include <iterator>

namespace qd::sql_executor {

std::optional<std::vector<value>> row_source::next(evaluation_context& context) {
  unsigned long const base = context.bound_data.size();
  if (!append_next(context)) return std::nullopt;
  return take_row(context, base);
}

row_input::row_input(std::unique_ptr<enumerator> rows) {
  replace(std::move(rows));
}

void row_input::replace(std::unique_ptr<enumerator> rows) {
  enumerator& taken = *rows;
  rows_ = std::move(rows);
  if (source_class_ != nullptr && typeid(taken) == *source_class_) {
    source_ = static_cast<row_source*>(&taken);
    return;
  }
  source_ = dynamic_cast<row_source*>(&taken);
  source_class_ = source_ != nullptr ? &typeid(taken) : nullptr;
}

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
