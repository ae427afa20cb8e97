#include "sql/run/row_inserter.h"

namespace qd::sql {
namespace {

// Stands for an object whose insertion has not succeeded.
constexpr embedded::object_id no_object{0};

}  // namespace

row_inserter::row_inserter(run_context& run, table_info const& table,
                           std::vector<std::size_t> columns)
    : run_(run),
      converter_(table, std::move(columns)),
      references_(run, table),
      inserter_(run.kernel().prepare_insert(table.class_name, converter_.kernel_names())),
      inserted_(std::make_shared<std::vector<embedded::object_id>>()) {
  // Alone in its transaction a statement is rolled back with it.
  if (run_.transaction != run_.connection.transaction) return;
  run_.undo.emplace_back([kernel = &run_.kernel(), inserted = inserted_] {
    for (auto each = inserted->rbegin(); each != inserted->rend(); ++each) {
      if (*each != no_object) kernel->erase(*each);
    }
  });
}

void row_inserter::insert(std::span<value const> row) {
  converted_.clear();
  waiting_.clear();
  for (std::size_t i = 0; i < row.size(); ++i) {
    column_info const& column = converter_.column(i);
    bool const by_key = column.kind == kind::reference && !row[i].is_null() &&
                        !holds_alternative<QD_OBJ_REF>(row[i]);
    if (!by_key) {
      converted_.push_back(converter_.convert(i, row[i]));
    } else if (auto const found = references_.resolve(column, row[i])) {
      converted_.emplace_back(object_of(column, *found));
    } else {
      converted_.push_back(references_.placeholder(column));
      waiting_.push_back(i);
    }
  }
  bool const noted = run_.transaction == run_.connection.transaction;
  // The place for the note is there before the object is: then noting it cannot fail.
  if (noted) inserted_->push_back(no_object);
  embedded::object_id const object = inserter_.insert(converted_);
  if (noted) inserted_->back() = object;
  for (std::size_t const i : waiting_) {
    references_.resolve_later(object, converter_.column(i), row[i]);
  }
}

}  // namespace qd::sql
