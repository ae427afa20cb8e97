// DELETE: the rows of a query go.
#include <algorithm>
#include <unordered_set>

#include "sql/run/operation.h"
#include "sql/run/query.h"
#include "sql/run/referrers.h"

namespace qd::sql {
namespace {

class delete_operation final : public operation {
 public:
  delete_operation(syntax::delete_rows const& syntax, preparation const& prepare)
      : tables_(prepare.tables) {
    bound_delete bound = bind(syntax, prepare.binding());
    table_ = bound.table;
    source_.emplace(std::move(bound.source), prepare.planning());
  }

  access needs() const override { return access::write; }

  void start(run_context& run) override {
    std::unordered_set<std::uint64_t> removed;
    source_->start(run.through_transaction(), run.parameters);
    for (std::vector<value> row; source_->next(row);) {
      removed.insert(get<QD_OBJ_REF>(row.front()).oid);
    }
    refuse_if_referred(run, *table_, removed);
    // The last chance to stop: an id that is gone cannot be given back.
    run.connection.stop.check();
    // Neighbours one after the other.
    std::vector<std::uint64_t> ordered(removed.begin(), removed.end());
    std::sort(ordered.begin(), ordered.end());
    for (std::uint64_t const oid : ordered) {
      run.irrevocable = true;
      run.kernel().erase({oid});
      ++run.outcome.rows;
    }
    run.irrevocable = false;
  }

  void end() noexcept override { source_->end(); }

 private:
  std::shared_ptr<sql::catalogue> tables_;
  table_info const* table_;
  std::optional<query> source_;
};

}  // namespace

std::unique_ptr<operation> make_delete(syntax::delete_rows const& deletion,
                                       preparation const& prepare) {
  return std::make_unique<delete_operation>(deletion, prepare);
}

}  // namespace qd::sql
