#include "sql/run/referrers.h"

#include <algorithm>
#include <set>

#include "sql/run/class_tree.h"
#include "sql/run/internal_query.h"
#include "sql/run/texts.h"

namespace qd::sql {
namespace {

// A lookup through an index costs about as much as so many rows of a pass.
constexpr std::uint64_t rows_per_lookup = 8;

class referrer_search {
 public:
  referrer_search(run_context& run, table_info const& table,
                  std::unordered_set<std::uint64_t> const& removed)
      : run_(run), table_(table), removed_(removed) {
    for (std::u16string const& name : with_bases(run.kernel(), table.class_name)) {
      classes_.insert(name);
    }
    for (std::u16string const& name : with_derived(run.kernel(), table.class_name)) {
      classes_.insert(name);
    }
  }

  void search_all() {
    for (std::u16string const& name : run_.kernel().class_names()) {
      auto const described = run_.kernel().describe_class(name);
      for (std::size_t number = 0; number < described->columns.size(); ++number) {
        embedded::column_description const& column = described->columns[number];
        bool const refers = column.origin == embedded::column_origin::own &&
                            column.type == embedded::column_type::reference &&
                            classes_.count(column.referenced_class) != 0;
        if (refers) search(*described, number);
      }
    }
  }

 private:
  void search(embedded::class_description const& referring, std::size_t number) {
    std::uint64_t const rows = run_.kernel().object_count(referring);
    if (rows == 0) return;
    bool const indexed =
        std::any_of(referring.indexes.begin(), referring.indexes.end(), [&](auto const& index) {
          return !index.inherited && !index.extent && index.columns.front().number == number;
        });
    column_query wanted{referring.name, to_utf8(referring.columns[number].name)};
    reader from = run_.through_transaction();
    if (indexed && removed_.size() * rows_per_lookup < rows) {
      wanted.where = column_query::condition::equals_parameter;
      look_up(*make_internal_query(wanted, run_.connection, from), wanted);
    } else {
      wanted.with_column = true;
      wanted.where = column_query::condition::is_not_null;
      pass(*make_internal_query(wanted, run_.connection, from), wanted);
    }
  }

  void look_up(query& referrers, column_query const& wanted) {
    std::vector<value> row;
    for (std::uint64_t const oid : removed_) {
      value const removed = QD_OBJ_REF{oid, 0};
      for (referrers.start(run_.through_transaction(), {&removed, 1}); referrers.next(row);) {
        refuse_unless_removed(get<QD_OBJ_REF>(row[0]).oid, oid, wanted);
      }
    }
  }

  void pass(query& referrers, column_query const& wanted) {
    std::vector<value> row;
    for (referrers.start(run_.through_transaction(), {}); referrers.next(row);) {
      std::uint64_t const target = get<QD_OBJ_REF>(row[1]).oid;
      if (removed_.count(target) == 0) continue;
      refuse_unless_removed(get<QD_OBJ_REF>(row[0]).oid, target, wanted);
    }
  }

  void refuse_unless_removed(std::uint64_t referrer, std::uint64_t target,
                             column_query const& wanted) const {
    if (removed_.count(referrer) != 0) return;
    throw error(error_code::constraint, "row @" + std::to_string(target) + " of " + table_.name +
                                            " cannot be deleted: row @" + std::to_string(referrer) +
                                            " of " + to_utf8(wanted.table) +
                                            " refers to it in column " + wanted.column);
  }

  run_context& run_;
  table_info const& table_;
  std::unordered_set<std::uint64_t> const& removed_;
  // Those that the removed objects can be of.
  std::set<std::u16string> classes_;
};

}  // namespace

void refuse_if_referred(run_context& run, table_info const& table,
                        std::unordered_set<std::uint64_t> const& removed) {
  if (!removed.empty()) referrer_search(run, table, removed).search_all();
}

}  // namespace qd::sql
