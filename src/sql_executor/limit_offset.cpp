#include "sql_executor/limit_offset.h"

#include "db_util/db_exception.h"
#include "error_handling/error_codes.h"
#include "sql_executor/exec_utils.h"
#include "sql_executor/row_source.h"

namespace qd::sql_executor {

class limit_offset_enumerator final : public row_source {
 public:
  limit_offset_enumerator(unsigned long row_limit, row_input rows)
      : limit(row_limit), child(std::move(rows)) {}

  bool append_next(evaluation_context& context) override {
    if (returned >= limit) return false;
    ++returned;
    return child.append_next(context);
  }

 private:
  unsigned long limit;
  row_input child;
  unsigned long returned = 0;  // Rows asked for so far.
};

limit_offset::limit_offset(std::unique_ptr<node>&& child_node, operators::operator_ptr&& row_limit,
                           operators::operator_ptr&& row_offset)
    : child(std::move(child_node)), limit(std::move(row_limit)), offset(std::move(row_offset)) {}

std::unique_ptr<enumerator> limit_offset::enumerate(evaluation_context& context) {
  unsigned long row_limit = get_as_uint(limit, context);
  unsigned long const row_offset = get_as_uint(offset, context);
  row_input rows(child->enumerate(context));
  unsigned long const base = context.bound_data.size();
  for (unsigned long skipped = 0; skipped < row_offset; ++skipped) {
    if (!rows.append_next(context)) {
      row_limit = 0;
      break;
    }
    erase_new_bound(context, base);
  }
  return std::make_unique<limit_offset_enumerator>(row_limit, std::move(rows));
}

unsigned long get_as_uint(operators::operator_ptr const& expression,
                          evaluation_context const& context) {
  value const count = utils::converter<unsigned long>()(expression->eval(context));
  if (count.is_null()) db_util::db_exception::raise(error_handling::wrong_operand_kind);
  return get<unsigned long>(count);
}

}  // namespace qd::sql_executor
